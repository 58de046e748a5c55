// Hostile neighbours on the session bus: programs that hand the running Dialwise requests far
// larger than any call needs. Each case first does what was found to silence or stall Dialwise,
// then proves that a plain hand-over still dials; bench/HostileLoadBench.cpp times hand-overs
// under the same loads.
#include "tests/e2e/ShellSuite.h"

#include <QFileInfo>

#include <gtest/gtest.h>

using dialwise::testing::ShellRig;
using dialwise::testing::ShellSuite;

namespace {

// The hostile client's own wait: carrying 128 MiB through the bus takes seconds on a loaded
// machine; the answer itself must come at once once the message is in.
constexpr int kHostileRunTimeoutMs = 180000;

const QByteArray kTooLarge = "app.dialwise.Dialwise.Error.TooLarge";
const QByteArray kTooManyLinks = "app.dialwise.Dialwise.Error.TooManyLinks";

class HostileBusE2ETest : public ShellSuite<>
{
protected:

    static QString hostileClient() { return qEnvironmentVariable("DIALWISE_E2E_HOSTILE_CLIENT"); }

    static ShellRig::Run hostile(const QString &kind, qint64 size)
    {
        return rig->runTool(hostileClient(), {kind, QString::number(size)}, kHostileRunTimeoutMs);
    }

    // A plain `dialwise --call-text` with a fresh number each time, so that its call is told apart.
    // How fast it dials under such load is bench/HostileLoadBench.cpp's figure.
    static void expectHandOverDials()
    {
        static int serial = 0;
        EXPECT_TRUE(rig->callTextDials(QStringLiteral("%1").arg(100 + serial++, 4, 10, QLatin1Char('0'))));
        EXPECT_TRUE(rig->primaryRunning());
    }

    // Calls the web app saw since request `from` whose target starts with the prefix.
    static int callsSince(int from, const QString &prefix)
    {
        int n = 0;
        for (const QString &target : rig->standIn().requestTargets().mid(from))
            n += target.startsWith(prefix) ? 1 : 0;
        return n;
    }

};

TEST_F(HostileBusE2ETest, handPhoneCallOf70MB_refusedAndBusStillHears)
{
    ASSERT_TRUE(QFileInfo(hostileClient()).isExecutable()) << hostileClient().toStdString();
    const ShellRig::Run run = hostile(QStringLiteral("text"), 70LL * 1024 * 1024);
    ASSERT_TRUE(run.finished);
    EXPECT_TRUE(run.out.startsWith(kTooLarge)) << run.out.toStdString() << run.err.toStdString();
    expectHandOverDials();
    // And a second time: one refused giant must not leave the next one deaf either.
    const ShellRig::Run again = hostile(QStringLiteral("text"), 70LL * 1024 * 1024);
    EXPECT_TRUE(again.out.startsWith(kTooLarge)) << again.out.toStdString() << again.err.toStdString();
    expectHandOverDials();
    EXPECT_FALSE(rig->primaryErrors().contains("Socket notifiers cannot be enabled")) << rig->primaryErrors().toStdString();
}

TEST_F(HostileBusE2ETest, activateActionWith70MBName_refusedAndBusStillHears)
{
    const ShellRig::Run run = hostile(QStringLiteral("action"), 70LL * 1024 * 1024);
    ASSERT_TRUE(run.finished);
    EXPECT_TRUE(run.out.startsWith(kTooLarge)) << run.out.toStdString() << run.err.toStdString();
    expectHandOverDials();
}

TEST_F(HostileBusE2ETest, openWith50000Links_refusedAtOnce)
{
    const int from = int(rig->standIn().requestLines().size());
    const ShellRig::Run run = hostile(QStringLiteral("open"), 50000);
    ASSERT_TRUE(run.finished);
    EXPECT_TRUE(run.out.startsWith(kTooManyLinks + " Too many links")) << run.out.toStdString();
    expectHandOverDials();
    // None of the 50,000 links (tel:+12025550000 and on) was dialled.
    EXPECT_EQ(callsSince(from, QStringLiteral("/u/0/calls?a=nc,%2B1202555")), 0);
}

TEST_F(HostileBusE2ETest, openWith100Links_stillHandled)
{
    const int from = int(rig->standIn().requestLines().size());
    const ShellRig::Run run = hostile(QStringLiteral("open"), 100);
    EXPECT_EQ(run.out, QByteArray("ok\n")) << run.err.toStdString();
    // The links are tel:+12025550000 ... 0099, dialled in order; the last one is the proof.
    EXPECT_TRUE(rig->standIn().waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B12025550099"), 30000, from));
}

TEST_F(HostileBusE2ETest, oversizeText_refusedWithMessageAndNotDialled)
{
    const int from = int(rig->standIn().requestLines().size());
    const ShellRig::Run run = rig->run(QStringList{"--call-text", QString(70000, u'5')});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, QByteArray("dialwise: Text too long (more than 64 KiB)\n"));
    expectHandOverDials();
    EXPECT_EQ(callsSince(from, QStringLiteral("/u/0/calls?a=nc,%2B5555")), 0);
}

TEST_F(HostileBusE2ETest, oversizeNumber_refusedAsNoNumber)
{
    const int from = int(rig->standIn().requestLines().size());
    const ShellRig::Run run = rig->run(QStringList{"--call-text", QString(65, u'7')});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, QByteArray("dialwise: No valid phone number found\n"));
    const ShellRig::Run link = rig->run(QStringList{"tel:" + QString(65, u'7')});
    // Dropped without a word by Dialwise; the launcher says why on stderr.
    EXPECT_EQ(link.exitCode, 1);
    EXPECT_TRUE(link.err.startsWith("dialwise: No valid phone number found in tel:777")) << link.err.toStdString();
    expectHandOverDials();
    EXPECT_EQ(callsSince(from, QStringLiteral("/u/0/calls?a=nc,%2B777")), 0);
}

} // namespace
