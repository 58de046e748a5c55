// The window's own browser profile: on disk under the user's data and cache directories, with
// every cookie kept, so the Google Voice sign-in survives a restart.
#include "tests/display/WindowTestRig.h"

#include "webcall/VoiceProfile.h"

#include <QDir>
#include <QFile>
#include <QTest>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineView>

#include <gtest/gtest.h>

using dialwise::GoogleVoiceWindow;
using namespace dialwise::testing;

namespace {

bool isUnder(const QString &path, const QString &directory)
{
    return !directory.isEmpty() && QDir::cleanPath(path).startsWith(QDir::cleanPath(directory) + QLatin1Char('/'));
}

class GoogleVoiceWindowProfile : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(standInListening); }

    bool waitForCallsPage(GoogleVoiceWindow &window)
    {
        return QTest::qWaitFor(
            [&] {
                QWebEnginePage *page = window.webView()->page();
                return !page->isLoading() && page->title() == u"Voice stand-in";
            },
            kLoadTimeoutMs);
    }

    VoiceStandIn standIn;
    bool standInListening = standIn.start();
    dialwise::CallManager callManager{dialwise::CallManager::Services{nullptr, nullptr, nullptr, standIn.baseUrl()}};
    ManualScheduler scheduler;
};

TEST_F(GoogleVoiceWindowProfile, defaultProfile_onDiskInUserDirectories)
{
    GoogleVoiceWindow window(callManager, scheduler);
    QWebEngineProfile *profile = window.webView()->page()->profile();

    EXPECT_EQ(profile->storageName(), QStringLiteral("Dialwise"));
    EXPECT_FALSE(profile->isOffTheRecord());
    EXPECT_TRUE(isUnder(profile->persistentStoragePath(), qEnvironmentVariable("XDG_DATA_HOME")))
        << profile->persistentStoragePath().toStdString();
    EXPECT_TRUE(isUnder(profile->cachePath(), qEnvironmentVariable("XDG_CACHE_HOME")))
        << profile->cachePath().toStdString();
    EXPECT_EQ(profile->persistentCookiesPolicy(), QWebEngineProfile::ForcePersistentCookies);
    EXPECT_EQ(profile->httpUserAgent(), QString::fromLatin1(dialwise::kVoiceUserAgent));
    EXPECT_TRUE(waitForCallsPage(window));
}

TEST_F(GoogleVoiceWindowProfile, givenProfile_getsUserAgentAndIsUsed)
{
    QWebEngineProfile profile;
    {
        GoogleVoiceWindow window(callManager, scheduler, &profile);
        EXPECT_EQ(window.webView()->page()->profile(), &profile);
        EXPECT_EQ(profile.httpUserAgent(), QString::fromLatin1(dialwise::kVoiceUserAgent));
        EXPECT_TRUE(waitForCallsPage(window));
    }
}

TEST_F(GoogleVoiceWindowProfile, sessionCookie_survivesRestart)
{
    QString cookieStore;
    {
        GoogleVoiceWindow first(callManager, scheduler);
        cookieStore = first.webView()->page()->profile()->persistentStoragePath() + QStringLiteral("/Cookies");
        ASSERT_TRUE(waitForCallsPage(first));
        first.webView()->load(QUrl(standIn.baseUrl().toString() + QStringLiteral("/cookie")));
        ASSERT_TRUE(QTest::qWaitFor(
            [&] { return evaluate(first.webView()->page(), QStringLiteral("document.cookie")).toString() == u"standin=1"; },
            kLoadTimeoutMs));
    }
    // The profile writes its cookies to disk after it went away, on a thread of its own; the
    // second window must not start before the cookie is there.
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            QFile store(cookieStore);
            return store.open(QIODevice::ReadOnly) && store.readAll().contains("standin");
        },
        kLoadTimeoutMs))
        << "the cookie never reached " << cookieStore.toStdString();

    GoogleVoiceWindow second(callManager, scheduler);
    ASSERT_TRUE(waitForCallsPage(second));
    EXPECT_EQ(evaluate(second.webView()->page(), QStringLiteral("document.cookie")).toString(), QStringLiteral("standin=1"));
}

} // namespace
