// From click to strip: the attempts a click schedules, the strategies' order, the new-window
// filter, and what a scan that finds nothing writes.
#include "tests/detection/MonitorRig.h"
#include "tests/support/NamedRows.h"

#include <gtest/gtest.h>

using dialwise::ElementHandle;
using dialwise::DataDetectorMonitor;
using dialwise::WindowInfo;
using namespace dialwise::testing;
using namespace std::chrono_literals;

namespace {

constexpr auto kExhausted = "All scan attempts exhausted. No DD popup found.";

WindowInfo window(quint32 number, qint32 pid, const QRectF &bounds, int layer = 0, const QString &owner = "App")
{
    return FakeWindowList::window(number, pid, owner, layer, bounds);
}

// Started, with one ordinary window on screen and a frontmost application without windows.
struct StartedRig : MonitorRig
{
    StartedRig()
    {
        windows->windows = QList<WindowInfo>{window(1, 10, QRectF(0, 0, 1280, 800))};
        windows->frontmost = dialwise::FrontmostApplication{10, QStringLiteral("Mail")};
        application(10, {});
        make().startMonitoring();
        logs.clear();
    }
};

TEST(ScanDriverTest, unansweredClick_fourAttemptsOneExhaustedLine_byTheLast)
{
    StartedRig rig;
    rig.clickAt(100, 100);

    rig.scheduler->advanceTo(299ms);
    EXPECT_TRUE(rig.logs.isEmpty());
    EXPECT_EQ(rig.monitor->scanAttempts, 0);
    rig.scheduler->advanceTo(1499ms);
    EXPECT_EQ(rig.monitor->scanAttempts, 3);
    EXPECT_EQ(rig.logs.filter(QStringLiteral("--- Scan attempt")),
              (QStringList{"--- Scan attempt 1 ---", "--- Scan attempt 2 ---", "--- Scan attempt 3 ---"}));
    EXPECT_FALSE(rig.logs.contains(QString::fromLatin1(kExhausted)));
    rig.scheduler->advanceTo(60s);

    EXPECT_EQ(rig.monitor->scanAttempts, 4);
    EXPECT_EQ(rig.logs.count(QString::fromLatin1(kExhausted)), 1);
    EXPECT_EQ(rig.logs.last(), QString::fromLatin1(kExhausted));
    // One attempt's own lines, in strategy order.
    const qsizetype last = rig.logs.indexOf(QStringLiteral("--- Scan attempt 4 ---"));
    EXPECT_EQ(rig.logs.mid(last), (QStringList{
                                      "--- Scan attempt 4 ---",
                                      "  [NewWindow] No new popup windows found",
                                      "  [AXWindows] Scanning frontmost app: Mail pid=10",
                                      "  [AX-windows] Found 0 windows",
                                      "  [AX-children] Failed to get children: 0",
                                      "  [AtPosition] Click at NS(100.0, 100.0) \u2192 CG(100.0, 980.0)",
                                      "  [AtPosition] No DD elements found near click position",
                                      kExhausted,
                                  }));
}

TEST(ScanDriverTest, attemptsRunAtTheirInstants)
{
    StartedRig rig;
    rig.clickAt(100, 100);
    for (const auto &[at, attempts] : std::vector<std::pair<std::chrono::milliseconds, int>>{
             {300ms, 1}, {599ms, 1}, {600ms, 2}, {999ms, 2}, {1000ms, 3}, {1499ms, 3}, {1500ms, 4}}) {
        rig.scheduler->advanceTo(at);
        EXPECT_EQ(rig.monitor->scanAttempts, attempts) << at.count();
    }
}

TEST(ScanDriverTest, secondClickWithin1500ms_olderAttemptsCountOnTop_twoExhaustedLines)
{
    StartedRig rig;
    rig.clickAt(100, 100);
    rig.scheduler->advanceTo(700ms); // two attempts of the first click have run
    rig.clickAt(200, 200);
    EXPECT_EQ(rig.monitor->scanAttempts, 0);
    EXPECT_EQ(rig.monitor->lastClickPosition, QPointF(200, 1080 - 200)); // top-left origin inside
    rig.scheduler->advanceTo(60s);

    // First click's 1.0 s and 1.5 s attempts plus the second click's four.
    EXPECT_EQ(rig.monitor->scanAttempts, 6);
    EXPECT_EQ(rig.logs.filter(QStringLiteral("--- Scan attempt")),
              (QStringList{"--- Scan attempt 1 ---", "--- Scan attempt 2 ---", "--- Scan attempt 1 ---",
                           "--- Scan attempt 2 ---", "--- Scan attempt 3 ---", "--- Scan attempt 4 ---",
                           "--- Scan attempt 5 ---", "--- Scan attempt 6 ---"}));
    // Attempts 4, 5 and 6 each report exhaustion; the older click's attempts run at the newer
    // click's position.
    EXPECT_EQ(rig.logs.count(QString::fromLatin1(kExhausted)), 3);
    EXPECT_EQ(rig.logs.filter(QStringLiteral("NS(100.0, 100.0)")).size(), 2);
}

TEST(ScanDriverTest, popupFoundAt300ms_laterAttemptsDoNothing)
{
    StartedRig rig;
    rig.application(77, {rig.popup(QRectF(500, 300, 260, 120))});
    rig.clickAt(520, 790);
    rig.windows->windows->prepend(window(9, 77, QRectF(500, 300, 260, 120), 101, "Helper"));

    rig.scheduler->advanceTo(300ms);
    ASSERT_TRUE(rig.monitor->companionPanel);
    const QStringList afterFirst = rig.logs;
    const qint64 queries = rig.windows->windowQueries;
    rig.scheduler->advanceTo(1500ms);

    EXPECT_EQ(rig.monitor->scanAttempts, 1);
    // Only the strip's own polls ran since: no scan lines, no window queries beyond the polls.
    EXPECT_EQ(rig.logs, afterFirst);
    EXPECT_EQ(rig.windows->windowQueries - queries, 2); // the polls at 0.8 s and 1.3 s
    EXPECT_TRUE(afterFirst.contains(
        QStringLiteral("FOUND via new-window detection: +1 (555) 010-0000 at (500.0, 300.0, 260.0, 120.0)")));
}

TEST(ScanDriverTest, newWindowStrategyLines_andCandidateFrontmostFirst)
{
    StartedRig rig;
    DataDetectorMonitor &monitor = *rig.monitor;
    // Two popup-sized new windows; the front one holds the popup, so the second is never checked.
    rig.application(77, {rig.popup(QRectF(500, 300, 260, 120))});
    rig.application(78, {rig.popup(QRectF(10, 10, 300, 150))});
    rig.windows->windows = QList<WindowInfo>{
        window(9, 77, QRectF(500, 300, 260, 120), 101, "Helper"),
        window(10, 78, QRectF(10, 10, 300, 150), 3, "Other"),
        window(1, 10, QRectF(0, 0, 1280, 800)),
    };

    const auto found = monitor.scanNewWindows();

    ASSERT_TRUE(found);
    EXPECT_EQ(found->frame, QRectF(500, 300, 260, 120));
    EXPECT_EQ(rig.logs.mid(0, 4), (QStringList{
                                      "  [NewWindow] New window: id=9 owner='Helper' pid=77 layer=101 frame=(500.0,300.0,260.0,120.0)",
                                      "  [NewWindow] New window: id=10 owner='Other' pid=78 layer=3 frame=(10.0,10.0,300.0,150.0)",
                                      "  [NewWindow] Checking popup from 'Helper' pid=77",
                                      "  [AX-windows] Found 1 windows",
                                  }));
    EXPECT_EQ(rig.logs.filter(QStringLiteral("Checking popup")).size(), 1);
}

struct SizeRow
{
    const char *name;
    double width;
    double height;
    bool candidate;
};

const SizeRow kSizeRows[] = {
    {"W100H200_Rejected", 100, 200, false}, {"W499H80_Rejected", 499, 80, false},
    {"W101H81_Accepted", 101, 81, true},    {"W500H200_Rejected", 500, 200, false},
    {"W200H400_Rejected", 200, 400, false}, {"W300H150_Accepted", 300, 150, true},
};

using NewWindowSizeTest = ::testing::TestWithParam<SizeRow>;

TEST_P(NewWindowSizeTest, CandidateOnlyStrictlyInside)
{
    StartedRig rig;
    rig.windows->windows = QList<WindowInfo>{window(50, 5, QRectF(0, 0, GetParam().width, GetParam().height), 25)};

    EXPECT_FALSE(rig.monitor->scanNewWindows());

    EXPECT_EQ(rig.logs.filter(QStringLiteral("New window: id=50")).size(), 1); // logged whatever its size
    EXPECT_EQ(rig.logs.contains(QStringLiteral("  [NewWindow] Checking popup from 'App' pid=5")), GetParam().candidate);
    EXPECT_EQ(rig.logs.contains(QStringLiteral("  [NewWindow] No new popup windows found")), !GetParam().candidate);
}

INSTANTIATE_TEST_SUITE_P(Sizes, NewWindowSizeTest, ::testing::ValuesIn(kSizeRows), dialwise::testing::RowName());

TEST(ScanDriverTest, candidatesWithoutResult_noSummaryLine)
{
    StartedRig rig;
    rig.windows->windows = QList<WindowInfo>{window(50, 5, QRectF(0, 0, 300, 150))};
    EXPECT_FALSE(rig.monitor->scanNewWindows());
    EXPECT_FALSE(rig.logs.contains(QStringLiteral("  [NewWindow] No new popup windows found")));
}

TEST(ScanDriverTest, unnamedOwnerLoggedAsUnknown_layerAsGiven)
{
    StartedRig rig;
    WindowInfo unnamed = window(60, 6, QRectF(1, 2, 3.5, 0));
    unnamed.ownerName = std::nullopt;
    rig.windows->windows = QList<WindowInfo>{unnamed, window(66, 6, QRectF(0, 0, 10, 10), 101, QStringLiteral("Menu"))};

    EXPECT_FALSE(rig.monitor->scanNewWindows());

    EXPECT_EQ(rig.logs, (QStringList{
                            "  [NewWindow] New window: id=60 owner='unknown' pid=6 layer=0 frame=(1.0,2.0,3.5,0.0)",
                            "  [NewWindow] New window: id=66 owner='Menu' pid=6 layer=101 frame=(0.0,0.0,10.0,10.0)",
                            "  [NewWindow] No new popup windows found",
                        }));
}

TEST(ScanDriverTest, windowListFailure_loggedAndNextStrategyRuns)
{
    StartedRig rig;
    rig.windows->windows = std::nullopt;
    rig.monitor->performScan();
    ASSERT_GE(rig.logs.size(), 3);
    EXPECT_EQ(rig.logs[1], QStringLiteral("  [NewWindow] CGWindowListCopyWindowInfo failed"));
    EXPECT_EQ(rig.logs[2], QStringLiteral("  [AXWindows] Scanning frontmost app: Mail pid=10"));
}

TEST(ScanDriverTest, snapshot_failureKeepsOldSet_successReplacesIt)
{
    StartedRig rig;
    EXPECT_EQ(rig.monitor->knownWindowIDs, QSet<quint32>{1});
    rig.windows->windows = std::nullopt;
    rig.monitor->snapshotWindowIDs();
    EXPECT_EQ(rig.monitor->knownWindowIDs, QSet<quint32>{1});
    rig.windows->windows = QList<WindowInfo>{window(2, 1, QRectF()), window(4, 1, QRectF())};
    rig.monitor->snapshotWindowIDs();
    EXPECT_EQ(rig.monitor->knownWindowIDs, (QSet<quint32>{2, 4}));
}

TEST(ScanDriverTest, windowThatExistedBeforeClick_neverNew_butFrontAppFindsIt)
{
    StartedRig rig;
    rig.application(10, {rig.popup(QRectF(500, 300, 260, 120))});
    rig.windows->windows->append(window(9, 10, QRectF(500, 300, 260, 120)));
    rig.clickAt(520, 790); // the snapshot now holds window 9
    rig.scheduler->advanceTo(300ms);

    EXPECT_FALSE(rig.logs.filter(QStringLiteral("New window: id=9")).size());
    EXPECT_TRUE(rig.logs.contains(QStringLiteral("FOUND via AX window scan: +1 (555) 010-0000 at (500.0, 300.0, 260.0, 120.0)")));
}

TEST(ScanDriverTest, missingFrontmostName_questionMark_noFrontmost_logged)
{
    StartedRig rig;
    rig.windows->frontmost = dialwise::FrontmostApplication{33, std::nullopt};
    rig.monitor->scanFrontAppAXWindows();
    EXPECT_EQ(rig.logs.first(), QStringLiteral("  [AXWindows] Scanning frontmost app: ? pid=33"));
    rig.logs.clear();
    rig.windows->frontmost = std::nullopt;
    EXPECT_FALSE(rig.monitor->scanFrontAppAXWindows());
    EXPECT_EQ(rig.logs, QStringList{"  [AXWindows] No frontmost app"});
}

TEST(ScanDriverTest, strategyOrder_positionLastAndLoggedAsSuch)
{
    StartedRig rig;
    ElementHandle popup = rig.element(QStringLiteral("AXPopover"), QRectF(90, 400, 260, 120));
    ElementHandle entry = rig.element(QStringLiteral("AXButton"), QRectF(), QStringLiteral("FaceTime"));
    rig.tree->setChildren(popup, {entry});
    rig.tree->addHitRect(QRectF(0, 0, 2000, 2000), entry);
    rig.clickAt(100, 500);
    rig.scheduler->advanceTo(300ms);

    const qsizetype newWindow = rig.logs.indexOf(QStringLiteral("  [NewWindow] No new popup windows found"));
    const qsizetype front = rig.logs.indexOf(QStringLiteral("  [AXWindows] Scanning frontmost app: Mail pid=10"));
    const qsizetype found = rig.logs.indexOf(QStringLiteral("FOUND via AX-at-position: unknown at (90.0, 400.0, 260.0, 120.0)"));
    EXPECT_GE(newWindow, 0);
    EXPECT_GT(front, newWindow);
    EXPECT_GT(found, front);
    EXPECT_EQ(rig.panels->shown.size(), 1u);
}

} // namespace
