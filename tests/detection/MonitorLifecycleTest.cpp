// Start, stop, the log file and its lines, and the companion strip's life: where it goes, what
// keeps it, what removes it and what its button does.
#include "tests/detection/MonitorRig.h"
#include "tests/support/NamedRows.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

using dialwise::DataDetectorMonitor;
using dialwise::StripPlacement;
using dialwise::WindowInfo;
using namespace dialwise::testing;
using namespace std::chrono_literals;

namespace {

QString readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("<unreadable>");
    return QString::fromUtf8(file.readAll());
}

// --- Log --------------------------------------------------------------------------------------

TEST(MonitorLogTest, creationEmptiesFileAndWritesInitializedLine_timestampedUnprefixed)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("state/Dialwise/Dialwise.log")); // directory made
    MonitorRig rig;
    DataDetectorMonitor::Services services = rig.services();
    services.logFilePath = path;
    {
        DataDetectorMonitor first(services, rig.callManager);
        first.log(QStringLiteral("two\nlines"));
    }
    const QString firstRun = readFile(path);
    EXPECT_TRUE(QRegularExpression(QStringLiteral(
                                       "^\\[[^\\]]*\\d\\d[^\\]]*\\] === Dialwise DataDetectorMonitor initialized ===\n"
                                       "\\[[^\\]]+\\] two\nlines\n$"))
                    .match(firstRun)
                    .hasMatch())
        << firstRun.toStdString();

    DataDetectorMonitor second(services, rig.callManager);
    const QString secondRun = readFile(path);
    EXPECT_FALSE(secondRun.contains(QStringLiteral("two")));
    EXPECT_EQ(secondRun.count(QStringLiteral("initialized")), 1);
    // Starting does not empty it again.
    second.startMonitoring();
    EXPECT_TRUE(readFile(path).contains(QStringLiteral("initialized")));
    EXPECT_TRUE(readFile(path).contains(QStringLiteral("] Global click monitor installed. Monitoring active.\n")));
}

TEST(MonitorLogTest, unwritableFile_noHandle_observerStillSeesLines)
{
    QTemporaryDir dir;
    QFile blocker(dir.filePath(QStringLiteral("blocker")));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    MonitorRig rig;
    DataDetectorMonitor::Services services = rig.services();
    services.logFilePath = dir.filePath(QStringLiteral("blocker/Dialwise.log")); // under a file: cannot exist
    DataDetectorMonitor monitor(services, rig.callManager);
    EXPECT_FALSE(monitor.logFile);
    EXPECT_EQ(rig.logs, QStringList{"=== Dialwise DataDetectorMonitor initialized ==="});
}

TEST(MonitorLogTest, defaultPathFollowsXdgStateHome)
{
    qputenv("XDG_STATE_HOME", "/tmp/dialwise-state-test");
    EXPECT_EQ(DataDetectorMonitor::defaultLogFilePath(), QStringLiteral("/tmp/dialwise-state-test/Dialwise/Dialwise.log"));
    qputenv("XDG_STATE_HOME", "");
    EXPECT_TRUE(DataDetectorMonitor::defaultLogFilePath().endsWith(QStringLiteral("/.local/state/Dialwise/Dialwise.log")));
    qunsetenv("XDG_STATE_HOME");
}

// --- Start and stop ---------------------------------------------------------------------------

TEST(MonitorLifecycleTest, startTwice_onePermissionLineOneListener)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    monitor.startMonitoring();
    monitor.startMonitoring();
    EXPECT_EQ(rig.logs, (QStringList{"Accessibility permission: GRANTED", "Global click monitor installed. Monitoring active."}));
    EXPECT_EQ(rig.clicks->listenerCount(), 1);
    EXPECT_EQ(rig.tree->trustChecksWithPrompt, 1);
    EXPECT_TRUE(monitor.isMonitoring);
}

TEST(MonitorLifecycleTest, notTrusted_warnsAndMonitorsAnyway)
{
    MonitorRig rig;
    rig.tree->trusted = false;
    DataDetectorMonitor &monitor = rig.make();
    monitor.startMonitoring();
    EXPECT_EQ(rig.logs, (QStringList{
                            "Accessibility permission: NOT GRANTED",
                            "WARNING: Without Accessibility, DD popup detection will not work!",
                            "Go to System Settings \u2192 Privacy & Security \u2192 Accessibility \u2192 Enable Dialwise",
                            "Global click monitor installed. Monitoring active.",
                        }));
    EXPECT_EQ(rig.clicks->listenerCount(), 1);
}

TEST(MonitorLifecycleTest, installFails_noTokenSameLine)
{
    MonitorRig rig;
    rig.clicks->failInstall = true;
    DataDetectorMonitor &monitor = rig.make();
    monitor.startMonitoring();
    EXPECT_FALSE(monitor.globalClickMonitor);
    EXPECT_EQ(rig.logs.last(), QStringLiteral("Global click monitor installed. Monitoring active."));
}

