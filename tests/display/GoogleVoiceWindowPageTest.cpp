// The web view's side of the window: what it loads first, how pages are styled, new windows,
// microphone requests, the navigation buttons and spinner, render-process recovery and the
// developer tools.
#include "tests/display/WindowTestRig.h"

#include "webcall/CompactStyleScript.h"
#include "webcall/Spinner.h"
#include "webcall/VoiceProfile.h"

#include <QApplication>
#include <QMenu>
#include <QTest>
#include <QToolButton>
#include <QWebEngineHistory>
#include <QWebEnginePage>
#include <QWebEngineView>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/types.h>

using namespace dialwise::testing;

namespace {

const QString kStyleCount = QStringLiteral("document.querySelectorAll('#dialwise-style').length");

class GoogleVoiceWindowPage : public ::testing::Test
{
protected:
    bool waitForStyleCount(int count)
    {
        return QTest::qWaitFor([&] { return evaluate(rig.page(), kStyleCount).toInt() == count; }, kLoadTimeoutMs);
    }

    bool spinnerShown() const { return !rig.window->spinner()->isHidden(); }

    WindowRig rig;
};

TEST_F(GoogleVoiceWindowPage, construction_requestsCallsPageBeforeShown)
{
    EXPECT_TRUE(rig.standIn.waitForTarget(QStringLiteral("/u/0/calls"), kLoadTimeoutMs));
    EXPECT_FALSE(rig.window->isVisible());
    EXPECT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    EXPECT_EQ(rig.window->windowTitle(), QStringLiteral("Dialwise"));
}

TEST_F(GoogleVoiceWindowPage, page_seesSafariUserAgent)
{
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    EXPECT_EQ(evaluate(rig.page(), QStringLiteral("navigator.userAgent")).toString(),
              QString::fromLatin1(dialwise::kVoiceUserAgent));
}

TEST_F(GoogleVoiceWindowPage, callsPage_bannerHiddenByInjectedStyle)
{
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    ASSERT_TRUE(waitForStyleCount(1));
    EXPECT_EQ(evaluate(rig.page(), QStringLiteral("getComputedStyle(document.getElementById('banner')).display")).toString(),
              QStringLiteral("none"));
    EXPECT_EQ(evaluate(rig.page(), QStringLiteral("document.getElementById('dialwise-style').parentNode === document.head"))
                  .toBool(),
              true);
}

TEST_F(GoogleVoiceWindowPage, severalLoads_styleElementOncePerDocument)
{
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    for (const QString &target : {QStringLiteral("/page/a"), QStringLiteral("/page/b"), QStringLiteral("/u/0/calls")}) {
        rig.navigate(target);
        ASSERT_TRUE(rig.waitForPage(target)) << target.toStdString();
        EXPECT_TRUE(waitForStyleCount(1)) << target.toStdString();
    }
    // Running the script again in the same document adds nothing.
    evaluate(rig.page(), dialwise::compactStyleScript());
    EXPECT_EQ(evaluate(rig.page(), kStyleCount).toInt(), 1);
}

TEST_F(GoogleVoiceWindowPage, documentWithOwnStyleElement_isLeftAlone)
{
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    rig.navigate(QStringLiteral("/styled"));
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/styled")));
    // Give the injection a chance to run (it is queued behind the finished load), then check.
    evaluate(rig.page(), QStringLiteral("0"));
    EXPECT_EQ(evaluate(rig.page(), kStyleCount).toInt(), 1);
    EXPECT_EQ(evaluate(rig.page(), QStringLiteral("document.getElementById('dialwise-style').textContent")).toString(),
              QStringLiteral("/* mine */"));
}

TEST_F(GoogleVoiceWindowPage, targetBlankLink_opensInSameView)
{
    rig.window->showAndActivate();
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    const QWidgetList before = QApplication::topLevelWidgets();
    rig.navigate(QStringLiteral("/newwindow"));
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/newwindow")));

    ASSERT_TRUE(rig.clickElement(QStringLiteral("blank-link")));

    EXPECT_TRUE(rig.waitForPage(QStringLiteral("/opened-by-link")));
    EXPECT_EQ(rig.standIn.countTarget(QStringLiteral("/opened-by-link")), 1);
    EXPECT_EQ(QApplication::topLevelWidgets(), before);
}

TEST_F(GoogleVoiceWindowPage, windowOpen_opensInSameView)
{
    rig.window->showAndActivate();
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    const QWidgetList before = QApplication::topLevelWidgets();
    rig.navigate(QStringLiteral("/newwindow"));
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/newwindow")));

    ASSERT_TRUE(rig.clickElement(QStringLiteral("open-button")));

    EXPECT_TRUE(rig.waitForPage(QStringLiteral("/opened-by-window-open")));
    EXPECT_EQ(rig.standIn.countTarget(QStringLiteral("/opened-by-window-open")), 1);
    EXPECT_EQ(QApplication::topLevelWidgets(), before);
}

TEST_F(GoogleVoiceWindowPage, microphoneRequest_grantedWithoutPrompt)
{
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    rig.navigate(QStringLiteral("/mic"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return rig.page()->title().startsWith(u"mic: g") || rig.page()->title().startsWith(u"mic: d"); },
                                kLoadTimeoutMs));
    EXPECT_EQ(rig.page()->title(), QStringLiteral("mic: granted"));
}

