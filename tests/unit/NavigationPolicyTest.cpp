#include "tests/support/NamedRows.h"
#include "tests/unit/QtPrinting.h"
#include "webcall/NavigationPolicy.h"

#include <gtest/gtest.h>

using dialwise::NavigationPolicy;
using Kind = NavigationPolicy::Decision::Kind;
using Trigger = NavigationPolicy::Trigger;

namespace {

const QUrl kApp(QStringLiteral("https://voice.google.com"));
const QUrl kAppPage(QStringLiteral("https://voice.google.com/u/0/calls"));

const NavigationPolicy &policy()
{
    static const NavigationPolicy instance(kApp);
    return instance;
}

struct NewWindowRow
{
    const char *name;
    QString requested;
    bool userInitiated;
    QUrl topLevel;
    Kind expected;
    QString number = {};
};

using NewWindowTest = ::testing::TestWithParam<NewWindowRow>;

TEST_P(NewWindowTest, forNewWindow_decides)
{
    const NewWindowRow &row = GetParam();
    const NavigationPolicy::Decision decision = policy().forNewWindow(QUrl(row.requested), row.userInitiated, row.topLevel);
    EXPECT_EQ(int(decision.kind), int(row.expected));
    EXPECT_EQ(decision.number, row.number);
    EXPECT_EQ(decision.reason.isEmpty(), row.expected != Kind::refuse);
}

const QUrl kElsewhere(QStringLiteral("https://example.org/article"));

INSTANTIATE_TEST_SUITE_P(
    Requests, NewWindowTest,
    ::testing::Values(
        NewWindowRow{"clickedHttpsLink_loads", "https://support.google.com/voice", true, kAppPage, Kind::load},
        NewWindowRow{"clickedHttpLink_loads", "http://example.org/", true, kAppPage, Kind::load},
        NewWindowRow{"clickedLinkOnForeignPage_loads", "https://example.net/", true, kElsewhere, Kind::load},
        NewWindowRow{"appOpensOwnPageWithoutClick_loads", "https://voice.google.com/u/0/messages", false, kAppPage, Kind::load},
        NewWindowRow{"withoutClick_foreignOrigin_refused", "https://evil.example/sign-in", false, kAppPage, Kind::refuse},
        NewWindowRow{"withoutClick_appPortDiffers_refused", "https://voice.google.com:8443/u/0/calls", false, kAppPage, Kind::refuse},
        NewWindowRow{"withoutClick_plainHttpTwinOfApp_refused", "http://voice.google.com/u/0/calls", false, kAppPage, Kind::refuse},
        NewWindowRow{"withoutClick_fromForeignTopLevel_refused", "https://voice.google.com/u/0/calls", false, kElsewhere, Kind::refuse},
        NewWindowRow{"withoutClick_newCallAddress_refused", "https://voice.google.com/u/0/calls?a=nc,%2B19005550100", false, kAppPage, Kind::refuse},
        NewWindowRow{"clicked_newCallAddress_loads", "https://voice.google.com/u/0/calls?a=nc,%2B12025550123", true, kAppPage, Kind::load},
        NewWindowRow{"data_refusedEvenWithClick", "data:text/html,<h1>Sign in</h1>", true, kAppPage, Kind::refuse},
        NewWindowRow{"data_withoutClick_refused", "data:text/html,<h1>Sign in</h1>", false, kAppPage, Kind::refuse},
        NewWindowRow{"javascript_refused", "javascript:document.body.innerHTML=''", true, kAppPage, Kind::refuse},
        NewWindowRow{"blob_refused", "blob:https://voice.google.com/7d1c7f3e-0000-4000-8000-000000000000", true, kAppPage, Kind::refuse},
        NewWindowRow{"file_refused", "file:///etc/passwd", true, kAppPage, Kind::refuse},
        NewWindowRow{"qrc_refused", "qrc:/webcall/icons/go-next.svg", true, kAppPage, Kind::refuse},
        NewWindowRow{"aboutBlank_refused", "about:blank", false, kAppPage, Kind::refuse},
        NewWindowRow{"empty_refused", "", true, kAppPage, Kind::refuse},
        NewWindowRow{"mailto_refused", "mailto:someone@example.org", true, kAppPage, Kind::refuse},
        NewWindowRow{"clickedTelLink_calls", "tel:+1-202-555-0123", true, kAppPage, Kind::call, "+12025550123"},
        NewWindowRow{"telWithoutClick_refused", "tel:+1-202-555-0123", false, kAppPage, Kind::refuse},
        NewWindowRow{"clickedTelWithoutNumber_refused", "tel:123", true, kAppPage, Kind::refuse}));

struct NavigationRow
{
    const char *name;
    QString url;
    Trigger trigger;
    bool mainFrame;
    Kind expected;
    QString number = {};
};

using NavigationTest = ::testing::TestWithParam<NavigationRow>;

TEST_P(NavigationTest, forNavigation_decides)
{
    const NavigationRow &row = GetParam();
    const NavigationPolicy::Decision decision = policy().forNavigation(QUrl(row.url), row.trigger, row.mainFrame);
    EXPECT_EQ(int(decision.kind), int(row.expected));
    EXPECT_EQ(decision.number, row.number);
}

INSTANTIATE_TEST_SUITE_P(
    Navigations, NavigationTest,
    ::testing::Values(
        NavigationRow{"appPage_loads", "https://voice.google.com/u/0/calls", Trigger::typed, true, Kind::load},
        NavigationRow{"otherHttpsTopLevel_loads", "https://accounts.google.com/signin", Trigger::other, true, Kind::load},
        NavigationRow{"dataTopLevel_refused", "data:text/html,<h1>Sign in</h1>", Trigger::other, true, Kind::refuse},
        NavigationRow{"fileTopLevel_refused", "file:///etc/passwd", Trigger::linkClicked, true, Kind::refuse},
        NavigationRow{"qrcTopLevel_refused", "qrc:/webcall/icons/go-next.svg", Trigger::typed, true, Kind::refuse},
        NavigationRow{"blobTopLevel_refused", "blob:https://voice.google.com/x", Trigger::other, true, Kind::refuse},
        NavigationRow{"aboutBlankTopLevel_refused", "about:blank", Trigger::other, true, Kind::refuse},
        NavigationRow{"httpsFrame_loads", "https://example.org/widget", Trigger::other, false, Kind::load},
        NavigationRow{"aboutBlankFrame_loads", "about:blank", Trigger::other, false, Kind::load},
        NavigationRow{"dataFrame_loads", "data:text/html,<p>x</p>", Trigger::other, false, Kind::load},
        NavigationRow{"fileFrame_refused", "file:///etc/passwd", Trigger::other, false, Kind::refuse},
        NavigationRow{"qrcFrame_refused", "qrc:/webcall/icons/go-next.svg", Trigger::other, false, Kind::refuse},
        NavigationRow{"telClickedInPage_calls", "tel:+1-202-555-0123", Trigger::linkClicked, true, Kind::call, "+12025550123"},
        NavigationRow{"calltoClickedInPage_calls", "callto:2025550123", Trigger::linkClicked, true, Kind::call, "2025550123"},
        NavigationRow{"telClickedInFrame_calls", "tel:2025550123", Trigger::linkClicked, false, Kind::call, "2025550123"},
        NavigationRow{"telScriptedInFrame_refused", "tel:2025550123", Trigger::other, false, Kind::refuse},
        NavigationRow{"telWithoutNumber_refused", "tel:12", Trigger::linkClicked, true, Kind::refuse},
        NavigationRow{"mailto_refused", "mailto:someone@example.org", Trigger::linkClicked, true, Kind::refuse},
        NavigationRow{"sms_refused", "sms:+12025550123", Trigger::linkClicked, true, Kind::refuse},
        NavigationRow{"unknownScheme_refused", "zoommtg://zoom.us/join", Trigger::linkClicked, false, Kind::refuse}));

struct CaptureRow
{
    const char *name;
    QString origin;
    QString topLevel;
    bool granted;
};

using CaptureTest = ::testing::TestWithParam<CaptureRow>;

TEST_P(CaptureTest, mayCapture_onlyForTheDocumentInTheView)
{
    const CaptureRow &row = GetParam();
    EXPECT_EQ(policy().mayCapture(QUrl(row.origin), QUrl(row.topLevel)), row.granted);
}

INSTANTIATE_TEST_SUITE_P(
    Origins, CaptureTest,
    ::testing::Values(
        CaptureRow{"appPage_granted", "https://voice.google.com/", "https://voice.google.com/u/0/calls", true},
        CaptureRow{"otherPageInView_granted", "http://127.0.0.1:8123", "http://127.0.0.1:8123/mic", true},
        CaptureRow{"foreignFrame_refused", "https://ads.example/", "https://voice.google.com/u/0/calls", false},
        CaptureRow{"otherPort_refused", "https://voice.google.com:8443/", "https://voice.google.com/u/0/calls", false},
        CaptureRow{"opaqueOrigin_refused", "data:text/html,x", "https://voice.google.com/u/0/calls", false},
        CaptureRow{"nonWebTopLevel_refused", "file:///", "file:///tmp/x.html", false}));

using NotifyTest = ::testing::TestWithParam<CaptureRow>;

TEST_P(NotifyTest, mayNotify_onlyTheWebAppInTheView)
{
    const CaptureRow &row = GetParam();
    EXPECT_EQ(policy().mayNotify(QUrl(row.origin), QUrl(row.topLevel)), row.granted);
}

INSTANTIATE_TEST_SUITE_P(
    Origins, NotifyTest,
    ::testing::Values(
        CaptureRow{"appPage_granted", "https://voice.google.com/", "https://voice.google.com/u/0/calls", true},
        CaptureRow{"appHostInOtherCase_granted", "https://Voice.Google.com", "https://voice.google.com/u/0/messages", true},
        CaptureRow{"otherPageInView_refused", "http://127.0.0.1:8123", "http://127.0.0.1:8123/page/a", false},
        CaptureRow{"linkFollowedFromApp_refused", "https://example.org/", "https://example.org/article", false},
        CaptureRow{"appFrameOnForeignPage_refused", "https://voice.google.com/", "https://example.org/article", false},
        CaptureRow{"foreignFrameInApp_refused", "https://ads.example/", "https://voice.google.com/u/0/calls", false},
        CaptureRow{"otherPort_refused", "https://voice.google.com:8443/", "https://voice.google.com/u/0/calls", false},
        CaptureRow{"plainHttpTwin_refused", "http://voice.google.com/", "https://voice.google.com/u/0/calls", false},
        CaptureRow{"opaqueOrigin_refused", "data:text/html,x", "https://voice.google.com/u/0/calls", false},
        CaptureRow{"emptyOrigin_refused", "", "https://voice.google.com/u/0/calls", false}));

TEST(NavigationPolicyShortened, longAddress_cutForTheLog)
{
    const QUrl url(QStringLiteral("data:text/html,") + QString(100000, u'a'));
    const QString text = NavigationPolicy::shortened(url);
    EXPECT_LT(text.size(), 200);
    EXPECT_TRUE(text.startsWith(u"data:text/html,aaa"));
    EXPECT_TRUE(text.endsWith(u"..."));
    EXPECT_EQ(NavigationPolicy::shortened(kAppPage), kAppPage.toString());
}

} // namespace
