// `dialwise --autostart on|off` and the query, with run-in-desktop's temporary XDG_CONFIG_HOME;
// then the login entry started the way desktops start autostart entries (`gio launch`): Dialwise
// comes up hidden in the tray and still takes hand-overs.
#include "app/BusNames.h"
#include "calling/VoiceAddress.h"
#include "tests/e2e/ShellRig.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace dialwise::testing;

namespace {

// How long a hidden Dialwise gets to prove it shows nothing: a normal start maps its window right
// after the page request, a few hundred milliseconds on this machine (see docs/benchmarks.md).
constexpr int kHiddenCheckMs = 1500;

QString entryPath()
{
    return qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/autostart/app.dialwise.Dialwise.desktop");
}

QString readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

class AutostartE2ETest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(qEnvironmentVariable("XDG_CONFIG_HOME").startsWith(QDir::tempPath()))
            << "run inside tests/run-in-desktop, never against the real configuration";
        QFile::remove(entryPath());
    }

    void TearDown() override { EXPECT_TRUE(ShellRig::quitRunning()); }

    ShellRig rig;
};

TEST_F(AutostartE2ETest, onQueryOff_writeAskAndRemoveTheLoginEntry)
{
    const ShellRig::Run before = rig.run(QStringList{"--autostart"});
    EXPECT_EQ(before.exitCode, 0);
    EXPECT_EQ(before.out, QByteArray("off\n"));

    const ShellRig::Run on = rig.run(QStringList{"--autostart", "on"});
    EXPECT_EQ(on.exitCode, 0) << on.err.toStdString();
    EXPECT_EQ(on.out, ("on: " + entryPath() + " starts Dialwise hidden at login\n").toLocal8Bit());
    EXPECT_TRUE(on.err.isEmpty()) << on.err.toStdString();
    const QString entry = readAll(entryPath());
    const QString program = QFileInfo(ShellRig::program()).canonicalFilePath();
    EXPECT_TRUE(entry.contains("\nExec=" + program + " --hidden\n")) << entry.toStdString();

    const ShellRig::Run validate = rig.runTool(QStringLiteral("desktop-file-validate"), {entryPath()});
    EXPECT_EQ(validate.exitCode, 0);
    EXPECT_TRUE(validate.out.isEmpty() && validate.err.isEmpty()) << validate.out.toStdString() << validate.err.toStdString();

    const ShellRig::Run query = rig.run(QStringList{"--autostart"});
    EXPECT_EQ(query.exitCode, 0);
    EXPECT_EQ(query.out, QByteArray("on\n"));

    const ShellRig::Run off = rig.run(QStringList{"--autostart", "off"});
    EXPECT_EQ(off.exitCode, 0) << off.err.toStdString();
    EXPECT_EQ(off.out, ("off: removed " + entryPath() + "\n").toLocal8Bit());
    EXPECT_FALSE(QFileInfo::exists(entryPath()));
    EXPECT_EQ(rig.run(QStringList{"--autostart"}).out, QByteArray("off\n"));
    EXPECT_FALSE(ShellRig::nameOwned()) << "--autostart must not start Dialwise";
}

TEST_F(AutostartE2ETest, unwritableConfigFolderOrWrongValue_failWithClearError)
{
    QTemporaryDir scratch;
    ASSERT_TRUE(scratch.isValid());
    const QString notAFolder = scratch.path() + QStringLiteral("/config");
    QFile file(notAFolder);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();

    const ShellRig::Run on = rig.runTool(QStringLiteral("env"), {"XDG_CONFIG_HOME=" + notAFolder, ShellRig::program(), "--autostart", "on"});
    EXPECT_EQ(on.exitCode, 1);
    EXPECT_EQ(on.err, ("dialwise: cannot create the folder " + notAFolder + "/autostart\n").toLocal8Bit());
    EXPECT_TRUE(on.out.isEmpty());

    const ShellRig::Run wrong = rig.run(QStringList{"--autostart", "maybe"});
    EXPECT_EQ(wrong.exitCode, 2);
    EXPECT_EQ(wrong.err, QByteArray("dialwise: --autostart takes on or off, or nothing to ask which it is (not \"maybe\")\n"));
}

