// Hidden is not asleep: an incoming call must ring with the window hidden for hours. With the
// window hidden the page is not frozen or discarded, its timers keep running and its sound plays.
#include "tests/display/WindowTestRig.h"

#include <QElapsedTimer>
#include <QTest>
#include <QWebEnginePage>

#include <gtest/gtest.h>

#include <iostream>

using namespace dialwise::testing;

namespace {

// A hidden page's timers run at least once a second (Chromium's ordinary background pace); this
// is long enough to see several.
constexpr int kHiddenWatchMs = 3500;

void hide(WindowRig &rig)
{
    rig.window->showAndActivate();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(rig.window.get()));
    rig.window->close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !rig.window->isVisible(); }, kLoadTimeoutMs));
}

TEST(GoogleVoiceWindowHiddenPage, hidden_pageStaysActiveAndItsTimersRun)
{
    WindowRig rig;
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    hide(rig);
    evaluate(rig.page(), QStringLiteral("window.ticks = 0; setInterval(function () { ++window.ticks; }, 200); true"));
    QTest::qWait(kHiddenWatchMs);

    EXPECT_EQ(rig.page()->lifecycleState(), QWebEnginePage::LifecycleState::Active) << "neither frozen nor discarded";
    EXPECT_EQ(evaluate(rig.page(), QStringLiteral("document.visibilityState")).toString(), QStringLiteral("hidden"));
    const int ticks = evaluate(rig.page(), QStringLiteral("window.ticks")).toInt();
    std::cout << "a 200 ms interval ran " << ticks << " times in " << kHiddenWatchMs << " ms hidden\n";
    EXPECT_GE(ticks, 2) << "the hidden page's timers stopped";
}

TEST(GoogleVoiceWindowHiddenPage, hidden_soundPlays)
{
    WindowRig rig;
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    hide(rig);
    ASSERT_FALSE(rig.page()->recentlyAudible());

    // A ringtone, as the web app plays one for an incoming call: no click into the page first.
    QElapsedTimer took;
    took.start();
    evaluate(rig.page(), QStringLiteral("window.ring = new AudioContext();"
                                        "var tone = ring.createOscillator(); tone.frequency.value = 440;"
                                        "tone.connect(ring.destination); tone.start(); ring.state"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return rig.page()->recentlyAudible(); }, kLoadTimeoutMs))
        << "audio state: " << evaluate(rig.page(), QStringLiteral("ring.state")).toString().toStdString();
    std::cout << "recentlyAudible while hidden after " << took.elapsed() << " ms\n";
    EXPECT_FALSE(rig.window->isVisible());
    EXPECT_EQ(evaluate(rig.page(), QStringLiteral("ring.state")).toString(), QStringLiteral("running"));
}

} // namespace
