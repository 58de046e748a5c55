// The running instance and second launches, through the real program on a private desktop:
// start-up, links from xdg-open and from `dialwise LINK`, text requests, re-showing the window.
#include "app/BusNames.h"
#include "tests/e2e/ShellSuite.h"
#include "tests/support/NamedRows.h"
#include "tests/support/NotificationServerStandIn.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

#include <gtest/gtest.h>

using namespace dialwise::testing;

namespace {

// How long a link that must not dial gets to prove it: a hand-over that dials reaches the
// stand-in within a few hundred milliseconds on this machine.
constexpr int kNoCallWaitMs = 1500;
constexpr char kDesktopEntry[] = "app.dialwise.Dialwise.desktop";
// Dialled by the primary's own start: `dialwise LINK` with nothing running starts Dialwise and
// then dials.
constexpr char kStartLink[] = "tel:+1-202-555-0123";
constexpr char kStartTarget[] = "/u/0/calls?a=nc,%2B12025550123";

class InstanceLaunchE2ETest : public ShellSuite<>
{
protected:
    static void SetUpTestSuite() { startSuite({}); }

    static void startSuite(const QStringList &primaryArguments)
    {
        ASSERT_NO_FATAL_FAILURE(openRig());
        ASSERT_TRUE(rig->registerDesktopEntry());
        // Someone else holds tel: before Dialwise starts, so that the test sees Dialwise claim it.
        rig->runTool(QStringLiteral("xdg-mime"),
                     {QStringLiteral("default"), QStringLiteral("other-dialer.desktop"), QStringLiteral("x-scheme-handler/tel")});
        ASSERT_NO_FATAL_FAILURE(startShell(primaryArguments));
    }

    void SetUp() override { ASSERT_TRUE(rig->primaryRunning()) << "the primary Dialwise is gone"; }

