// What pages may do to the calling window: a frame from another origin trying to put its own
// page into the view, links the user clicks, and tel: links inside the page.
#include "tests/display/WindowTestRig.h"
#include "tests/support/RecordingOpener.h"

#include "webcall/VoicePage.h"

#include <QApplication>
#include <QFile>
#include <QLineEdit>
#include <QTest>
#include <QWebEnginePage>
#include <QWebEngineView>

#include <gtest/gtest.h>

using dialwise::VoicePage;
using namespace dialwise::testing;

namespace {

// After the hostile requests were all refused, how long to keep watching for a late load that
// would still replace the page. Requests are refused synchronously when the browser process
// hands them over; this only covers a load that would have been started after that.
constexpr int kLateLoadWatchMs = 500;

class GoogleVoiceWindowPolicy : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        // What the web engine would hand links to.
        s_opener = new RecordingOpener;
        ASSERT_TRUE(s_opener->isValid());
    }

    static void TearDownTestSuite()
    {
        delete s_opener;
        s_opener = nullptr;
    }

    // The window showing a page of the stand-in's that holds one link, 200 by 40 pixels at the
    // top left, with that id and address.
    void showPageWithLink(const QString &path, const QByteArray &id, const QByteArray &href)
    {
        rig.standIn.setPage(path, "<!DOCTYPE html><html><body style=\"margin:0\"><a id=\"" + id
                                      + "\" style=\"display:block;width:200px;height:40px\" href=\"" + href
                                      + "\">link</a></body></html>");
        rig.window->showAndActivate();
        ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
        rig.navigate(path);
        ASSERT_TRUE(rig.waitForPage(path));
    }

    VoicePage *voicePage() const { return qobject_cast<VoicePage *>(rig.page()); }

    // The stand-in under a second origin: same server, "localhost" instead of "127.0.0.1".
    QString foreignOrigin() const { return QStringLiteral("http://localhost:%1").arg(rig.standIn.port()); }

    static RecordingOpener *s_opener;
    WindowRig rig;
};

RecordingOpener *GoogleVoiceWindowPolicy::s_opener = nullptr;

