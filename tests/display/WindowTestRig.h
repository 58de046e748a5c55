#pragma once

#include "calling/CallManager.h"
#include "tests/fakes/ManualScheduler.h"
#include "tests/support/VoiceStandIn.h"
#include "webcall/GoogleVoiceWindow.h"

#include <QString>
#include <QVariant>
#include <QWebEngineLoadingInfo>

#include <optional>

#include <memory>
#include <ostream>

class QWebEnginePage;
class QWebEngineProfile;

namespace dialwise::testing {

// Generous, because a loaded CI machine may take seconds to start a render process; waits end
// as soon as the condition holds, so the common case stays fast.
inline constexpr int kLoadTimeoutMs = 30000;

// Everything a window test needs: a stand-in web app on a free port, a call manager whose web
// app address is the stand-in's, a scheduler on virtual time for the window's timers, an
// off-the-record profile of its own and the window, built in that order so the window's first
// request goes to the stand-in.
struct WindowRig
{
    WindowRig();
    ~WindowRig();

    // Waits until a load of `target` (path, query and fragment) ends that was not yet waited
    // for, and gives its outcome. Qt reports the end of a load a turn of the event loop after
    // isLoading() turns false, so this follows the reports themselves.
    std::optional<QWebEngineLoadingInfo::LoadStatus> waitForLoadEnd(const QString &target,
                                                                    int timeoutMs = kLoadTimeoutMs);
    // The same, true only when that load succeeded.
    bool waitForPage(const QString &target, int timeoutMs = kLoadTimeoutMs);
    QWebEnginePage *page() const;
    // Loads a stand-in address straight into the view, as a click in the page would.
    void navigate(const QString &target);
    // Clicks the centre of the page's element with that id like a user would, so that Chromium
    // sees a user gesture. False when there is no such element or nothing to click on.
    bool clickElement(const QString &id);
    QString currentTarget() const;

    struct LoadEnd
    {
        QString target;
        QWebEngineLoadingInfo::LoadStatus status;
    };
    QList<LoadEnd> loadEnds;
    qsizetype loadEndsSeen = 0;

    VoiceStandIn standIn;
    bool standInListening = standIn.start();
    // The real number handling and an in-memory history; its settings go to the private
    // desktop's temporary home.
    CallManager callManager{CallManager::Services{nullptr, nullptr, nullptr, standIn.baseUrl()}};
    ManualScheduler scheduler;
    QWebEngineProfile *profile = nullptr;
    std::unique_ptr<GoogleVoiceWindow> window;
};

// Runs the script in the page's main world and returns its result (invalid after a time-out).
QVariant evaluate(QWebEnginePage *page, const QString &script, int timeoutMs = kLoadTimeoutMs);

} // namespace dialwise::testing

// Readable QString values in failure messages.
inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}
