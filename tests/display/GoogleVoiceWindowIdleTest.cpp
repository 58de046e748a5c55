// A Dialwise that sits in the tray all day must not wake the machine: once the window is hidden
// and nothing is loading, none of its own timers runs, and the page stays loaded and alive.
#include "tests/display/WindowTestRig.h"

#include "webcall/CursorBlinkTimeout.h"
#include "webcall/Spinner.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QLineEdit>
#include <QTest>
#include <QWebEngineView>

#include <gtest/gtest.h>

using dialwise::Spinner;
using namespace dialwise::testing;

namespace {

// Longer than a text cursor's blink (Qt's default: 1 s per on/off cycle), so a blink timer that
// would run in the hidden window has been (re)started by the time the timers are listed.
constexpr int kIdleWatchMs = 1500;

// Timers registered for the window and every object of ours below it: toolbar, field (with its
// text control, which owns the cursor's blink timer), buttons, spinner. The web view's insides
// belong to Qt WebEngine and are left out; the page's own liveliness is checked apart.
QStringList ownTimers(QWidget *window, QWidget *webView)
{
    QStringList found;
    QAbstractEventDispatcher *dispatcher = QAbstractEventDispatcher::instance();
    QList<QObject *> objects{window};
    objects += window->findChildren<QObject *>();
    for (QObject *object : objects) {
        bool inWebView = false;
        for (QObject *up = object; up; up = up->parent())
            inWebView = inWebView || up == webView;
        if (inWebView)
            continue;
        for (const QAbstractEventDispatcher::TimerInfo &timer : dispatcher->registeredTimers(object))
            found << QStringLiteral("%1 \"%2\" every %3 ms")
                         .arg(QString::fromLatin1(object->metaObject()->className()), object->objectName())
                         .arg(timer.interval);
    }
    return found;
}

Spinner *spinnerOf(const WindowRig &rig)
{
    return static_cast<Spinner *>(rig.window->spinner());
}

TEST(GoogleVoiceWindowIdle, hiddenIdleWindow_hasNoTimerOfItsOwnAndPageStaysLoaded)
{
    WindowRig rig;
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    rig.window->showAndActivate();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(rig.window.get()));
    // The field focused, as after typing a number: its cursor blinks while the window is shown.
    rig.window->phoneField()->setFocus();
    QTest::keyClicks(rig.window->phoneField(), QStringLiteral("555"));
    QTest::qWait(kIdleWatchMs);
    // The listing does see timers: the shown field's cursor blinks.
    ASSERT_TRUE(QTest::qWaitForWindowActive(rig.window.get()));
    EXPECT_NE(ownTimers(rig.window.get(), rig.window->webView()), QStringList());

    rig.window->close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !rig.window->isVisible(); }, kLoadTimeoutMs));
    const int requestsBefore = int(rig.standIn.requestLines().size());
    QTest::qWait(kIdleWatchMs);

    // Through the scheduler seam: no load time-out, no placeholder restore, nothing pending.
    EXPECT_EQ(rig.scheduler.activeTaskCount(), 0);
    EXPECT_EQ(ownTimers(rig.window.get(), rig.window->webView()), QStringList());
    EXPECT_FALSE(spinnerOf(rig)->isAnimating());
    EXPECT_FALSE(spinnerOf(rig)->isTicking());
    const auto *blink = rig.window->phoneField()->findChild<dialwise::CursorBlinkTimeout *>();
    ASSERT_NE(blink, nullptr);
    EXPECT_FALSE(blink->isCounting());
    // Hidden, not unloaded: the same document answers, and nothing was fetched again.
    EXPECT_EQ(evaluate(rig.page(), QStringLiteral("document.getElementById('dialwise-style') !== null && location.pathname")).toString(),
              QStringLiteral("/u/0/calls"));
    EXPECT_EQ(rig.standIn.requestLines().mid(requestsBefore), QStringList());
}

TEST(GoogleVoiceWindowIdle, loadRunningWhileHidden_spinnerKeepsStateButStopsTicking)
{
    WindowRig rig;
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    rig.standIn.setStall(QStringLiteral("/u/0/calls"), VoiceStandIn::Stall::noAnswer);
    rig.window->showAndActivate();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(rig.window.get()));
    rig.window->initiateCall(QStringLiteral("+12025550123"));
    ASSERT_TRUE(rig.standIn.waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B12025550123"), kLoadTimeoutMs));
    ASSERT_TRUE(QTest::qWaitFor([&] { return spinnerOf(rig)->isAnimating(); }, kLoadTimeoutMs));
    EXPECT_TRUE(spinnerOf(rig)->isTicking());

    // The load's time-out waits in the scheduler while the load runs, shown or hidden.
    EXPECT_EQ(rig.scheduler.activeTaskCount(), 1);

    rig.window->close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !rig.window->isVisible(); }, kLoadTimeoutMs));
    EXPECT_EQ(rig.scheduler.activeTaskCount(), 1);
    EXPECT_TRUE(spinnerOf(rig)->isAnimating());
    EXPECT_FALSE(spinnerOf(rig)->isTicking());

    rig.window->showAndActivate();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(rig.window.get()));
    EXPECT_TRUE(spinnerOf(rig)->isTicking());
    EXPECT_FALSE(spinnerOf(rig)->isHidden());
}

} // namespace
