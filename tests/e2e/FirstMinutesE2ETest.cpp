// What a newcomer meets in the first minutes, through the real program on a private desktop with
// no tray host (GNOME's default): what a start prints on stderr, what closing the window says,
// and how `dialwise --quit` ends Dialwise.
#include "app/HiddenWindowNotice.h"
#include "tests/e2e/ShellSuite.h"
#include "tests/support/NotificationServerStandIn.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>

#include <gtest/gtest.h>

using namespace dialwise::testing;

namespace {

// Long enough for the web engine to finish starting and the page to draw, when the chatter this
// test is about used to come.
constexpr int kSettleMs = 3000;
// How long a second notification gets to show up before the test decides there is none.
constexpr int kNoNotificationWaitMs = 2000;

QList<QByteArray> lines(const QByteArray &text)
{
    QList<QByteArray> result;
    for (const QByteArray &line : text.split('\n')) {
        if (!line.isEmpty())
            result.append(line);
    }
    return result;
}

QString noticeRecord()
{
    return QStringLiteral("Dialwise|") + QString::fromLatin1(dialwise::HiddenWindowNotice::kSummary) + u'|'
        + QString::fromLatin1(dialwise::HiddenWindowNotice::kBody);
}

class FirstMinutesE2ETest : public ShellSuite<>
{
protected:
    static void SetUpTestSuite()
    {
        notifications = new NotificationServerStandIn;
        ASSERT_TRUE(notifications->start());
        ASSERT_NO_FATAL_FAILURE(startShell());
        ASSERT_TRUE(rig->waitForVisibleWindow(10000));
    }

    static void TearDownTestSuite()
    {
        delete notifications;
        notifications = nullptr;
        ShellSuite::TearDownTestSuite();
    }

    static NotificationServerStandIn *notifications;
};

NotificationServerStandIn *FirstMinutesE2ETest::notifications = nullptr;

TEST_F(FirstMinutesE2ETest, start_printsOnlyTheDrawingPathLine)
{
    ShellRig::pump(kSettleMs);
    const QByteArray errors = rig->primaryErrors();
    const QList<QByteArray> printed = lines(errors);
    ASSERT_EQ(printed.size(), 1) << errors.toStdString();
    EXPECT_TRUE(printed[0].startsWith("dialwise.renderer: ")) << errors.toStdString();
}

TEST_F(FirstMinutesE2ETest, closeWithoutTray_saysOnceThatDialwiseKeepsRunning)
{
    QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
    ASSERT_TRUE(bus);
    ASSERT_FALSE(bus->isServiceRegistered("org.kde.StatusNotifierWatcher").value()) << "a tray host is on the bus";

    QStringList windows = rig->visibleWindows();
    ASSERT_EQ(windows.size(), 1);
    ASSERT_TRUE(rig->closeWindow(windows.first()));
    EXPECT_TRUE(ShellRig::waitUntil([] { return rig->visibleWindows().isEmpty(); }, 5000)) << "the window stayed";
    EXPECT_TRUE(ShellRig::waitUntil([] { return !notifications->received().isEmpty(); }, 5000));
    EXPECT_EQ(notifications->received(), QStringList{noticeRecord()});
    EXPECT_TRUE(rig->primaryRunning());

    // Opened again as the notice says, by running dialwise, and closed again: nothing more.
    const ShellRig::Run again = rig->run(QStringList{});
    EXPECT_EQ(again.exitCode, 0) << again.err.toStdString();
    ASSERT_TRUE(rig->waitForVisibleWindow(10000));
    windows = rig->visibleWindows();
    ASSERT_EQ(windows.size(), 1);
    ASSERT_TRUE(rig->closeWindow(windows.first()));
    EXPECT_TRUE(ShellRig::waitUntil([] { return rig->visibleWindows().isEmpty(); }, 5000));
    ShellRig::pump(kNoNotificationWaitMs);
    EXPECT_EQ(notifications->received(), QStringList{noticeRecord()});
}

TEST_F(FirstMinutesE2ETest, quit_endsTheRunningDialwise)
{
    ASSERT_TRUE(rig->primaryRunning());
    const ShellRig::Run quit = rig->run(QStringList{"--quit"});
    EXPECT_EQ(quit.exitCode, 0) << quit.err.toStdString();
    EXPECT_EQ(quit.out, QByteArray());
    EXPECT_EQ(quit.err, QByteArray());
    EXPECT_TRUE(ShellRig::waitUntil([] { return !rig->primaryRunning(); }, 10000)) << "Dialwise is still running";
    EXPECT_EQ(rig->primaryExitCode(), 0);

    // With nothing running, --quit says so and starts nothing.
    const ShellRig::Run none = rig->run(QStringList{"--quit"});
    EXPECT_EQ(none.exitCode, 0);
    EXPECT_EQ(none.out, QByteArray("Dialwise is not running\n"));
    ShellRig::pump(500);
    EXPECT_FALSE(ShellRig::nameOwned());
    EXPECT_TRUE(rig->visibleWindows().isEmpty());
}

// A fresh start whose window is still on screen when `dialwise --quit` comes: ending Dialwise
// closes the window, but that is no close by the person, and nothing keeps running to tell of.
class FirstMinutesQuitE2ETest : public FirstMinutesE2ETest
{
};

TEST_F(FirstMinutesQuitE2ETest, quitWithWindowShown_postsNoNotice)
{
    ASSERT_EQ(rig->visibleWindows().size(), 1);
    const ShellRig::Run quit = rig->run(QStringList{"--quit"});
    EXPECT_EQ(quit.exitCode, 0) << quit.err.toStdString();
    EXPECT_TRUE(ShellRig::waitUntil([] { return !rig->primaryRunning(); }, 10000)) << "Dialwise is still running";
    EXPECT_EQ(rig->primaryExitCode(), 0);
    ShellRig::pump(kNoNotificationWaitMs);
    EXPECT_EQ(notifications->received(), QStringList());
}

// The same start with the diagnostics asked for: they are there, under their categories.
class FirstMinutesVerboseE2ETest : public ::testing::Test
{
};

TEST_F(FirstMinutesVerboseE2ETest, loggingRules_bringTheEngineFlagsBack)
{
    qputenv("QT_LOGGING_RULES", "qt.webenginecontext.info=true;dialwise.qt=true");
    ShellRig rig;
    ASSERT_TRUE(rig.startStandIn());
    ASSERT_TRUE(rig.startPrimary()) << rig.primaryErrors().toStdString();
    ShellRig::pump(kSettleMs);
    const QByteArray errors = rig.primaryErrors();
    EXPECT_GT(lines(errors).size(), 1) << errors.toStdString();
    EXPECT_TRUE(errors.startsWith("dialwise.renderer: ")) << errors.toStdString();
    EXPECT_TRUE(errors.contains("qt.webenginecontext: ")) << errors.toStdString();
    EXPECT_TRUE(errors.contains("Init Parameters:")) << errors.toStdString();
    rig.stopPrimary();
    qunsetenv("QT_LOGGING_RULES");
}

} // namespace
