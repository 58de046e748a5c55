// Dialwise installed (run-installed: `cmake --install` into a temporary prefix whose share/ is on
// XDG_DATA_DIRS, where the session bus finds the service file and GIO the desktop entry), started
// and reached the way a desktop does it: by its bus name, and by opening links through GIO.
#include "app/BusNames.h"
#include "calling/VoiceAddress.h"
#include "tests/e2e/ShellSuite.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>

#include <gtest/gtest.h>

using namespace dialwise::testing;

namespace {

// A Dialwise that did not quit within this long is reported rather than waited on.
constexpr int kQuitMs = 10000;

QString installedPrefix()
{
    return qEnvironmentVariable("DIALWISE_INSTALLED_PREFIX");
}

QString installedProgram()
{
    return installedPrefix() + QStringLiteral("/bin/dialwise");
}

// The process that owns Dialwise's bus name, or 0.
uint ownerPid()
{
    QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
    if (!bus || !ShellRig::nameOwned())
        return 0;
    const QDBusReply<uint> pid = bus->servicePid(QString::fromLatin1(dialwise::bus::kServiceName));
    return pid.isValid() ? pid.value() : 0;
}

QStringList commandLineOf(uint pid)
{
    QFile file(QStringLiteral("/proc/%1/cmdline").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList arguments;
    for (const QByteArray &argument : file.readAll().split('\0'))
        if (!argument.isEmpty())
            arguments.append(QString::fromLocal8Bit(argument));
    return arguments;
}

class DBusActivationE2ETest : public ShellSuite<>
{
protected:
    static void SetUpTestSuite()
    {
        ASSERT_FALSE(installedPrefix().isEmpty()) << "run this test through tests/e2e/run-installed";
        ASSERT_NO_FATAL_FAILURE(openRig());
        ASSERT_TRUE(rig->shareStandInWithBus());

        // A `dialwise` on PATH that notes every start before running the installed one: the
        // desktop entry's Exec=dialwise resolves to it, so a link opened by spawning the
        // program leaves a line in the log, and one delivered over D-Bus does not.
        spawnLog = QDir::tempPath() + QStringLiteral("/dialwise-spawn-log-%1").arg(QCoreApplication::applicationPid());
        wrapperDir = spawnLog + QStringLiteral(".bin");
        QDir().mkpath(wrapperDir);
        QFile wrapper(wrapperDir + QStringLiteral("/dialwise"));
        ASSERT_TRUE(wrapper.open(QIODevice::WriteOnly));
        wrapper.write(QStringLiteral("#!/bin/sh\nprintf '%s\\n' \"$*\" >>'%1'\nexec '%2' \"$@\"\n")
                          .arg(spawnLog, installedProgram())
                          .toLocal8Bit());
        wrapper.close();
        wrapper.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("PATH", (wrapperDir + u':' + qEnvironmentVariable("PATH")).toLocal8Bit());

        const ShellRig::Run mime = rig->runTool(QStringLiteral("xdg-mime"),
                                                {QStringLiteral("default"), QStringLiteral("app.dialwise.Dialwise.desktop"),
                                                 QStringLiteral("x-scheme-handler/tel")});
        ASSERT_EQ(mime.exitCode, 0) << mime.err.toStdString();
    }

    static void TearDownTestSuite()
    {
        quitDialwise();
        QFile::remove(spawnLog);
        QDir(wrapperDir).removeRecursively();
        ShellSuite::TearDownTestSuite();
    }

    void SetUp() override { QFile::remove(spawnLog); }

    static QStringList spawns()
    {
        QFile file(spawnLog);
        if (!file.open(QIODevice::ReadOnly))
            return {};
        return QString::fromLocal8Bit(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    }

    static ShellRig::Run gdbusCall(const QString &method, const QStringList &arguments)
    {
        QStringList argv{QStringLiteral("call"), QStringLiteral("--session"), QStringLiteral("--dest"),
                         QString::fromLatin1(dialwise::bus::kServiceName), QStringLiteral("--object-path"),
                         QString::fromLatin1(dialwise::bus::kObjectPath), QStringLiteral("--method"),
                         QString::fromLatin1(dialwise::bus::kApplicationInterface) + u'.' + method};
        argv += arguments;
        return rig->runTool(QStringLiteral("gdbus"), argv, kStartMs);
    }

    static void quitDialwise() { EXPECT_TRUE(ShellRig::quitRunning(kQuitMs)) << "Dialwise did not quit"; }

    static QString spawnLog;
    static QString wrapperDir;
};

QString DBusActivationE2ETest::spawnLog;
QString DBusActivationE2ETest::wrapperDir;

TEST_F(DBusActivationE2ETest, activateWithNothingRunning_busStartsInstalledDialwiseWhichShowsItsWindow)
{
    ASSERT_FALSE(ShellRig::nameOwned());
    const int before = int(rig->standIn().requestLines().size());

    const ShellRig::Run activate = gdbusCall(QStringLiteral("Activate"), {QStringLiteral("{}")});
    ASSERT_TRUE(activate.finished);
    EXPECT_EQ(activate.exitCode, 0) << activate.err.toStdString();

    ASSERT_TRUE(ShellRig::nameOwned());
    const uint pid = ownerPid();
    ASSERT_NE(pid, 0u);
    // The service file's program, as installed, started with the service file's arguments.
    EXPECT_EQ(QFileInfo(QStringLiteral("/proc/%1/exe").arg(pid)).canonicalFilePath(),
              QFileInfo(installedProgram()).canonicalFilePath());
    EXPECT_EQ(commandLineOf(pid), (QStringList{installedProgram(), QStringLiteral("--hidden")}));
    EXPECT_TRUE(spawns().isEmpty()) << spawns().join(' ').toStdString();

    EXPECT_TRUE(rig->waitForVisibleWindow(kStartMs)) << "Activate did not show the window";
    EXPECT_TRUE(rig->standIn().waitForTarget(QString::fromLatin1(dialwise::voice::kCallsPath), kStartMs, before));
    quitDialwise();
}

TEST_F(DBusActivationE2ETest, gioOpenWithNothingRunning_busStartsDialwiseWhichDials)
{
    ASSERT_FALSE(ShellRig::nameOwned());
    const int before = int(rig->standIn().requestLines().size());

    const ShellRig::Run open = rig->runTool(QStringLiteral("gio"), {QStringLiteral("open"), QStringLiteral("tel:+1-555-123-4567")}, kStartMs);
    EXPECT_EQ(open.exitCode, 0) << open.err.toStdString();

    EXPECT_TRUE(rig->standIn().waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B15551234567"), kCallWaitMs, before))
        << rig->standIn().requestTargets().mid(before).join(' ').toStdString();
    EXPECT_TRUE(rig->waitForVisibleWindow(kStartMs));
    EXPECT_TRUE(spawns().isEmpty()) << "GIO ran the Exec line: " << spawns().join(' ').toStdString();
    quitDialwise();
}

TEST_F(DBusActivationE2ETest, gioOpenToRunningDialwise_dialsWithoutStartingAProcess_xdgOpenSpawnsOne)
{
    ASSERT_EQ(gdbusCall(QStringLiteral("Activate"), {QStringLiteral("{}")}).exitCode, 0);
    const uint pid = ownerPid();
    ASSERT_NE(pid, 0u);

    int before = int(rig->standIn().requestLines().size());
    const ShellRig::Run gio = rig->runTool(QStringLiteral("gio"), {QStringLiteral("open"), QStringLiteral("tel:+1-202-555-0161")});
    EXPECT_EQ(gio.exitCode, 0) << gio.err.toStdString();
    EXPECT_TRUE(rig->standIn().waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B12025550161"), kCallWaitMs, before));
    EXPECT_TRUE(spawns().isEmpty()) << "gio open started " << spawns().join(' ').toStdString();

    // The same link through xdg-open (no desktop named, so it runs the entry's Exec): the log
    // shows the start, which is what makes the empty log above mean something.
    before = int(rig->standIn().requestLines().size());
    const ShellRig::Run xdg = rig->runTool(QStringLiteral("xdg-open"), {QStringLiteral("tel:+1-202-555-0162")});
    EXPECT_EQ(xdg.exitCode, 0) << xdg.err.toStdString();
    EXPECT_TRUE(rig->standIn().waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B12025550162"), kCallWaitMs, before));
    EXPECT_EQ(spawns(), QStringList{QStringLiteral("tel:+1-202-555-0162")});

    EXPECT_EQ(ownerPid(), pid) << "the same Dialwise took both links";
}

TEST_F(DBusActivationE2ETest, desktopActionCallSelection_overDBus_callsSelectedNumber)
{
    // What a desktop does for the entry's action "Call Selected Number" when the entry is
    // D-Bus activatable: ActivateAction("call-selection") instead of running its Exec line.
    if (!ShellRig::nameOwned()) {
        ASSERT_EQ(gdbusCall(QStringLiteral("Activate"), {QStringLiteral("{}")}).exitCode, 0);
    }
    QGuiApplication::clipboard()->setText(QStringLiteral("ring (202) 555-0163 please"), QClipboard::Selection);
    ShellRig::pump(50);
    const int before = int(rig->standIn().requestLines().size());
    const ShellRig::Run action =
        gdbusCall(QStringLiteral("ActivateAction"), {QStringLiteral("call-selection"), QStringLiteral("[]"), QStringLiteral("{}")});
    EXPECT_EQ(action.exitCode, 0) << action.err.toStdString();
    EXPECT_TRUE(rig->standIn().waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B12025550163"), kCallWaitMs, before));
}

TEST_F(DBusActivationE2ETest, desktopActionQuit_overDBus_endsDialwise)
{
    // The entry offers "Quit Dialwise", the one way to end it from the application menu on a
    // desktop without a tray; a D-Bus activatable entry's action arrives as ActivateAction.
    QFile entry(installedPrefix() + QStringLiteral("/share/applications/app.dialwise.Dialwise.desktop"));
    ASSERT_TRUE(entry.open(QIODevice::ReadOnly));
    const QByteArray text = entry.readAll();
    EXPECT_TRUE(text.contains("\nActions=call-selection;quit;\n")) << text.toStdString();
    EXPECT_TRUE(text.contains("\n[Desktop Action quit]\nName=Quit Dialwise\nExec=dialwise --quit\n")) << text.toStdString();

    if (!ShellRig::nameOwned()) {
        ASSERT_EQ(gdbusCall(QStringLiteral("Activate"), {QStringLiteral("{}")}).exitCode, 0);
    }
    ASSERT_TRUE(ShellRig::waitUntil([] { return ShellRig::nameOwned(); }, kStartMs));
    const ShellRig::Run action =
        gdbusCall(QStringLiteral("ActivateAction"), {QStringLiteral("quit"), QStringLiteral("[]"), QStringLiteral("{}")});
    EXPECT_EQ(action.exitCode, 0) << action.err.toStdString();
    EXPECT_TRUE(ShellRig::waitUntil([] { return !ShellRig::nameOwned(); }, kQuitMs)) << "Dialwise did not quit";
}

} // namespace

int main(int argc, char **argv)
{
    // A GUI application: the test owns the X11 selection that the call-selection action reads.
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
