// What only virtual time shows of the scheduler the window and detector tests run on: exact
// instants, order at one instant, work scheduled from inside work, time moved backwards. What it
// shares with the real scheduler is checked against both in SchedulerContractTest.
#include "tests/fakes/ManualScheduler.h"

#include <QObject>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

using namespace std::chrono_literals;
using dialwise::ScheduledTask;
using dialwise::testing::ManualScheduler;
using Ms = std::chrono::milliseconds;

namespace {

TEST(VirtualScheduler, runOnce_firesAtExactInstantAndNotBefore)
{
    ManualScheduler scheduler;
    QObject target;
    std::vector<Ms> firedAt;
    const auto task = scheduler.runOnce(2000ms, &target, [&] { firedAt.push_back(scheduler.now()); });

    EXPECT_TRUE(task->isActive());
    EXPECT_EQ(scheduler.nextDue(), std::optional<Ms>(2000ms));
    scheduler.advanceBy(1999ms);
    EXPECT_TRUE(firedAt.empty());
    scheduler.advanceBy(1ms);
    ASSERT_EQ(firedAt.size(), 1u);
    EXPECT_EQ(firedAt[0], 2000ms);
    EXPECT_FALSE(task->isActive());
    EXPECT_EQ(scheduler.activeTaskCount(), 0);
    scheduler.advanceBy(10s);
    EXPECT_EQ(firedAt.size(), 1u);
}

TEST(VirtualScheduler, sameInstant_runsInOrderScheduled)
{
    ManualScheduler scheduler;
    QObject target;
    std::vector<int> order;
    scheduler.runOnce(500ms, &target, [&] { order.push_back(2); });
    scheduler.runOnce(300ms, &target, [&] { order.push_back(1); });
    scheduler.runOnce(500ms, &target, [&] { order.push_back(3); });
    scheduler.runOnce(500ms, &target, [&] { order.push_back(4); });

    scheduler.advanceTo(500ms);
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
}

TEST(VirtualScheduler, scheduledFromInsideAnAction_runsWhenDueInTheSameAdvance)
{
    ManualScheduler scheduler;
    QObject target;
    std::vector<Ms> firedAt;
    scheduler.runOnce(100ms, &target, [&] {
        firedAt.push_back(scheduler.now());
        scheduler.runOnce(0ms, &target, [&] { firedAt.push_back(scheduler.now()); });
        scheduler.runOnce(50ms, &target, [&] { firedAt.push_back(scheduler.now()); });
    });

    scheduler.advanceTo(1s);
    EXPECT_EQ(firedAt, (std::vector<Ms>{100ms, 100ms, 150ms}));
    EXPECT_EQ(scheduler.now(), 1s);
}

TEST(VirtualScheduler, runRepeating_firesEveryIntervalUntilCancelled)
{
    ManualScheduler scheduler;
    QObject target;
    std::vector<Ms> firedAt;
    const auto task = scheduler.runRepeating(500ms, &target, [&] { firedAt.push_back(scheduler.now()); });

    scheduler.advanceTo(1600ms);
    EXPECT_EQ(firedAt, (std::vector<Ms>{500ms, 1000ms, 1500ms}));
    EXPECT_TRUE(task->isActive());
    EXPECT_EQ(scheduler.activeTaskCount(), 1);
    EXPECT_EQ(scheduler.nextDue(), std::optional<Ms>(2000ms));

    task->cancel();
    scheduler.advanceTo(5s);
    EXPECT_EQ(firedAt.size(), 3u);
    EXPECT_EQ(scheduler.activeTaskCount(), 0);
    EXPECT_EQ(scheduler.nextDue(), std::nullopt);
}

TEST(VirtualScheduler, cancelInsideAnotherAction_atSameInstant_preventsIt)
{
    ManualScheduler scheduler;
    QObject target;
    bool secondRan = false;
    std::shared_ptr<ScheduledTask> second;
    scheduler.runOnce(100ms, &target, [&] { second->cancel(); });
    second = scheduler.runOnce(100ms, &target, [&] { secondRan = true; });

    scheduler.advanceTo(100ms);
    EXPECT_FALSE(secondRan);
    EXPECT_EQ(scheduler.activeTaskCount(), 0);
}

TEST(VirtualScheduler, advanceToPast_onlyRunsWhatIsDueNow)
{
    ManualScheduler scheduler;
    QObject target;
    int runs = 0;
    scheduler.advanceTo(1s);
    scheduler.runOnce(0ms, &target, [&] { ++runs; });
    scheduler.runOnce(1ms, &target, [&] { ++runs; });

    scheduler.advanceTo(500ms);
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(scheduler.now(), 1s);
}

} // namespace
