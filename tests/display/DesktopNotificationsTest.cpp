// Lasting notifications against a private D-Bus session with a notification server owned by this
// test on a connection of its own: what happens when the server hangs, goes away or comes back.
#include "platform/linux/DesktopNotifications.h"
#include "tests/support/NotificationServerStandIn.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using dialwise::DesktopNotifications;
using dialwise::testing::NotificationServerStandIn;

namespace {

// Past the client's answer time-out, with room for a loaded machine.
constexpr int kPastTimeoutMs = DesktopNotifications::kAnswerTimeoutMs + 5000;

class DesktopNotificationsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_serverBus = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("notification-server")));
        ASSERT_TRUE(m_serverBus->isConnected()) << "run this test inside a D-Bus session";
    }

    void TearDown() override
    {
        m_server.stop();
        QDBusConnection::disconnectFromBus(QStringLiteral("notification-server"));
    }

    // Posts and records what the client answers: the server's id, or 0.
    void post(DesktopNotifications &client, const QString &summary)
    {
        client.post({summary, QStringLiteral("body"), {}, 0}, [this, summary](uint id) { m_answers.append({summary, id}); });
    }

    NotificationServerStandIn m_server;
    std::unique_ptr<QDBusConnection> m_serverBus;
    QList<QPair<QString, uint>> m_answers;
};

TEST_F(DesktopNotificationsTest, silentServer_postsBoundedAndGivenUpAndLaterOnesShownOnceItAnswers)
{
    m_server.setSilent(true);
    ASSERT_TRUE(m_server.start(*m_serverBus));
    DesktopNotifications client;
    // More than are held while the server's capabilities are asked: the oldest are let go at once.
    const int extra = 4;
    for (int i = 0; i < DesktopNotifications::kMaxHeld + extra; ++i)
        post(client, QStringLiteral("n%1").arg(i));
    EXPECT_EQ(m_answers.size(), extra) << "post() returns without waiting for the server";
    for (const auto &[summary, id] : m_answers)
        EXPECT_EQ(id, 0u) << summary.toStdString();

    // The server never answers: the held ones are given up, none is kept for ever. The first
    // waited out the first question; those posted while it ran get a question of their own.
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_answers.size() == DesktopNotifications::kMaxHeld + extra; },
                                DesktopNotifications::kAnswerTimeoutMs + kPastTimeoutMs));
    EXPECT_TRUE(m_server.notifications().isEmpty()) << "nothing is sent before the server said what it renders";

    // It comes back to life: the next one is shown.
    m_server.setSilent(false);
    m_answers.clear();
    post(client, QStringLiteral("late"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !m_answers.isEmpty(); }, kPastTimeoutMs));
    EXPECT_NE(m_answers.first().second, 0u);
    ASSERT_EQ(m_server.notifications().size(), 1);
    EXPECT_EQ(m_server.notifications().first().summary, QString("late"));
}

TEST_F(DesktopNotificationsTest, noServer_answeredWithZeroAtOnce)
{
    DesktopNotifications client;
    post(client, QStringLiteral("nobody"));
    EXPECT_TRUE(m_answers.isEmpty()) << "answered from the bus, not in the call";
    ASSERT_TRUE(QTest::qWaitFor([&] { return !m_answers.isEmpty(); }, DesktopNotifications::kAnswerTimeoutMs))
        << "a missing server is known at once, without waiting for the time-out";
    EXPECT_EQ(m_answers.first().second, 0u);
}

TEST_F(DesktopNotificationsTest, clicksAndClosesFromTheServer_reported_serverGone_lost)
{
    ASSERT_TRUE(m_server.start(*m_serverBus));
    DesktopNotifications client;
    QSignalSpy actions(&client, &DesktopNotifications::actionInvoked);
    QSignalSpy closed(&client, &DesktopNotifications::closed);
    QSignalSpy lost(&client, &DesktopNotifications::serverLost);
    post(client, QStringLiteral("call"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !m_answers.isEmpty(); }, kPastTimeoutMs));
    const uint id = m_answers.first().second;
    ASSERT_NE(id, 0u);

    m_server.invokeAction(id, QStringLiteral("default"));
    ASSERT_TRUE(actions.wait(kPastTimeoutMs));
    EXPECT_EQ(actions.first().at(0).toUInt(), id);
    EXPECT_EQ(actions.first().at(1).toString(), QString("default"));

    m_server.closeNotification(id);
    ASSERT_TRUE(closed.wait(kPastTimeoutMs));
    EXPECT_EQ(closed.first().at(0).toUInt(), id);

    client.close(id);
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_server.closedByClient() == QList<uint>{id}; }, kPastTimeoutMs));

    m_server.stop();
    EXPECT_TRUE(lost.wait(kPastTimeoutMs)) << "the ids it gave mean nothing once the server is gone";
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
