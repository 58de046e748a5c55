// A load the window starts is given up 60 seconds after it began when the web app has not
// answered; a page that has begun to arrive by then is left to finish. Virtual time: the
// instants are exact and nothing waits a real minute.
#include "tests/display/WindowTestRig.h"

#include "webcall/Spinner.h"

#include <QTest>
#include <QWebEngineHistory>
#include <QWebEnginePage>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using dialwise::GoogleVoiceWindow;
using namespace dialwise::testing;

namespace {

const QString kNewCall = QStringLiteral("/u/0/calls?a=nc,%2B12025550123");
// How long "the load does not end" is watched for in real time: many times what a local load,
// or stopping one, takes.
constexpr int kQuietMs = 2000;

bool spinnerTurning(const WindowRig &rig)
{
    return !rig.window->spinner()->isHidden() && static_cast<dialwise::Spinner *>(rig.window->spinner())->isAnimating();
}

bool loadEndedFor(const WindowRig &rig, const QString &target)
{
    for (qsizetype i = rig.loadEndsSeen; i < rig.loadEnds.size(); ++i) {
        if (rig.loadEnds[i].target == target)
            return true;
    }
    return false;
}

class GoogleVoiceWindowTimeout : public ::testing::Test
{
protected:
    // Once the calls page has loaded, the web app answers what comes next for it as `stall` says.
    void stallCallsAfterFirstLoad(VoiceStandIn::Stall stall)
    {
        ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
        rig.standIn.setStall(QStringLiteral("/u/0/calls"), stall);
    }

    WindowRig rig;
};

TEST_F(GoogleVoiceWindowTimeout, unansweredNewCall_stoppedAtExactlySixtySeconds)
{
    ASSERT_NO_FATAL_FAILURE(stallCallsAfterFirstLoad(VoiceStandIn::Stall::noAnswer));

    const auto calledAt = rig.scheduler.now();
    rig.window->initiateCall(QStringLiteral("+12025550123"));
    ASSERT_TRUE(rig.standIn.waitForTarget(kNewCall, kLoadTimeoutMs));
    ASSERT_TRUE(QTest::qWaitFor([&] { return spinnerTurning(rig); }, kLoadTimeoutMs));

    rig.scheduler.advanceTo(calledAt + GoogleVoiceWindow::kLoadTimeout - 1ms);
    EXPECT_TRUE(rig.page()->isLoading()) << "stopped before the time-out";
    EXPECT_FALSE(loadEndedFor(rig, kNewCall));

    rig.scheduler.advanceTo(calledAt + GoogleVoiceWindow::kLoadTimeout);
    const auto end = rig.waitForLoadEnd(kNewCall);
    ASSERT_TRUE(end.has_value()) << "the load was never given up";
    EXPECT_NE(*end, QWebEngineLoadingInfo::LoadSucceededStatus);
    // Given up before any document came: that is a failure before commit, which leaves the
    // spinner turning.
    EXPECT_TRUE(spinnerTurning(rig));
    // The call counts all the same.
    ASSERT_EQ(rig.callManager.callHistory().size(), 1);
}

TEST_F(GoogleVoiceWindowTimeout, pageArrivingAtSixtySeconds_isNotCutOff)
{
    // The head and the start of the page go out, then the rest takes its time.
    ASSERT_NO_FATAL_FAILURE(stallCallsAfterFirstLoad(VoiceStandIn::Stall::partialBody));

    const auto calledAt = rig.scheduler.now();
    rig.window->initiateCall(QStringLiteral("+12025550123"));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return rig.page()->history()->currentItem().url().query().startsWith(u"a=nc,"); }, kLoadTimeoutMs))
        << "the new-call page was never committed";
    ASSERT_TRUE(spinnerTurning(rig));

    rig.scheduler.advanceTo(calledAt + GoogleVoiceWindow::kLoadTimeout);
    rig.scheduler.advanceBy(GoogleVoiceWindow::kLoadTimeout);
    EXPECT_FALSE(rig.waitForLoadEnd(kNewCall, kQuietMs).has_value()) << "the arriving page was cut off";
    EXPECT_TRUE(rig.page()->isLoading());
    EXPECT_TRUE(spinnerTurning(rig));
}

TEST_F(GoogleVoiceWindowTimeout, secondCallWhileFirstUnanswered_getsItsOwnSixtySeconds)
{
    ASSERT_NO_FATAL_FAILURE(stallCallsAfterFirstLoad(VoiceStandIn::Stall::noAnswer));
    const QString second = QStringLiteral("/u/0/calls?a=nc,%2B12025550199");

    rig.window->initiateCall(QStringLiteral("+12025550123"));
    ASSERT_TRUE(rig.standIn.waitForTarget(kNewCall, kLoadTimeoutMs));
    rig.scheduler.advanceBy(30s);
    const auto secondAt = rig.scheduler.now();
    rig.window->initiateCall(QStringLiteral("+12025550199"));
    ASSERT_TRUE(rig.standIn.waitForTarget(second, kLoadTimeoutMs));
    // Whatever Qt reports about the first load it gave up for the second, let it arrive.
    rig.waitForLoadEnd(kNewCall, kQuietMs);
    ASSERT_TRUE(QTest::qWaitFor([&] { return spinnerTurning(rig); }, kLoadTimeoutMs));

    // The first call's deadline (60 s) passes without stopping the second call's load.
    rig.scheduler.advanceTo(secondAt + GoogleVoiceWindow::kLoadTimeout - 1ms);
    EXPECT_TRUE(rig.page()->isLoading());
    EXPECT_FALSE(loadEndedFor(rig, second));

    rig.scheduler.advanceTo(secondAt + GoogleVoiceWindow::kLoadTimeout);
    const auto end = rig.waitForLoadEnd(second);
    ASSERT_TRUE(end.has_value()) << "the second load was never given up";
    EXPECT_NE(*end, QWebEngineLoadingInfo::LoadSucceededStatus);
    EXPECT_EQ(rig.callManager.callHistory().size(), 2);
}

TEST_F(GoogleVoiceWindowTimeout, finishedLoad_leavesNothingToStopLater)
{
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    rig.window->initiateCall(QStringLiteral("+12025550123"));
    ASSERT_TRUE(rig.waitForPage(kNewCall));
    // The time-out went with the load it guarded.
    EXPECT_EQ(rig.scheduler.activeTaskCount(), 0);

    // A load that is not ours (a click in the page) is never timed out by an old deadline.
    rig.standIn.setStall(QStringLiteral("/never"), VoiceStandIn::Stall::noAnswer);
    rig.navigate(QStringLiteral("/never"));
    ASSERT_TRUE(rig.standIn.waitForTarget(QStringLiteral("/never"), kLoadTimeoutMs));
    rig.scheduler.advanceBy(2 * GoogleVoiceWindow::kLoadTimeout);
    EXPECT_FALSE(rig.waitForLoadEnd(QStringLiteral("/never"), kQuietMs).has_value());
    EXPECT_TRUE(rig.page()->isLoading());
}

} // namespace
