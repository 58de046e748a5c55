// What every Scheduler promises, checked once against both: the real one on Qt's event loop and
// the virtual one the window and detector tests run on. One-shot and repeating work,
// cancellation (also from inside an action), weak targets, and handles that may be dropped.
// What only virtual time can show (exact instants, order at one instant) is in
// VirtualSchedulerTest.
#include "calling/QtScheduler.h"
#include "calling/VirtualScheduler.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QObject>
#include <QTest>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <type_traits>

using namespace std::chrono_literals;
using dialwise::QtScheduler;
using dialwise::ScheduledTask;
using dialwise::VirtualScheduler;
using Ms = std::chrono::milliseconds;

namespace {

// Upper bound for "it happens": far above the delays used, so a loaded machine does not fail the
// real scheduler; virtual time reaches it at once.
constexpr Ms kEventually = 5000ms;
// How long "it does not happen" is watched for: ten times the longest delay scheduled in these
// tests, so a timer that wrongly survived would have fired several times over.
constexpr Ms kQuiet = 300ms;

// How a test lets time pass for one scheduler. Both waits return as soon as there is nothing more
// to see; only the real one takes real time.
template <typename SchedulerType>
struct Driver;

template <>
struct Driver<QtScheduler>
{
    QtScheduler scheduler;
    QElapsedTimer clock = [] {
        QElapsedTimer started;
        started.start();
        return started;
    }();

    Ms elapsed() const { return Ms(clock.elapsed()); }
    bool waitFor(const std::function<bool()> &done, Ms limit = kEventually)
    {
        return QTest::qWaitFor(done, int(limit.count()));
    }
    void letPass(Ms time) { QTest::qWait(int(time.count())); }
};

template <>
struct Driver<VirtualScheduler>
{
    VirtualScheduler scheduler;

    Ms elapsed() const { return scheduler.now(); }
    // One virtual millisecond at a time, so that "not before the delay" is seen to the millisecond.
    bool waitFor(const std::function<bool()> &done, Ms limit = kEventually)
    {
        const Ms end = scheduler.now() + limit;
        while (!done() && scheduler.now() < end)
            scheduler.advanceBy(1ms);
        return done();
    }
    void letPass(Ms time) { scheduler.advanceBy(time); }
};

template <typename SchedulerType>
class SchedulerContract : public ::testing::Test
{
protected:
    Driver<SchedulerType> driver;
    dialwise::Scheduler &scheduler = driver.scheduler;
    QObject target;
};

struct ImplementationName
{
    template <typename SchedulerType>
    static std::string GetName(int)
    {
        return std::is_same_v<SchedulerType, QtScheduler> ? "QtScheduler" : "VirtualScheduler";
    }
};

using Implementations = ::testing::Types<QtScheduler, VirtualScheduler>;
TYPED_TEST_SUITE(SchedulerContract, Implementations, ImplementationName);

TYPED_TEST(SchedulerContract, runOnce_firesOnceAfterDelay)
{
    int runs = 0;
    const auto task = this->scheduler.runOnce(30ms, &this->target, [&] { ++runs; });
    EXPECT_TRUE(task->isActive());
    EXPECT_EQ(this->scheduler.activeTaskCount(), 1);

    ASSERT_TRUE(this->driver.waitFor([&] { return runs == 1; }));
    // Never early: Qt's precise timers do not fire before their interval either.
    EXPECT_GE(this->driver.elapsed(), 30ms);
    EXPECT_FALSE(task->isActive());
    EXPECT_EQ(this->scheduler.activeTaskCount(), 0);
    this->driver.letPass(kQuiet);
    EXPECT_EQ(runs, 1);
}

TYPED_TEST(SchedulerContract, runRepeating_firesUntilCancelled)
{
    int runs = 0;
    const auto task = this->scheduler.runRepeating(10ms, &this->target, [&] { ++runs; });

    ASSERT_TRUE(this->driver.waitFor([&] { return runs >= 3; }));
    EXPECT_TRUE(task->isActive());
    EXPECT_EQ(this->scheduler.activeTaskCount(), 1);
    task->cancel();
    const int runsAtCancel = runs;
    EXPECT_FALSE(task->isActive());
    EXPECT_EQ(this->scheduler.activeTaskCount(), 0);
    this->driver.letPass(kQuiet);
    EXPECT_EQ(runs, runsAtCancel);
}

TYPED_TEST(SchedulerContract, cancelBeforeDue_neverRuns)
{
    bool ran = false;
    const auto task = this->scheduler.runOnce(10ms, &this->target, [&] { ran = true; });
    task->cancel();
    task->cancel(); // harmless twice
    EXPECT_FALSE(task->isActive());
    EXPECT_EQ(this->scheduler.activeTaskCount(), 0);
    this->driver.letPass(kQuiet);
    EXPECT_FALSE(ran);
}

TYPED_TEST(SchedulerContract, cancelInsideOwnAction_stopsRepeating)
{
    int runs = 0;
    std::shared_ptr<ScheduledTask> task;
    task = this->scheduler.runRepeating(10ms, &this->target, [&] {
        if (++runs == 2)
            task->cancel();
    });
    ASSERT_TRUE(this->driver.waitFor([&] { return runs == 2; }));
    this->driver.letPass(kQuiet);
    EXPECT_EQ(runs, 2);
    EXPECT_FALSE(task->isActive());
    EXPECT_EQ(this->scheduler.activeTaskCount(), 0);
}

TYPED_TEST(SchedulerContract, targetDestroyed_neverRunsAndCountDrops)
{
    auto doomed = std::make_unique<QObject>();
    bool ran = false;
    const auto once = this->scheduler.runOnce(10ms, doomed.get(), [&] { ran = true; });
    const auto repeating = this->scheduler.runRepeating(10ms, doomed.get(), [&] { ran = true; });
    EXPECT_EQ(this->scheduler.activeTaskCount(), 2);

    doomed.reset();
    EXPECT_EQ(this->scheduler.activeTaskCount(), 0);
    EXPECT_FALSE(once->isActive());
    EXPECT_FALSE(repeating->isActive());
    this->driver.letPass(kQuiet);
    EXPECT_FALSE(ran);
}

TYPED_TEST(SchedulerContract, droppedHandle_doesNotCancel)
{
    int onceRuns = 0;
    int repeatingRuns = 0;
    this->scheduler.runOnce(10ms, &this->target, [&] { ++onceRuns; });
    this->scheduler.runRepeating(10ms, &this->target, [&] { ++repeatingRuns; });
    EXPECT_EQ(this->scheduler.activeTaskCount(), 2);

    ASSERT_TRUE(this->driver.waitFor([&] { return onceRuns == 1 && repeatingRuns >= 2; }));
    EXPECT_EQ(onceRuns, 1);
    EXPECT_EQ(this->scheduler.activeTaskCount(), 1);
}

TYPED_TEST(SchedulerContract, nullTarget_neverRuns)
{
    bool ran = false;
    const auto task = this->scheduler.runOnce(0ms, nullptr, [&] { ran = true; });
    EXPECT_FALSE(task->isActive());
    EXPECT_EQ(this->scheduler.activeTaskCount(), 0);
    this->driver.letPass(kQuiet);
    EXPECT_FALSE(ran);
}

} // namespace

int main(int argc, char **argv)
{
    // The real scheduler's timers need an event loop.
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