TEST_F(GoogleVoiceWindowPage, cameraAndMicrophoneRequest_granted)
{
    rig.standIn.setPage(QStringLiteral("/camera"),
                        "<!DOCTYPE html><html><head><title>camera: waiting</title></head><body><script>"
                        "navigator.mediaDevices.getUserMedia({audio:true,video:true})"
                        ".then(function(s){document.title='camera: granted';})"
                        ".catch(function(e){document.title='camera: denied '+e.name;});</script></body></html>");
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    rig.navigate(QStringLiteral("/camera"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !rig.page()->title().endsWith(u"waiting") && rig.page()->title().startsWith(u"camera:"); },
                                kLoadTimeoutMs));
    EXPECT_EQ(rig.page()->title(), QStringLiteral("camera: granted"));
}

TEST_F(GoogleVoiceWindowPage, audio_playsWithoutUserGesture)
{
    // A tenth of a second of silence as an 8 kHz 8-bit WAV, made in the page and played at once,
    // with no click: the web app's ringing must not wait for one.
    rig.standIn.setPage(QStringLiteral("/autoplay"),
                        "<!DOCTYPE html><html><head><title>play: waiting</title></head><body><script>"
                        "var n=800,b=new Uint8Array(44+n),v=new DataView(b.buffer);"
                        "function s(o,t){for(var i=0;i<t.length;i++)b[o+i]=t.charCodeAt(i);}"
                        "s(0,'RIFF');v.setUint32(4,36+n,true);s(8,'WAVEfmt ');v.setUint32(16,16,true);"
                        "v.setUint16(20,1,true);v.setUint16(22,1,true);v.setUint32(24,8000,true);"
                        "v.setUint32(28,8000,true);v.setUint16(32,1,true);v.setUint16(34,8,true);"
                        "s(36,'data');v.setUint32(40,n,true);b.fill(128,44);"
                        "var a=new Audio(URL.createObjectURL(new Blob([b],{type:'audio/wav'})));"
                        "a.play().then(function(){document.title='play: ok';})"
                        ".catch(function(e){document.title='play: '+e.name;});"
                        "</script></body></html>");
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    rig.navigate(QStringLiteral("/autoplay"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return rig.page()->title() != u"play: waiting" && rig.page()->title().startsWith(u"play:"); },
                                kLoadTimeoutMs));
    EXPECT_EQ(rig.page()->title(), QStringLiteral("play: ok"));
}

