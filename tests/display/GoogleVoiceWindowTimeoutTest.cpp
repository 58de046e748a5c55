// A load the window starts is given up after 60 seconds when the web app does not answer.
#include "WindowTestRig.h"

#include "Spinner.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

using dialwise::testing::kLoadTimeoutMs;
using dialwise::testing::VoiceStandIn;
using dialwise::testing::WindowRig;

namespace {

TEST(GoogleVoiceWindowTimeout, unansweredNewCall_stoppedAfterSixtySeconds)
{
    WindowRig rig;
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    rig.standIn.setStall(QStringLiteral("/u/0/calls"), VoiceStandIn::Stall::noAnswer);
    const QString target = QStringLiteral("/u/0/calls?a=nc,%2B12025550123");

    QElapsedTimer sinceCall;
    sinceCall.start();
    rig.window->initiateCall(QStringLiteral("+12025550123"));
    ASSERT_TRUE(rig.standIn.waitForTarget(target, kLoadTimeoutMs));

    const auto end = rig.waitForLoadEnd(target, 90 * 1000);
    const qint64 elapsed = sinceCall.elapsed();
    ASSERT_TRUE(end.has_value()) << "the load was never given up";
    EXPECT_NE(*end, QWebEngineLoadingInfo::LoadSucceededStatus);
    EXPECT_GE(elapsed, 59500);
    EXPECT_LT(elapsed, 70000);
    // Given up before any document came: that is a failure before commit, which leaves the
    // spinner turning.
    EXPECT_FALSE(rig.window->spinner()->isHidden());
    EXPECT_TRUE(static_cast<dialwise::Spinner *>(rig.window->spinner())->isAnimating());
    // The call counts all the same.
    ASSERT_EQ(rig.callManager.callHistory().size(), 1);
}

} // namespace
