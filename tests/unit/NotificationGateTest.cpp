// Which of the page's notifications reach the desktop, and when, on virtual time.
#include "tests/fakes/ManualScheduler.h"
#include "tests/unit/QtPrinting.h"
#include "webcall/NotificationGate.h"

#include <QObject>
#include <QStringList>

#include <gtest/gtest.h>

using dialwise::NotificationGate;
using namespace std::chrono_literals;

namespace {

// Records what the gate asks for as "present 3", "present 4 over 2", "discard 5", "withdraw 1".
class GateRig
{
public:
    explicit GateRig(NotificationGate::Limits limits = {2, 1000ms, 3})
        : gate(scheduler, &target,
               {[this](quint64 key, std::optional<quint64> replacing) {
                    log << (replacing ? QStringLiteral("present %1 over %2").arg(key).arg(*replacing)
                                      : QStringLiteral("present %1").arg(key));
                },
                [this](quint64 key) { log << QStringLiteral("discard %1").arg(key); },
                [this](quint64 key) { log << QStringLiteral("withdraw %1").arg(key); }},
               limits)
    {
    }

    QStringList takeLog() { return std::exchange(log, {}); }

    dialwise::testing::ManualScheduler scheduler;
    QObject target;
    QStringList log;
    NotificationGate gate;
};

TEST(NotificationGateTest, withinBurst_shownAtOnce)
{
    GateRig rig;
    rig.gate.offer(1, {});
    rig.gate.offer(2, {});
    EXPECT_EQ(rig.takeLog(), QStringList({"present 1", "present 2"}));
    EXPECT_EQ(rig.gate.shownCount(), 2);
}

TEST(NotificationGateTest, overBurst_newestWaitsAndDisplacedOneIsDiscarded)
{
    GateRig rig;
    for (quint64 key = 1; key <= 5; ++key)
        rig.gate.offer(key, {});
    EXPECT_EQ(rig.takeLog(), QStringList({"present 1", "present 2", "discard 3", "discard 4"}));
    EXPECT_TRUE(rig.gate.isWaiting(5));
    rig.scheduler.advanceBy(999ms);
    EXPECT_TRUE(rig.takeLog().isEmpty()) << "nothing before the pace allows";
    rig.scheduler.advanceBy(1ms);
    EXPECT_EQ(rig.takeLog(), QStringList({"present 5"}));
}

TEST(NotificationGateTest, flood_desktopGetsBurstPlusOnePerPace)
{
    GateRig rig;
    // A thousand in one second, one a millisecond.
    for (quint64 key = 1; key <= 1000; ++key) {
        rig.gate.offer(key, {});
        rig.scheduler.advanceBy(1ms);
    }
    rig.scheduler.advanceBy(5s);
    const QStringList log = rig.takeLog();
    const int presented = int(log.filter(QStringLiteral("present")).size());
    const int discarded = int(log.filter(QStringLiteral("discard")).size());
    // 2 at once, then the newest when the pace allows, at 1 s.
    EXPECT_EQ(presented, 3) << log.filter("present").join(", ").toStdString();
    EXPECT_EQ(presented + discarded, 1000) << "every notification is either shown or let go";
    EXPECT_TRUE(log.contains("present 1000")) << "the newest one is always shown in the end";
    EXPECT_LE(rig.gate.shownCount(), 3);
}

TEST(NotificationGateTest, paceRefills_thenStopsWhenFull)
{
    GateRig rig({2, 1000ms, 8});
    rig.gate.offer(1, {});
    rig.gate.offer(2, {});
    EXPECT_EQ(rig.scheduler.activeTaskCount(), 1);
    rig.scheduler.advanceBy(2s);
    EXPECT_EQ(rig.scheduler.activeTaskCount(), 0) << "an idle gate keeps no timer";
    rig.gate.offer(3, {});
    rig.gate.offer(4, {});
    EXPECT_EQ(rig.takeLog(), QStringList({"present 1", "present 2", "present 3", "present 4"}));
}

TEST(NotificationGateTest, sameTag_replacesTheShownOne)
{
    GateRig rig;
    rig.gate.offer(1, QStringLiteral("call"));
    rig.gate.offer(2, QStringLiteral("call"));
    EXPECT_EQ(rig.takeLog(), QStringList({"present 1", "present 2 over 1"}));
    EXPECT_EQ(rig.gate.shownCount(), 1);
}

TEST(NotificationGateTest, untaggedOrOtherTag_stacks)
{
    GateRig rig({5, 1000ms, 8});
    rig.gate.offer(1, QStringLiteral("call"));
    rig.gate.offer(2, QStringLiteral("message"));
    rig.gate.offer(3, {});
    rig.gate.offer(4, {});
    EXPECT_EQ(rig.takeLog(), QStringList({"present 1", "present 2", "present 3", "present 4"}));
    EXPECT_EQ(rig.gate.shownCount(), 4);
}

TEST(NotificationGateTest, fullDesktop_oldestWithdrawn)
{
    GateRig rig({5, 1000ms, 3});
    for (quint64 key = 1; key <= 4; ++key)
        rig.gate.offer(key, {});
    EXPECT_EQ(rig.takeLog(), QStringList({"present 1", "present 2", "present 3", "withdraw 1", "present 4"}));
    EXPECT_EQ(rig.gate.shownCount(), 3);
}

TEST(NotificationGateTest, forgotten_makesRoomAndWaitingOneIsNotShown)
{
    GateRig rig({1, 1000ms, 1});
    rig.gate.offer(1, {});
    rig.gate.offer(2, {});
    EXPECT_TRUE(rig.gate.isWaiting(2));
    rig.gate.forget(2); // the page closed it before its turn
    rig.gate.forget(1); // closed on the desktop
    EXPECT_EQ(rig.gate.shownCount(), 0);
    rig.scheduler.advanceBy(1s);
    EXPECT_EQ(rig.takeLog(), QStringList({"present 1"}));
    rig.gate.offer(3, {});
    EXPECT_EQ(rig.takeLog(), QStringList({"present 3"})) << "no withdrawal: the desktop had room again";
}

TEST(NotificationGateTest, gateGone_timerDoesNotRun)
{
    dialwise::testing::ManualScheduler scheduler;
    QObject target;
    int presented = 0;
    {
        NotificationGate gate(scheduler, &target,
                              {[&](quint64, std::optional<quint64>) { ++presented; }, [](quint64) {}, [](quint64) {}},
                              {1, 1000ms, 3});
        gate.offer(1, {});
        gate.offer(2, {});
    }
    scheduler.advanceBy(5s);
    EXPECT_EQ(presented, 1);
    EXPECT_EQ(scheduler.activeTaskCount(), 0);
}

} // namespace
