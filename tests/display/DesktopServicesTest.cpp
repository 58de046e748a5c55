// The calling core against a real desktop: a private D-Bus session with a notification server
// owned by this test, and a recording xdg-open first on PATH standing in for the browser.
#include "platform/linux/LinuxDesktopServices.h"
#include "tests/fakes/CallManagerRig.h"
#include "tests/support/NotificationServerStandIn.h"
#include "tests/support/RecordingOpener.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QTest>

#include <gtest/gtest.h>

using dialwise::CallManager;
using dialwise::LinuxDesktopServices;
using dialwise::testing::CallManagerRig;

namespace {

dialwise::testing::RecordingOpener *g_opener = nullptr;

// How long a second, unwanted notification is watched for: a notification crosses the private
// bus in a few milliseconds, so one that was sent would arrive well within this.
constexpr int kNoMoreNotificationsMs = 300;

QStringList openedUrls()
{
    return g_opener->openedUrls();
}

class DesktopServices : public ::testing::Test
{
protected:
    void SetUp() override
    {
        g_opener->clear();
        // The server has a connection of its own, so every notification really crosses the bus.
        m_serverBus = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("notification-server")));
        ASSERT_TRUE(m_serverBus->isConnected()) << "run this test inside a D-Bus session";
        ASSERT_TRUE(m_server.start(*m_serverBus));
    }

    void TearDown() override
    {
        m_server.stop();
        QDBusConnection::disconnectFromBus(QStringLiteral("notification-server"));
    }

    std::unique_ptr<dialwise::CallManager> makeManager(CallManager::Provider provider = CallManager::Provider::googleVoice)
    {
        m_rig.settings->values.insert(QStringLiteral("selectedProvider"), CallManager::rawValue(provider));
        CallManager::Services services = m_rig.services();
        services.desktop = std::make_shared<LinuxDesktopServices>(nullptr);
        return std::make_unique<dialwise::CallManager>(services);
    }

    bool waitForNotifications(int count) { return QTest::qWaitFor([&] { return m_server.received().size() >= count; }, 5000); }

    CallManagerRig m_rig;
    dialwise::testing::NotificationServerStandIn m_server;
    std::unique_ptr<QDBusConnection> m_serverBus;
};

TEST_F(DesktopServices, googleVoice_notifiesOnceAndOpensNewCallAddress)
{
    auto manager = makeManager();
    manager->call(QStringLiteral("5551234567"));

    ASSERT_TRUE(waitForNotifications(1));
    ASSERT_TRUE(QTest::qWaitFor([] { return !openedUrls().isEmpty(); }, 5000)) << "xdg-open was not run";
    QTest::qWait(kNoMoreNotificationsMs);
    // Each entry reads "app name|summary|body".
    EXPECT_EQ(m_server.received(), QStringList{QStringLiteral("Dialwise|Dialwise \u2192 Google Voice|Calling (555) 123-4567...")});
    EXPECT_EQ(openedUrls(), QStringList{QStringLiteral("https://voice.google.com/u/0/calls?a=nc,%2B15551234567")});
}

TEST_F(DesktopServices, browserTel_opensTelUrlWithoutNotification)
{
    auto manager = makeManager(CallManager::Provider::browserTel);
    manager->call(QStringLiteral("+1 555 123 4567"));

    ASSERT_TRUE(QTest::qWaitFor([] { return !openedUrls().isEmpty(); }, 5000));
    EXPECT_EQ(openedUrls(), QStringList{QStringLiteral("tel:+15551234567")});
    QTest::qWait(kNoMoreNotificationsMs);
    EXPECT_TRUE(m_server.received().isEmpty());
}

TEST_F(DesktopServices, invalidNumber_notifiesWithTextAsPassed)
{
    auto manager = makeManager();
    manager->call(QStringLiteral(" 12345 "));

    ASSERT_TRUE(waitForNotifications(1));
    EXPECT_EQ(m_server.received().front(), QStringLiteral("Dialwise|Dialwise|Invalid phone number:  12345 "));
    EXPECT_TRUE(manager->callHistory().isEmpty());
}

TEST_F(DesktopServices, serverWithoutMarkup_getsBodyAsTyped)
{
    auto manager = makeManager();
    manager->call(QStringLiteral("<b>&amp;"));

    ASSERT_TRUE(waitForNotifications(1));
    EXPECT_EQ(m_server.received().front(), QStringLiteral("Dialwise|Dialwise|Invalid phone number: <b>&amp;"));
}

TEST_F(DesktopServices, serverWithMarkup_getsEscapedBodySoUserSeesItAsTyped)
{
    m_server.setCapabilities({QStringLiteral("body"), QStringLiteral("body-markup")});
    auto manager = makeManager();
    manager->call(QStringLiteral("<b>&amp;"));

    ASSERT_TRUE(waitForNotifications(1));
    EXPECT_EQ(m_server.received().front(), QStringLiteral("Dialwise|Dialwise|Invalid phone number: &lt;b&gt;&amp;amp;"));
}

TEST_F(DesktopServices, noNotificationServer_isSilentAndCallStillRecorded)
{
    m_server.stop();
    auto manager = makeManager();
    manager->call(QStringLiteral("5551234567"));

    ASSERT_TRUE(QTest::qWaitFor([] { return !openedUrls().isEmpty(); }, 5000));
    QTest::qWait(kNoMoreNotificationsMs);
    EXPECT_TRUE(m_server.received().isEmpty());
    EXPECT_EQ(manager->callHistory().size(), 1);
}

} // namespace

int main(int argc, char **argv)
{
    return dialwise::testing::runTestsWithOpener<QApplication>(argc, argv, g_opener);
}