TEST_F(AutostartE2ETest, loginEntryStartedByDesktop_runsHiddenAndTakesHandOvers)
{
    ASSERT_TRUE(rig.startStandIn());
    ASSERT_EQ(rig.run(QStringList{"--autostart", "on"}).exitCode, 0);
    ASSERT_FALSE(ShellRig::nameOwned());

    // As a session manager starts it: GIO reads the entry and runs its Exec line.
    const ShellRig::Run launch = rig.runTool(QStringLiteral("gio"), {QStringLiteral("launch"), entryPath()});
    ASSERT_EQ(launch.exitCode, 0) << launch.err.toStdString();
    ASSERT_TRUE(ShellRig::waitUntil([] { return ShellRig::nameOwned(); }, kStartMs));
    ASSERT_TRUE(rig.standIn().waitForTarget(QString::fromLatin1(dialwise::voice::kCallsPath), kStartMs))
        << "the hidden Dialwise still loads the web app, so that the sign-in is ready";

    ShellRig::pump(kHiddenCheckMs);
    EXPECT_TRUE(rig.visibleWindows().isEmpty()) << "a hidden start showed its window";

    // Another hidden start while it runs changes nothing.
    const ShellRig::Run again = rig.run(QStringList{"--hidden"});
    EXPECT_EQ(again.exitCode, 0) << again.err.toStdString();
    ShellRig::pump(kHiddenCheckMs);
    EXPECT_TRUE(rig.visibleWindows().isEmpty()) << "--hidden showed the running Dialwise's window";

    const int before = int(rig.standIn().requestLines().size());
    const ShellRig::Run handOver = rig.run(QStringList{"tel:+1-202-555-0171"});
    EXPECT_EQ(handOver.exitCode, 0) << handOver.err.toStdString();
    EXPECT_TRUE(rig.standIn().waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B12025550171"), kCallWaitMs, before));
    EXPECT_TRUE(rig.waitForVisibleWindow(kCallWaitMs)) << "a call shows the window";
}

TEST_F(AutostartE2ETest, programInFolderWithReservedCharacters_loginEntryStillStartsIt)
{
    // A copy of the program (and its module, which it finds beside itself) in a folder whose
    // name needs the Exec line's quoting and escaping; GIO, reading the entry as a desktop
    // does, must arrive at exactly that program.
    QTemporaryDir scratch;
    ASSERT_TRUE(scratch.isValid());
    const QString folder = scratch.path() + QStringLiteral("/my \"dial\" $HOME `x` it's \\ (a;b)");
    ASSERT_TRUE(QDir().mkpath(folder));
    const QString program = folder + QStringLiteral("/dialwise");
    const QString buildDir = QFileInfo(ShellRig::program()).absolutePath();
    ASSERT_TRUE(QFile::copy(ShellRig::program(), program));
    ASSERT_TRUE(QFile::copy(buildDir + QStringLiteral("/dialwise-gui.so"), folder + QStringLiteral("/dialwise-gui.so")));
    ASSERT_TRUE(rig.startStandIn());

    const ShellRig::Run on = rig.runTool(program, {QStringLiteral("--autostart"), QStringLiteral("on")});
    ASSERT_EQ(on.exitCode, 0) << on.err.toStdString();
    const ShellRig::Run validate = rig.runTool(QStringLiteral("desktop-file-validate"), {entryPath()});
    EXPECT_TRUE(validate.exitCode == 0 && validate.out.isEmpty()) << validate.out.toStdString();

    const ShellRig::Run launch = rig.runTool(QStringLiteral("gio"), {QStringLiteral("launch"), entryPath()});
    ASSERT_EQ(launch.exitCode, 0) << launch.err.toStdString();
    ASSERT_TRUE(ShellRig::waitUntil([] { return ShellRig::nameOwned(); }, kStartMs)) << readAll(entryPath()).toStdString();
    QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
    const uint pid = bus->servicePid(QString::fromLatin1(dialwise::bus::kServiceName)).value();
    EXPECT_EQ(QFileInfo(QStringLiteral("/proc/%1/exe").arg(pid)).canonicalFilePath(), QFileInfo(program).canonicalFilePath());
}

} // namespace
