#include "tests/display/WindowTestRig.h"

#include <QTest>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineView>

#include <gtest/gtest.h>

namespace dialwise::testing {

WindowRig::WindowRig()
{
    EXPECT_TRUE(standInListening);
    // No storage name: off the record, so no test sees another's cookies or cache.
    profile = new QWebEngineProfile();
    window = std::make_unique<GoogleVoiceWindow>(callManager, scheduler, profile);
    // Connected after the window's own handler, so the window has acted on a load's end
    // by the time it is recorded here.
    QObject::connect(page(), &QWebEnginePage::loadingChanged, page(), [this](const QWebEngineLoadingInfo &info) {
        if (info.status() == QWebEngineLoadingInfo::LoadStartedStatus)
            return;
        loadEnds.append({info.url().toString(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::FullyEncoded), info.status()});
    });
}

WindowRig::~WindowRig()
{
    window.reset();
    delete profile;
}

QWebEnginePage *WindowRig::page() const
{
    return window->webView()->page();
}

bool WindowRig::clickElement(const QString &id)
{
    const QVariantList centre = evaluate(page(), QStringLiteral("(function(){var e=document.getElementById('%1');if(!e)return null;"
                                                                "var r=e.getBoundingClientRect();return [r.x+r.width/2,r.y+r.height/2];})()")
                                                     .arg(id))
                                    .toList();
    QWidget *target = window->webView()->focusProxy();
    if (centre.size() != 2 || !target)
        return false;
    QTest::mouseClick(target, Qt::LeftButton, {}, QPoint(centre[0].toInt(), centre[1].toInt()));
    return true;
}

QString WindowRig::currentTarget() const
{
    const QUrl url = page()->url();
    return url.toString(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::FullyEncoded);
}

std::optional<QWebEngineLoadingInfo::LoadStatus> WindowRig::waitForLoadEnd(const QString &target, int timeoutMs)
{
    std::optional<QWebEngineLoadingInfo::LoadStatus> status;
    const bool ended = QTest::qWaitFor(
        [&] {
            for (qsizetype i = loadEndsSeen; i < loadEnds.size(); ++i) {
                if (loadEnds[i].target == target) {
                    status = loadEnds[i].status;
                    loadEndsSeen = i + 1;
                    return true;
                }
            }
            return false;
        },
        timeoutMs);
    return ended ? status : std::nullopt;
}

bool WindowRig::waitForPage(const QString &target, int timeoutMs)
{
    return waitForLoadEnd(target, timeoutMs) == QWebEngineLoadingInfo::LoadSucceededStatus;
}

void WindowRig::navigate(const QString &target)
{
    window->webView()->load(QUrl(standIn.baseUrl().toString() + target));
}

QVariant evaluate(QWebEnginePage *page, const QString &script, int timeoutMs)
{
    struct Result
    {
        bool done = false;
        QVariant value;
    };
    auto result = std::make_shared<Result>();
    page->runJavaScript(script, [result](const QVariant &value) {
        result->done = true;
        result->value = value;
    });
    if (!QTest::qWaitFor([&] { return result->done; }, timeoutMs))
        return QVariant();
    return result->value;
}

} // namespace dialwise::testing
