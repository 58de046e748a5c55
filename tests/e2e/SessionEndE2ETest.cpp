// The session ends under a running Dialwise: its session bus goes away. Dialwise must end with
// it as it would from its menu: exit status 0, no crash or abort, the settings file as it was.
// The call history lives in memory only; the settings file is what has to survive on disk.
#include "tests/e2e/ShellRig.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>

#include <gtest/gtest.h>

using dialwise::testing::ShellRig;

namespace {

constexpr char kSettings[] = "[General]\nselectedProvider=Browser (tel:)\n";

// A session bus of the test's own: taking it down leaves the private desktop's bus, which the
// test runner itself sits on, alone. SIGTERM is what a bus daemon gets when a session ends.
class OwnSessionBus final
{
public:
    ~OwnSessionBus() { stop(); }

    // The bus's address, or empty when the daemon did not start.
    QByteArray start()
    {
        m_daemon.start(QStringLiteral("dbus-daemon"),
                       {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
        if (!m_daemon.waitForStarted(5000))
            return {};
        while (!m_daemon.canReadLine() && m_daemon.waitForReadyRead(5000)) {
        }
        return m_daemon.readLine().trimmed();
    }

    void stop()
    {
        if (m_daemon.state() == QProcess::NotRunning)
            return;
        m_daemon.terminate();
        m_daemon.waitForFinished(5000);
    }

private:
    QProcess m_daemon;
};

TEST(SessionEndE2ETest, sessionBusGoesAway_quitsWithStatus0AndSettingsIntact)
{
    OwnSessionBus bus;
    const QByteArray address = bus.start();
    ASSERT_FALSE(address.isEmpty()) << "dbus-daemon did not start";
    // Before anything in this process asks for the session bus, so that the rig and Dialwise
    // both use this one.
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);

    const QString configHome = qEnvironmentVariable("XDG_CONFIG_HOME");
    ASSERT_FALSE(configHome.isEmpty());
    ASSERT_TRUE(QDir().mkpath(configHome + QStringLiteral("/dialwise")));
    const QString settingsPath = configHome + QStringLiteral("/dialwise/dialwise.conf");
    {
        QFile settings(settingsPath);
        ASSERT_TRUE(settings.open(QIODevice::WriteOnly | QIODevice::Truncate));
        ASSERT_EQ(settings.write(kSettings), qint64(sizeof kSettings - 1));
    }

    ShellRig rig;
    ASSERT_TRUE(rig.startStandIn());
    ASSERT_TRUE(rig.startPrimary()) << rig.primaryErrors().toStdString();
    ASSERT_TRUE(ShellRig::nameOwned());

    bus.stop();
    EXPECT_TRUE(ShellRig::waitUntil([&rig] { return rig.primaryExitCode() != -1; }, 30000))
        << "still running after its session bus went away";
    const QByteArray errors = rig.primaryErrors();
    // A signal would show as 128 + its number.
    EXPECT_EQ(rig.primaryExitCode(), 0) << errors.toStdString();
    EXPECT_EQ(errors.count("the D-Bus session bus has gone away"), 1) << errors.toStdString();
    for (const char *crash : {"core dumped", "Aborted", "Segmentation fault", "terminate called"})
        EXPECT_FALSE(errors.contains(crash)) << crash << " in: " << errors.toStdString();

    QFile settings(settingsPath);
    ASSERT_TRUE(settings.open(QIODevice::ReadOnly));
    EXPECT_EQ(settings.readAll(), QByteArray(kSettings));
    const QSettings reread(settingsPath, QSettings::NativeFormat);
    EXPECT_EQ(reread.status(), QSettings::NoError);
    EXPECT_EQ(reread.value(QStringLiteral("selectedProvider")).toString(), QStringLiteral("Browser (tel:)"));
}

} // namespace