TEST_F(GoogleVoiceWindowPolicy, foreignFrameOpensWindowsWithoutGesture_appStays)
{
    const QString foreign = foreignOrigin();
    // The frame tries, without any click: an inline sign-in page, a script address, and a page
    // of its own origin; a sandboxed frame (popups allowed, top navigation not) tries its own.
    rig.standIn.setPage(QStringLiteral("/hostile-frame"),
                        ("<!DOCTYPE html><html><body><script>"
                         "window.open('data:text/html,<h1>Sign in</h1><input type=password>');"
                         "window.open('javascript:document.body.innerHTML=\"\"');"
                         "window.open('" + foreign + "/evil-window');"
                         "</script></body></html>").toUtf8());
    rig.standIn.setPage(QStringLiteral("/hostile-sandboxed"),
                        ("<!DOCTYPE html><html><body><script>"
                         "window.open('" + foreign + "/evil-sandboxed');"
                         "</script></body></html>").toUtf8());
    rig.standIn.setPage(QStringLiteral("/app-with-frames"),
                        ("<!DOCTYPE html><html><head><title>app</title></head><body><h1>app</h1>"
                         "<iframe src=\"" + foreign + "/hostile-frame\"></iframe>"
                         "<iframe sandbox=\"allow-scripts allow-popups\" src=\"" + foreign + "/hostile-sandboxed\"></iframe>"
                         "</body></html>").toUtf8());
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    ASSERT_NE(voicePage(), nullptr);
    const int refusedBefore = voicePage()->refusals();

    rig.navigate(QStringLiteral("/app-with-frames"));
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/app-with-frames")));
    ASSERT_TRUE(rig.standIn.waitForTarget(QStringLiteral("/hostile-frame"), kLoadTimeoutMs));
    ASSERT_TRUE(rig.standIn.waitForTarget(QStringLiteral("/hostile-sandboxed"), kLoadTimeoutMs));

    // data:, javascript: (Chromium hands it over as "about:blank#blocked"), the cross-origin page
    // and the sandboxed frame's page.
    EXPECT_TRUE(QTest::qWaitFor([&] { return voicePage()->refusals() - refusedBefore >= 4; }, kLoadTimeoutMs))
        << "refusals: " << voicePage()->refusals() - refusedBefore;
    QTest::qWait(kLateLoadWatchMs);

    EXPECT_EQ(rig.currentTarget(), QStringLiteral("/app-with-frames"));
    EXPECT_EQ(rig.page()->url().scheme(), QStringLiteral("http"));
    EXPECT_EQ(evaluate(rig.page(), QStringLiteral("document.title")).toString(), QStringLiteral("app"));
    EXPECT_EQ(rig.standIn.countTarget(QStringLiteral("/evil-window")), 0);
    EXPECT_EQ(rig.standIn.countTarget(QStringLiteral("/evil-sandboxed")), 0);

    // The window still calls at once.
    const int from = static_cast<int>(rig.standIn.requestLines().size());
    rig.window->showAndCall(QStringLiteral("+12025550123"));
    EXPECT_TRUE(rig.standIn.waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B12025550123"), 1000, from));
}

TEST_F(GoogleVoiceWindowPolicy, topLevelScriptNavigationToData_refused)
{
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    const int refusedBefore = voicePage()->refusals();
    rig.window->webView()->load(QUrl(QStringLiteral("data:text/html,<h1>Sign in</h1>")));
    EXPECT_TRUE(QTest::qWaitFor([&] { return voicePage()->refusals() > refusedBefore; }, kLoadTimeoutMs));
    QTest::qWait(kLateLoadWatchMs);
    EXPECT_EQ(rig.currentTarget(), QStringLiteral("/u/0/calls"));
}

TEST_F(GoogleVoiceWindowPolicy, userClickOnForeignBlankLink_stillLoadsInPlace)
{
    const QString foreign = foreignOrigin();
    rig.standIn.setPage(QStringLiteral("/links"),
                        ("<!DOCTYPE html><html><body style=\"margin:0\">"
                         "<a id=\"away\" style=\"display:block;width:200px;height:40px\" href=\"" + foreign
                         + "/followed\" target=\"_blank\">away</a></body></html>").toUtf8());
    rig.window->showAndActivate();
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    const QWidgetList before = QApplication::topLevelWidgets();
    rig.navigate(QStringLiteral("/links"));
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/links")));

    ASSERT_TRUE(rig.clickElement(QStringLiteral("away")));

    EXPECT_TRUE(rig.waitForPage(QStringLiteral("/followed")));
    EXPECT_EQ(rig.page()->url().host(), QStringLiteral("localhost"));
    EXPECT_EQ(QApplication::topLevelWidgets(), before);
}

TEST_F(GoogleVoiceWindowPolicy, telLinkClickedInPage_dialsThroughWindowWithoutXdgOpen)
{
    ASSERT_NO_FATAL_FAILURE(showPageWithLink(QStringLiteral("/contact"), "tel-link", "tel:+1-202-555-0123"));
    const int from = static_cast<int>(rig.standIn.requestLines().size());

    ASSERT_TRUE(rig.clickElement(QStringLiteral("tel-link")));

    ASSERT_TRUE(rig.standIn.waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B12025550123"), kLoadTimeoutMs, from));
    EXPECT_EQ(rig.window->phoneField()->text(), QStringLiteral("+1 (202) 555-0123"));
    ASSERT_FALSE(rig.callManager.callHistory().isEmpty());
    EXPECT_EQ(rig.callManager.callHistory().first().number, QStringLiteral("+12025550123"));
    // xdg-open would have been started before the engine gave up on the link.
    QTest::qWait(kLateLoadWatchMs);
    EXPECT_FALSE(QFile::exists(s_opener->logPath())) << "xdg-open was run";
    EXPECT_EQ(rig.standIn.countTarget(QStringLiteral("/u/0/calls?a=nc,%2B12025550123")), 1);
}

TEST_F(GoogleVoiceWindowPolicy, mailtoLinkClicked_refusedAndNotHandedOn)
{
    ASSERT_NO_FATAL_FAILURE(showPageWithLink(QStringLiteral("/mail"), "mail-link", "mailto:someone@example.org"));
    const int refusedBefore = voicePage()->refusals();

    ASSERT_TRUE(rig.clickElement(QStringLiteral("mail-link")));

    EXPECT_TRUE(QTest::qWaitFor([&] { return voicePage()->refusals() > refusedBefore; }, kLoadTimeoutMs));
    QTest::qWait(kLateLoadWatchMs);
    EXPECT_FALSE(QFile::exists(s_opener->logPath())) << "xdg-open was run";
    EXPECT_EQ(rig.currentTarget(), QStringLiteral("/mail"));
}

TEST_F(GoogleVoiceWindowPolicy, microphoneForForeignFrame_denied)
{
    const QString foreign = foreignOrigin();
    rig.standIn.setPage(QStringLiteral("/mic-frame"),
                        "<!DOCTYPE html><html><body><script>"
                        "navigator.mediaDevices.getUserMedia({audio:true})"
                        ".then(function(){parent.postMessage('granted','*');})"
                        ".catch(function(e){parent.postMessage('denied '+e.name,'*');});</script></body></html>");
    rig.standIn.setPage(QStringLiteral("/with-mic-frame"),
                        ("<!DOCTYPE html><html><head><title>waiting</title></head><body>"
                         "<script>addEventListener('message',function(e){document.title='frame: '+e.data;});</script>"
                         "<iframe allow=\"microphone\" src=\"" + foreign + "/mic-frame\"></iframe></body></html>").toUtf8());
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    rig.navigate(QStringLiteral("/with-mic-frame"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return rig.page()->title().startsWith(u"frame: "); }, kLoadTimeoutMs));
    EXPECT_TRUE(rig.page()->title().startsWith(u"frame: denied")) << rig.page()->title().toStdString();
}

} // namespace
