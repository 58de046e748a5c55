// The real scheduler on Qt's event loop: one-shot and repeating timers, cancellation, weak
// targets, and handles that may be dropped.
#include "calling/QtScheduler.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QObject>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>

using namespace std::chrono_literals;
using dialwise::QtScheduler;
using dialwise::ScheduledTask;

namespace {

// Upper bound for "it happens": far above the delays used, so a loaded machine does not fail.
constexpr int kEventuallyMs = 5000;
// How long "it does not happen" is watched for: ten times the longest delay scheduled in these
// tests, so a timer that wrongly survived would have fired several times over.
constexpr int kQuietMs = 300;

TEST(QtScheduler, runOnce_firesOnceAfterDelay)
{
    QtScheduler scheduler;
    QObject target;
    int runs = 0;
    QElapsedTimer since;
    since.start();
    const auto task = scheduler.runOnce(30ms, &target, [&] { ++runs; });
    EXPECT_TRUE(task->isActive());
    EXPECT_EQ(scheduler.activeTaskCount(), 1);

    ASSERT_TRUE(QTest::qWaitFor([&] { return runs == 1; }, kEventuallyMs));
    // Qt's precise timers never fire early.
    EXPECT_GE(since.elapsed(), 30);
    EXPECT_FALSE(task->isActive());
    EXPECT_EQ(scheduler.activeTaskCount(), 0);
    QTest::qWait(kQuietMs);
    EXPECT_EQ(runs, 1);
}

TEST(QtScheduler, runRepeating_firesUntilCancelled)
{
    QtScheduler scheduler;
    QObject target;
    int runs = 0;
    const auto task = scheduler.runRepeating(10ms, &target, [&] { ++runs; });

    ASSERT_TRUE(QTest::qWaitFor([&] { return runs >= 3; }, kEventuallyMs));
    EXPECT_TRUE(task->isActive());
    EXPECT_EQ(scheduler.activeTaskCount(), 1);
    task->cancel();
    const int runsAtCancel = runs;
    EXPECT_FALSE(task->isActive());
    EXPECT_EQ(scheduler.activeTaskCount(), 0);
    QTest::qWait(kQuietMs);
    EXPECT_EQ(runs, runsAtCancel);
}

TEST(QtScheduler, cancelBeforeDue_neverRuns)
{
    QtScheduler scheduler;
    QObject target;
    bool ran = false;
    const auto task = scheduler.runOnce(10ms, &target, [&] { ran = true; });
    task->cancel();
    task->cancel(); // harmless twice
    EXPECT_EQ(scheduler.activeTaskCount(), 0);
    QTest::qWait(kQuietMs);
    EXPECT_FALSE(ran);
}

TEST(QtScheduler, cancelInsideOwnAction_stopsRepeating)
{
    QtScheduler scheduler;
    QObject target;
    int runs = 0;
    std::shared_ptr<ScheduledTask> task;
    task = scheduler.runRepeating(10ms, &target, [&] {
        if (++runs == 2)
            task->cancel();
    });
    ASSERT_TRUE(QTest::qWaitFor([&] { return runs == 2; }, kEventuallyMs));
    QTest::qWait(kQuietMs);
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(scheduler.activeTaskCount(), 0);
}

TEST(QtScheduler, targetDestroyed_neverRunsAndCountDrops)
{
    QtScheduler scheduler;
    auto target = std::make_unique<QObject>();
    bool ran = false;
    const auto once = scheduler.runOnce(10ms, target.get(), [&] { ran = true; });
    scheduler.runRepeating(10ms, target.get(), [&] { ran = true; });
    EXPECT_EQ(scheduler.activeTaskCount(), 2);

    target.reset();
    EXPECT_EQ(scheduler.activeTaskCount(), 0);
    EXPECT_FALSE(once->isActive());
    QTest::qWait(kQuietMs);
    EXPECT_FALSE(ran);
}

TEST(QtScheduler, droppedHandle_doesNotCancel)
{
    QtScheduler scheduler;
    QObject target;
    int onceRuns = 0;
    int repeatingRuns = 0;
    scheduler.runOnce(10ms, &target, [&] { ++onceRuns; });
    scheduler.runRepeating(10ms, &target, [&] { ++repeatingRuns; });
    EXPECT_EQ(scheduler.activeTaskCount(), 2);

    ASSERT_TRUE(QTest::qWaitFor([&] { return onceRuns == 1 && repeatingRuns >= 2; }, kEventuallyMs));
    EXPECT_EQ(scheduler.activeTaskCount(), 1);
}

TEST(QtScheduler, nullTarget_neverRuns)
{
    QtScheduler scheduler;
    bool ran = false;
    const auto task = scheduler.runOnce(0ms, nullptr, [&] { ran = true; });
    EXPECT_FALSE(task->isActive());
    EXPECT_EQ(scheduler.activeTaskCount(), 0);
    QTest::qWait(kQuietMs);
    EXPECT_FALSE(ran);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