TEST(MonitorLifecycleTest, stopTwice_logsTwice_removesListener_restartInstallsNew)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    monitor.startMonitoring();
    monitor.stopMonitoring();
    monitor.stopMonitoring();
    EXPECT_EQ(rig.logs.count(QStringLiteral("Monitoring stopped.")), 2);
    EXPECT_EQ(rig.clicks->listenerCount(), 0);
    EXPECT_FALSE(monitor.isMonitoring);
    rig.clickAt(1, 1);
    rig.scheduler->advanceTo(5s);
    EXPECT_EQ(monitor.scanAttempts, 0);
    monitor.startMonitoring();
    EXPECT_EQ(rig.clicks->listenerCount(), 1);
}

TEST(MonitorLifecycleTest, pendingAttemptsNeverOutliveMonitor)
{
    MonitorRig rig;
    rig.make().startMonitoring();
    rig.clickAt(1, 1);
    EXPECT_EQ(rig.scheduler->activeTaskCount(), 4);
    rig.monitor.reset();
    EXPECT_EQ(rig.scheduler->activeTaskCount(), 0);
    rig.scheduler->advanceTo(5s); // nothing runs, nothing crashes
    rig.clicks->click();          // the listener of a gone monitor does nothing
    EXPECT_EQ(rig.scheduler->activeTaskCount(), 0);
}

// --- The strip --------------------------------------------------------------------------------

struct StripRig : MonitorRig
{
    StripRig()
    {
        make().startMonitoring();
        popupWindows(QRectF(500, 300, 260, 120));
        logs.clear();
    }
    void popupWindows(const QRectF &popup)
    {
        windows->windows = QList<WindowInfo>{FakeWindowList::window(9, 77, "Helper", 101, popup)};
    }
};

TEST(CompanionStripTest, frameBelowPopupOverlapping8_onMainScreen)
{
    StripRig rig;
    rig.monitor->showCompanionPanel(QRectF(500, 300, 260, 120), QStringLiteral("+1 (555) 010-0000"));
    ASSERT_EQ(rig.panels->shown.size(), 1u);
    EXPECT_EQ(rig.panels->shown[0]->placement, (StripPlacement{QRectF(500, 300, 260, 120), 30, 8}));
    EXPECT_EQ(rig.panels->shown[0]->placement.bottomLeftFrame(1080), QRectF(500, 638, 260, 30));
    EXPECT_EQ(rig.panels->shown[0]->phoneNumber, QStringLiteral("+1 (555) 010-0000"));
    EXPECT_EQ(rig.logs, QStringList{"  [Panel] Showing at NS frame (500.0, 638.0, 260.0, 30.0) (overlap 8.0px) for phone "
                                    "'+1 (555) 010-0000'"});
    EXPECT_EQ(rig.monitor->lastPopupFrame, QRectF(500, 300, 260, 120));
}

TEST(CompanionStripTest, noMainScreen_noStripButStateRecorded)
{
    StripRig rig;
    rig.screen->height = std::nullopt;
    rig.monitor->showCompanionPanel(QRectF(1, 2, 300, 200), QStringLiteral("123"));
    EXPECT_TRUE(rig.panels->shown.empty());
    EXPECT_FALSE(rig.monitor->companionPanel);
    EXPECT_EQ(rig.monitor->currentPhoneNumber, QStringLiteral("123"));
    EXPECT_EQ(rig.monitor->lastPopupFrame, QRectF(1, 2, 300, 200));
    EXPECT_TRUE(rig.logs.isEmpty());
}

struct MoveRow
{
    const char *name;
    QRectF moved;
    bool kept;
};

const MoveRow kMoveRows[] = {
    {"Still_Kept", QRectF(500, 300, 260, 120), true},
    {"X29_Kept", QRectF(529, 300, 260, 120), true},
    {"Y29Up_Kept", QRectF(500, 271, 260, 120), true},
    {"Width29_Kept", QRectF(500, 300, 289, 120), true},
    {"X30_Removed", QRectF(530, 300, 260, 120), false},
    {"Y30Up_Removed", QRectF(500, 270, 260, 120), false},
    {"Height30_Removed", QRectF(500, 300, 260, 150), false},
    {"Width30Smaller_Removed", QRectF(500, 300, 230, 120), false},
};

using StripPollTest = ::testing::TestWithParam<MoveRow>;

TEST_P(StripPollTest, ToleranceBelow30)
{
    StripRig rig;
    rig.monitor->showCompanionPanel(QRectF(500, 300, 260, 120), QStringLiteral("+1 (555) 010-0000"));
    rig.popupWindows(GetParam().moved);

    rig.scheduler->advanceBy(499ms);
    EXPECT_TRUE(rig.monitor->companionPanel); // no tick yet
    rig.scheduler->advanceBy(1ms);

    EXPECT_EQ(bool(rig.monitor->companionPanel), GetParam().kept);
    EXPECT_EQ(rig.panels->shown[0]->closed, !GetParam().kept);
    EXPECT_EQ(rig.logs.contains(QStringLiteral("  [Panel] DD popup dismissed, removing companion")), !GetParam().kept);
}

INSTANTIATE_TEST_SUITE_P(Moves, StripPollTest, ::testing::ValuesIn(kMoveRows), dialwise::testing::RowName());