TEST_F(GoogleVoiceWindowPage, navigationButtons_startEnabledAndFollowFinishedNavigations)
{
    EXPECT_TRUE(rig.window->backButton()->isEnabled());
    EXPECT_TRUE(rig.window->forwardButton()->isEnabled());
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !rig.window->backButton()->isEnabled(); }, kLoadTimeoutMs));
    EXPECT_FALSE(rig.window->forwardButton()->isEnabled());

    rig.navigate(QStringLiteral("/page/a"));
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/page/a")));
    EXPECT_TRUE(rig.window->backButton()->isEnabled());
    EXPECT_FALSE(rig.window->forwardButton()->isEnabled());

    rig.window->show();
    QTest::mouseClick(rig.window->backButton(), Qt::LeftButton);
    // Back at the first page, but not finished yet: the buttons keep their state until then.
    EXPECT_TRUE(rig.window->backButton()->isEnabled());
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    EXPECT_FALSE(rig.window->backButton()->isEnabled());
    EXPECT_TRUE(rig.window->forwardButton()->isEnabled());

    QTest::mouseClick(rig.window->forwardButton(), Qt::LeftButton);
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/page/a")));
    EXPECT_TRUE(rig.window->backButton()->isEnabled());
    EXPECT_FALSE(rig.window->forwardButton()->isEnabled());
}

TEST_F(GoogleVoiceWindowPage, spinner_shownWhileLoadingHiddenWhenFinished)
{
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    EXPECT_TRUE(rig.window->spinner()->isHidden());

    rig.standIn.setStall(QStringLiteral("/never"), VoiceStandIn::Stall::noAnswer);
    rig.navigate(QStringLiteral("/never"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return spinnerShown(); }, kLoadTimeoutMs));
    EXPECT_TRUE(static_cast<dialwise::Spinner *>(rig.window->spinner())->isAnimating());
}

TEST_F(GoogleVoiceWindowPage, failureBeforeCommit_leavesSpinnerTurning)
{
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    rig.standIn.setStall(QStringLiteral("/never"), VoiceStandIn::Stall::noAnswer);
    rig.navigate(QStringLiteral("/never"));
    ASSERT_TRUE(rig.standIn.waitForTarget(QStringLiteral("/never"), kLoadTimeoutMs));
    ASSERT_TRUE(spinnerShown());

    rig.page()->triggerAction(QWebEnginePage::Stop);
    const auto end = rig.waitForLoadEnd(QStringLiteral("/never"));
    ASSERT_TRUE(end.has_value());
    EXPECT_NE(*end, QWebEngineLoadingInfo::LoadSucceededStatus);
    EXPECT_TRUE(spinnerShown());
    EXPECT_TRUE(static_cast<dialwise::Spinner *>(rig.window->spinner())->isAnimating());
}

TEST_F(GoogleVoiceWindowPage, refusedConnection_leavesSpinnerTurning)
{
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    // Port 9 (discard) is closed on any test machine: the connection is refused at once.
    rig.window->webView()->load(QUrl(QStringLiteral("http://127.0.0.1:9/refused")));
    const auto end = rig.waitForLoadEnd(QStringLiteral("/refused"));
    ASSERT_TRUE(end.has_value());
    EXPECT_EQ(*end, QWebEngineLoadingInfo::LoadFailedStatus);
    EXPECT_TRUE(spinnerShown());
}

TEST_F(GoogleVoiceWindowPage, failureAfterCommit_hidesSpinner)
{
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    rig.standIn.setStall(QStringLiteral("/partial"), VoiceStandIn::Stall::partialBody);
    rig.navigate(QStringLiteral("/partial"));
    // The document is in the history (committed) while its body is still coming.
    ASSERT_TRUE(QTest::qWaitFor([&] { return rig.page()->history()->currentItem().url().path() == u"/partial"; },
                                kLoadTimeoutMs));
    ASSERT_TRUE(spinnerShown());

    rig.page()->triggerAction(QWebEnginePage::Stop);
    const auto end = rig.waitForLoadEnd(QStringLiteral("/partial"));
    ASSERT_TRUE(end.has_value());
    EXPECT_NE(*end, QWebEngineLoadingInfo::LoadSucceededStatus);
    EXPECT_FALSE(spinnerShown());
    EXPECT_FALSE(static_cast<dialwise::Spinner *>(rig.window->spinner())->isAnimating());
}

