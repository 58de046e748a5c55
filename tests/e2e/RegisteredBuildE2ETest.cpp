// `make run`'s registration of a build tree (tools/register-desktop-entry): besides the desktop
// entry it writes a user-level D-Bus service file, so that the session bus can start the built
// program by name just as it starts an installed one.
#include "app/BusNames.h"
#include "calling/VoiceAddress.h"
#include "tests/e2e/ShellRig.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

using dialwise::testing::kStartMs;
using dialwise::testing::ShellRig;

namespace {

TEST(RegisteredBuildE2ETest, activateAfterRegistering_busStartsBuiltProgramHidden)
{
    ShellRig rig;
    ASSERT_TRUE(rig.startStandIn());
    ASSERT_TRUE(rig.registerDesktopEntry());
    const QString service = qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/dbus-1/services/app.dialwise.Dialwise.service");
    QFile file(service);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << service.toStdString();
    const QString program = QFileInfo(ShellRig::program()).canonicalFilePath();
    EXPECT_EQ(QString::fromUtf8(file.readAll()),
              "[D-BUS Service]\nName=app.dialwise.Dialwise\nExec=" + program + " --hidden\n");

    ASSERT_TRUE(rig.shareStandInWithBus());

    ASSERT_FALSE(ShellRig::nameOwned());
    const ShellRig::Run activate = rig.runTool(
        QStringLiteral("gdbus"),
        {"call", "--session", "--dest", "app.dialwise.Dialwise", "--object-path", "/app/dialwise/Dialwise", "--method",
         "org.freedesktop.Application.Activate", "{}"},
        kStartMs);
    EXPECT_EQ(activate.exitCode, 0) << activate.err.toStdString();
    ASSERT_TRUE(ShellRig::nameOwned());
    const uint pid = QDBusConnection::sessionBus().interface()->servicePid(QString::fromLatin1(dialwise::bus::kServiceName)).value();
    EXPECT_EQ(QFileInfo(QStringLiteral("/proc/%1/exe").arg(pid)).canonicalFilePath(), program);
    EXPECT_TRUE(rig.waitForVisibleWindow(kStartMs));
    EXPECT_TRUE(rig.standIn().waitForTarget(QString::fromLatin1(dialwise::voice::kCallsPath), kStartMs));

    EXPECT_TRUE(ShellRig::quitRunning());
}

} // namespace