TEST(CompanionStripTest, windowListFailure_removesAtNextTick_andTimersStop)
{
    StripRig rig;
    rig.monitor->showCompanionPanel(QRectF(500, 300, 260, 120), QStringLiteral("1"));
    rig.windows->windows = std::nullopt;
    rig.scheduler->advanceBy(500ms);
    EXPECT_FALSE(rig.monitor->companionPanel);
    EXPECT_FALSE(rig.monitor->pollTimer);
    EXPECT_FALSE(rig.monitor->dismissTimer);
    EXPECT_EQ(rig.scheduler->activeTaskCount(), 0);
}

TEST(CompanionStripTest, dismissedAfter20s_pollKeepsItUntilThen)
{
    StripRig rig;
    rig.monitor->showCompanionPanel(QRectF(500, 300, 260, 120), QStringLiteral("1"));
    rig.scheduler->advanceBy(19999ms);
    EXPECT_TRUE(rig.monitor->companionPanel);
    rig.scheduler->advanceBy(1ms);
    EXPECT_FALSE(rig.monitor->companionPanel);
    EXPECT_TRUE(rig.panels->shown[0]->closed);
    EXPECT_EQ(rig.scheduler->activeTaskCount(), 0);
    EXPECT_FALSE(rig.logs.contains(QStringLiteral("  [Panel] DD popup dismissed, removing companion")));
}

TEST(CompanionStripTest, secondPopupReplacesStrip_andRestartsTimers)
{
    StripRig rig;
    rig.monitor->showCompanionPanel(QRectF(500, 300, 260, 120), QStringLiteral("1"));
    rig.scheduler->advanceBy(10s);
    rig.monitor->showCompanionPanel(QRectF(500, 300, 260, 120), QStringLiteral("2"));
    EXPECT_TRUE(rig.panels->shown[0]->closed);
    EXPECT_FALSE(rig.panels->shown[1]->closed);
    EXPECT_EQ(rig.scheduler->activeTaskCount(), 2);
    rig.scheduler->advanceBy(19999ms); // 29.999 s after the first: the first dismissal is gone
    EXPECT_TRUE(rig.monitor->companionPanel);
    rig.scheduler->advanceBy(1ms);
    EXPECT_FALSE(rig.monitor->companionPanel);
}

TEST(CompanionStripTest, anyClickClosesStripAtOnce_beforeNewScans)
{
    StripRig rig;
    rig.monitor->showCompanionPanel(QRectF(500, 300, 260, 120), QStringLiteral("1"));
    rig.clickAt(5, 5);
    EXPECT_TRUE(rig.panels->shown[0]->closed);
    EXPECT_FALSE(rig.monitor->companionPanel);
    EXPECT_FALSE(rig.logs.filter(QStringLiteral("Scan attempt")).size());
}

TEST(CompanionStripTest, stopMonitoringClosesStrip)
{
    StripRig rig;
    rig.monitor->showCompanionPanel(QRectF(500, 300, 260, 120), QStringLiteral("1"));
    rig.monitor->stopMonitoring();
    EXPECT_TRUE(rig.panels->shown[0]->closed);
    EXPECT_EQ(rig.scheduler->activeTaskCount(), 0);
}

struct ClickRow
{
    const char *name;
    const char *number;
    const char *outcome;
};

const ClickRow kClickRows[] = {
    {"Number_Calls", "+1 (555) 010-0000", "call +1 (555) 010-0000"},
    {"Unknown_DialDialog", "unknown", "dial-dialog"},
    {"Empty_DialDialog", "", "dial-dialog"},
    {"UnknownOtherCase_Calls", "Unknown", "call Unknown"},
};

using CompanionClickTest = ::testing::TestWithParam<ClickRow>;

TEST_P(CompanionClickTest, LogsThenDismissesThenCallsOrDials)
{
    StripRig rig;
    const QString number = QString::fromUtf8(GetParam().number);
    rig.monitor->showCompanionPanel(QRectF(500, 300, 260, 120), number);
    rig.logs.clear();
    // What had happened when the call manager was reached.
    bool closedBeforeCall = false;
    rig.calls.clear();
    rig.panels->onClosed = [&](const auto &) { closedBeforeCall = rig.calls.isEmpty(); };

    ASSERT_TRUE(rig.panels->clickCurrent());

    EXPECT_EQ(rig.logs, QStringList{QStringLiteral("Companion clicked! Phone: ") + number});
    EXPECT_TRUE(closedBeforeCall);
    EXPECT_EQ(rig.calls, QStringList{QString::fromUtf8(GetParam().outcome)});
    EXPECT_EQ(rig.scheduler->activeTaskCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(Numbers, CompanionClickTest, ::testing::ValuesIn(kClickRows), dialwise::testing::RowName());

TEST(CompanionStripTest, closedStripsButtonDoesNothing)
{
    StripRig rig;
    rig.monitor->showCompanionPanel(QRectF(500, 300, 260, 120), QStringLiteral("1"));
    auto action = rig.panels->shown[0]->onClick;
    rig.monitor.reset(); // the monitor is gone; the strip's action must not reach it
    action();
    EXPECT_TRUE(rig.calls.isEmpty());
}

} // namespace