TEST_F(GoogleVoiceWindowPage, renderProcessKilled_reloadsLastAddress)
{
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    rig.navigate(QStringLiteral("/page/a"));
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/page/a")));
    const qint64 pid = rig.page()->renderProcessPid();
    ASSERT_GT(pid, 0);
    const int from = static_cast<int>(rig.standIn.requestLines().size());

    ASSERT_EQ(::kill(static_cast<pid_t>(pid), SIGKILL), 0);

    EXPECT_TRUE(rig.standIn.waitForTarget(QStringLiteral("/page/a"), kLoadTimeoutMs, from));
    EXPECT_EQ(rig.window->renderProcessRecoveries(), 1);
    EXPECT_TRUE(rig.waitForPage(QStringLiteral("/page/a")));
    EXPECT_NE(rig.page()->renderProcessPid(), pid);
}

TEST_F(GoogleVoiceWindowPage, renderProcessKilledOnNewCall_reloadsCallsPageWithoutCallingAgain)
{
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    rig.window->initiateCall(QStringLiteral("+12025550123"));
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls?a=nc,%2B12025550123")));
    const int from = static_cast<int>(rig.standIn.requestLines().size());

    ASSERT_EQ(::kill(static_cast<pid_t>(rig.page()->renderProcessPid()), SIGKILL), 0);

    EXPECT_TRUE(rig.standIn.waitForTarget(QStringLiteral("/u/0/calls"), kLoadTimeoutMs, from));
    EXPECT_EQ(rig.window->renderProcessRecoveries(), 1);
    EXPECT_EQ(rig.standIn.countTarget(QStringLiteral("/u/0/calls?a=nc,%2B12025550123")), 1);
}

TEST_F(GoogleVoiceWindowPage, contextMenuInspect_opensDeveloperTools)
{
    rig.window->showAndActivate();
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    EXPECT_EQ(rig.page()->devToolsPage(), nullptr);

    QWidget *target = rig.window->webView()->focusProxy();
    ASSERT_NE(target, nullptr);
    QTest::mousePress(target, Qt::RightButton, {}, QPoint(60, 60));
    QTest::mouseRelease(target, Qt::RightButton, {}, QPoint(60, 60));
    QMenu *menu = nullptr;
    ASSERT_TRUE(QTest::qWaitFor([&] {
        for (QWidget *w : QApplication::topLevelWidgets()) {
            if (auto *m = qobject_cast<QMenu *>(w); m && m->isVisible())
                menu = m;
        }
        return menu != nullptr;
    }, 5000));
    QAction *inspect = nullptr;
    for (QAction *action : menu->actions()) {
        if (action->text() == u"Inspect")
            inspect = action;
    }
    ASSERT_NE(inspect, nullptr);
    inspect->trigger();
    menu->close();

    ASSERT_NE(rig.page()->devToolsPage(), nullptr);
    QWidget *tools = nullptr;
    EXPECT_TRUE(QTest::qWaitFor([&] {
        for (QWidget *w : QApplication::topLevelWidgets()) {
            auto *view = qobject_cast<QWebEngineView *>(w);
            if (view && view->isVisible() && view->page() == rig.page()->devToolsPage())
                tools = view;
        }
        return tools != nullptr;
    }, 5000));
    // The front end itself loads from Qt WebEngine's own resources.
    EXPECT_TRUE(QTest::qWaitFor([&] { return rig.page()->devToolsPage()->url().scheme() == u"devtools"; }, kLoadTimeoutMs))
        << rig.page()->devToolsPage()->url().toString().toStdString();
}

} // namespace