    // Hands one link to the running Dialwise with a second launch; returns the new-call
    // requests that followed within `waitMs` (stopping at the first one).
    // A link without a number is not handed over: the launcher says why and exits 1.
    static QStringList handOver(const QString &link, int waitMs, int expectedExit = 0)
    {
        const int before = int(rig->standIn().requestLines().size());
        const ShellRig::Run run = rig->run(QStringList{link});
        EXPECT_TRUE(run.finished);
        EXPECT_EQ(run.exitCode, expectedExit) << run.err.toStdString();
        if (expectedExit != 0) {
            EXPECT_EQ(run.err, "dialwise: No valid phone number found in " + link.toUtf8() + '\n');
        }
        ShellRig::waitUntil([&] { return !rig->newCallTargets(before).isEmpty(); }, waitMs);
        ShellRig::pump(100);
        return rig->newCallTargets(before);
    }

};

TEST_F(InstanceLaunchE2ETest, launch_showsWindowLoadsWebAppOwnsNameAndClaimsSchemes)
{
    EXPECT_TRUE(rig->waitForVisibleWindow(10000));
    EXPECT_GE(rig->standIn().countTarget("/u/0/calls"), 1);
    EXPECT_TRUE(ShellRig::nameOwned());
    EXPECT_TRUE(ShellRig::waitUntil(
        [] {
            const ShellRig::Run query = rig->runTool("xdg-mime", {"query", "default", "x-scheme-handler/tel"});
            return query.out.trimmed() == kDesktopEntry;
        },
        10000));
    const ShellRig::Run callto = rig->runTool("xdg-mime", {"query", "default", "x-scheme-handler/callto"});
    EXPECT_EQ(callto.out.trimmed(), QByteArray(kDesktopEntry));
}

class InstanceStartWithLinkE2ETest : public InstanceLaunchE2ETest
{
protected:
    static void SetUpTestSuite() { startSuite({QString::fromLatin1(kStartLink)}); }
};

TEST_F(InstanceStartWithLinkE2ETest, launchWithLink_startsDialwiseThenDials)
{
    EXPECT_TRUE(rig->standIn().waitForTarget(kStartTarget, kCallWaitMs));
    EXPECT_TRUE(rig->waitForVisibleWindow(10000));
    EXPECT_TRUE(ShellRig::nameOwned());
}

TEST_F(InstanceLaunchE2ETest, launchWithoutTrayHost_windowStillComesUp)
{
    QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
    ASSERT_TRUE(bus);
    EXPECT_FALSE(bus->isServiceRegistered("org.kde.StatusNotifierWatcher").value());
    EXPECT_TRUE(rig->waitForVisibleWindow(10000));
}

TEST_F(InstanceLaunchE2ETest, xdgOpenTel_dialsNormalisedNumber)
{
    const int before = int(rig->standIn().requestLines().size());
    const ShellRig::Run run = rig->runTool("xdg-open", {"tel:+1-555-123-4567"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(rig->standIn().waitForTarget("/u/0/calls?a=nc,%2B15551234567", kCallWaitMs, before))
        << rig->standIn().requestTargets().mid(before).join(' ').toStdString();
}

struct LinkRow
{
    const char *name;
    const char *link;
    const char *target; // nullptr: nothing may be dialled
};

void PrintTo(const LinkRow &row, std::ostream *os)
{
    *os << row.link;
}

class InstanceHandOverE2ETest : public InstanceLaunchE2ETest, public ::testing::WithParamInterface<LinkRow>
{
};

TEST_P(InstanceHandOverE2ETest, secondLaunchWithLink_dialsWhatTheLinkSays)
{
    const LinkRow &row = GetParam();
    const QStringList calls =
        handOver(QString::fromUtf8(row.link), row.target ? kCallWaitMs : kNoCallWaitMs, row.target ? 0 : 1);
    if (row.target)
        EXPECT_EQ(calls, QStringList{QString::fromLatin1(row.target)});
    else
        EXPECT_TRUE(calls.isEmpty()) << calls.join(' ').toStdString();
    EXPECT_TRUE(rig->primaryRunning());
}

INSTANTIATE_TEST_SUITE_P(
    Links, InstanceHandOverE2ETest,
    ::testing::Values(
        LinkRow{"tel", "tel:+1-555-123-4567", "/u/0/calls?a=nc,%2B15551234567"},
        // Ten digits: the web app gets them with a "1" in front.
        LinkRow{"callto", "callto://5551234567", "/u/0/calls?a=nc,%2B15551234567"},
        LinkRow{"ownSchemeValueAsIs", "Dialwise://dial?number=%2B1%20555%20123%204567", "/u/0/calls?a=nc,%2B15551234567"},
        LinkRow{"ownSchemeNoValue", "dialwise://dial?number", nullptr},
        LinkRow{"ownSchemeOtherItem", "dialwise://dial?num=5551234567", "/u/0/calls?a=nc,%2B15551234567"},
        LinkRow{"ownSchemeFirstItemWins", "dialwise://dial?number=1&number=2", "/u/0/calls?a=nc,%2B1"},
        LinkRow{"ownSchemeEmptyValue", "dialwise://dial?number=", "/u/0/calls?a=nc,%2B"},
        LinkRow{"telTooShort", "tel:123456", nullptr},
        LinkRow{"twelveDigits", "tel:+44-20-7123-4567", "/u/0/calls?a=nc,%2B442071234567"}),
    dialwise::testing::RowName());

TEST_F(InstanceLaunchE2ETest, linkOfAnotherScheme_isRefusedWithItsReason)
{
    const int before = int(rig->standIn().requestLines().size());
    const ShellRig::Run run = rig->run(QStringList{"mailto:ada@example.com"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, QByteArray("dialwise: mailto:ada@example.com is not a phone link: Dialwise calls tel:, callto: "
                                  "and dialwise: links\n"));
    // Refused whole: the good link beside it is not dialled either.
    const ShellRig::Run mixed = rig->run(QStringList{"tel:+1-555-123-4567", "https://example.com/"});
    EXPECT_EQ(mixed.exitCode, 1);
    EXPECT_TRUE(mixed.err.startsWith("dialwise: https://example.com/ is not a phone link")) << mixed.err.toStdString();
    ShellRig::pump(kNoCallWaitMs);
    EXPECT_TRUE(rig->newCallTargets(before).isEmpty());
}

TEST_F(InstanceLaunchE2ETest, severalLinks_theLastOneIsTheCallThatHappens)
{
    const int before = int(rig->standIn().requestLines().size());
    // The middle one holds no number: the launcher says so, the others go ahead.
    const ShellRig::Run run = rig->run(QStringList{"tel:+1-555-123-4567", "tel:12", "tel:+1-202-555-0123"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, QByteArray("dialwise: No valid phone number found in tel:12\n"));
    EXPECT_TRUE(rig->standIn().waitForTarget("/u/0/calls?a=nc,%2B12025550123", kCallWaitMs, before));
    ShellRig::pump(500);
    const QStringList calls = rig->newCallTargets(before);
    ASSERT_FALSE(calls.isEmpty());
    EXPECT_EQ(calls.last(), QStringLiteral("/u/0/calls?a=nc,%2B12025550123")) << calls.join(' ').toStdString();
}

TEST_F(InstanceLaunchE2ETest, callText_dialsNumberInText)
{
    const int before = int(rig->standIn().requestLines().size());
    const ShellRig::Run run = rig->run(QStringList{"--call-text", "call 555 123 4567 now"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(rig->standIn().waitForTarget("/u/0/calls?a=nc,%2B15551234567", kCallWaitMs, before));
}

TEST_F(InstanceLaunchE2ETest, callTextWithoutNumber_failsWithMessage)
{
    const int before = int(rig->standIn().requestLines().size());
    const ShellRig::Run run = rig->run(QStringList{"--call-text", "hello"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, QByteArray("dialwise: No valid phone number found\n"));
    ShellRig::pump(kNoCallWaitMs);
    EXPECT_TRUE(rig->newCallTargets(before).isEmpty());
}

TEST_F(InstanceLaunchE2ETest, failureWithoutTerminal_isAlsoShownAsNotification)
{
    // The rig gives dialwise a file for stderr, as a launcher or a keyboard shortcut would give
    // it nothing anyone reads.
    dialwise::testing::NotificationServerStandIn notifications;
    ASSERT_TRUE(notifications.start());
    const ShellRig::Run run = rig->run(QStringList{"--call-text", "hello"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(ShellRig::waitUntil([&] { return !notifications.received().isEmpty(); }, 5000));
    EXPECT_EQ(notifications.received(), QStringList{"Dialwise|Dialwise|No valid phone number found"});
    QDBusConnection::sessionBus().unregisterService("org.freedesktop.Notifications");
}

TEST_F(InstanceLaunchE2ETest, callTextEmpty_failsWithNoNumber)
{
    // Empty text is text that holds no number; "No text provided" is for no text at all.
    const ShellRig::Run run = rig->run(QStringList{"--call-text", ""});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, QByteArray("dialwise: No valid phone number found\n"));
}

struct BusAnswerRow
{
    const char *name;
    const char *text;
    const char *errorName;
    const char *errorMessage;
};

class InstanceBusAnswer : public InstanceLaunchE2ETest, public ::testing::WithParamInterface<BusAnswerRow>
{
};

TEST_P(InstanceBusAnswer, handlePhoneCall_failureComesBackAsItsErrorName)
{
    ASSERT_TRUE(rig->primaryRunning());
    QDBusMessage call = QDBusMessage::createMethodCall(QString::fromLatin1(dialwise::bus::kServiceName),
                                                       QString::fromLatin1(dialwise::bus::kObjectPath),
                                                       QString::fromLatin1(dialwise::bus::kCallsInterface),
                                                       QStringLiteral("HandlePhoneCall"));
    call << QString::fromUtf8(GetParam().text);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, kCallWaitMs);
    ASSERT_EQ(reply.type(), QDBusMessage::ErrorMessage);
    EXPECT_EQ(reply.errorName(), QString::fromLatin1(GetParam().errorName));
    EXPECT_EQ(reply.errorMessage(), QString::fromLatin1(GetParam().errorMessage));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, InstanceBusAnswer,
    ::testing::Values(BusAnswerRow{"empty", "", "app.dialwise.Dialwise.Error.NoNumber", "No valid phone number found"},
                      BusAnswerRow{"noNumber", "hello", "app.dialwise.Dialwise.Error.NoNumber",
                                   "No valid phone number found"}),
    dialwise::testing::RowName());

TEST_F(InstanceLaunchE2ETest, secondLaunchWithoutArguments_reshowsClosedWindow)
{
    ASSERT_TRUE(rig->waitForVisibleWindow(10000));
    const QString window = rig->visibleWindows().first();
    ASSERT_TRUE(rig->closeWindow(window));
    ASSERT_TRUE(ShellRig::waitUntil([] { return rig->visibleWindows().isEmpty(); }, 10000))
        << "closing did not hide the window";
    EXPECT_TRUE(rig->primaryRunning()) << "closing the window ended Dialwise";

    const ShellRig::Run run = rig->run(QStringList{});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(rig->waitForVisibleWindow(10000));
    EXPECT_EQ(rig->visibleWindows(), QStringList{window}) << "the same window comes back";
}

TEST_F(InstanceLaunchE2ETest, helpVersionAndWrongArguments_answerWithoutTheInstance)
{
    const ShellRig::Run version = rig->run(QStringList{"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.out, QByteArray("dialwise 0.1.0\n"));

    const ShellRig::Run help = rig->run(QStringList{"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.startsWith("Usage: dialwise"));

    const ShellRig::Run unknown = rig->run(QStringList{"--bogus"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.err.startsWith("dialwise: unknown option --bogus")) << unknown.err.toStdString();

    const ShellRig::Run noText = rig->run(QStringList{"--call-text"});
    EXPECT_EQ(noText.exitCode, 2);
}

TEST_F(InstanceLaunchE2ETest, quitAction_endsTheInstanceAndFreesTheName)
{
    // Last on purpose: the suite's primary is gone afterwards.
    rig->stopPrimary();
    EXPECT_EQ(rig->primaryExitCode(), 0);
    EXPECT_FALSE(ShellRig::nameOwned());
}

} // namespace
