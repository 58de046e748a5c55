#pragma once

#include <QProcess>
#include <QRect>
#include <QStringList>
#include <QStringView>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace dialwise::testing {

// One run of a phone-link fixture program (tests/support/PhoneLinkFixture.cpp or
// phone-link-fixture-gtk.py), read through the lines it prints.
class PhoneLinkFixtureProcess
{
public:
    enum class Toolkit { qt, gtk };

    // Starts the program and waits for its "READY" line; null (with a gtest failure recorded by
    // the caller's ASSERT on it) when it does not come within the time-out.
    static std::unique_ptr<PhoneLinkFixtureProcess> start(Toolkit toolkit, const QStringList &arguments = {},
                                                          std::chrono::milliseconds timeout = std::chrono::seconds(20));
    ~PhoneLinkFixtureProcess();

    static QString toolkitName(Toolkit toolkit);
    // The toolkit a command line names: "gtk" is the GTK fixture, anything else the Qt one.
    static Toolkit toolkitNamed(QStringView name);
    // Names a test of a suite run once per toolkit by that toolkit ("qt", "gtk").
    struct TestName
    {
        template <typename ParamInfo>
        std::string operator()(const ParamInfo &run) const
        {
            return toolkitName(run.param).toStdString();
        }
    };
    qint64 pid() const { return m_process.processId(); }
    // The number's rectangle in root coordinates, and its centre (where a user clicks).
    QRect numberRect() const { return m_numberRect; }
    QPoint numberCentre() const { return m_numberRect.center(); }
    // The next "POPUP" line's rectangle; no value when none comes within the time-out.
    std::optional<QRect> waitForPopup(std::chrono::milliseconds timeout = std::chrono::seconds(5));
    // Waits for the next "CLOSED" line (a click in the main window closed the popup).
    bool waitForPopupClosed(std::chrono::milliseconds timeout = std::chrono::seconds(5));
    // SIGSTOP / SIGCONT: a program that stops answering, and recovers.
    void freeze();
    void thaw();

private:
    std::optional<QStringList> waitForLine(const QString &tag, std::chrono::milliseconds timeout);
    QProcess m_process;
    QByteArray m_pending;
    QRect m_numberRect;
    bool m_frozen = false;
};

// The X window at exactly that geometry, as xwininfo lists the root's children: its id and
// rectangle. No value when xwininfo lists none.
struct XWindowListing
{
    unsigned long id = 0;
    QRect geometry;
    QString line;
};
std::optional<XWindowListing> xwininfoWindowSized(int width, int height);
// xwininfo's listing of all windows of the root, for messages.
QString xwininfoChildren();
// Runs xdotool with those arguments and waits for it; true when it exited 0.
bool xdotool(const QStringList &arguments);

} // namespace dialwise::testing
