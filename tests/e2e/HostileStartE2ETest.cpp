// Starting Dialwise among hostile neighbours: a settings file that is a FIFO, a DISPLAY naming
// an X server that is not there. Each case reproduces what once hung or aborted the start, then
// proves that a plain hand-over dials within a second.
#include "tests/e2e/ShellRig.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QScopeGuard>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <sys/stat.h>

using dialwise::testing::ShellRig;

namespace {

constexpr qint64 kHandOverBudgetMs = 1000;
// A display number no X server in this private desktop uses (Xvfb took the first free one).
constexpr char kMissingDisplay[] = ":64999";

void expectHandOverDialsWithinASecond(ShellRig &rig)
{
    const int from = int(rig.standIn().requestLines().size());
    QElapsedTimer timer;
    timer.start();
    const ShellRig::Run run = rig.run(QStringList{"--call-text", "call 303 555 0177"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(rig.standIn().waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B13035550177"),
                                            int(std::max<qint64>(1, kHandOverBudgetMs - timer.elapsed())), from))
        << "after " << timer.elapsed() << " ms";
    EXPECT_LE(timer.elapsed(), kHandOverBudgetMs);
}

TEST(HostileStartE2ETest, settingsFileIsFifo_startsWithDefaultsAndOneWarning)
{
    const QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    ASSERT_FALSE(config.isEmpty());
    ASSERT_TRUE(QDir().mkpath(config + QStringLiteral("/dialwise")));
    const QString fifo = config + QStringLiteral("/dialwise/dialwise.conf");
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    // Gone however this test ends, so that the next start in this desktop is not its victim.
    const auto removeFifo = qScopeGuard([&fifo] { QFile::remove(fifo); });

    ShellRig rig;
    ASSERT_TRUE(rig.startStandIn());
    ASSERT_TRUE(rig.startPrimary()) << "start hung or failed: " << rig.primaryErrors().toStdString();
    EXPECT_EQ(rig.primaryErrors().count("is not a regular file"), 1) << rig.primaryErrors().toStdString();
    expectHandOverDialsWithinASecond(rig);
    rig.stopPrimary();
}

TEST(HostileStartE2ETest, displayThatDoesNotAnswer_saysSoAndExits1)
{
    ShellRig rig;
    ASSERT_TRUE(rig.startStandIn());
    const ShellRig::Run run = rig.runTool(QStringLiteral("/usr/bin/env"),
                                          {QStringLiteral("DISPLAY=%1").arg(QLatin1String(kMissingDisplay)),
                                           ShellRig::program(), QStringLiteral("--call-text"),
                                           QStringLiteral("202 555 0123")});
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, QByteArray("dialwise: cannot open display ") + kMissingDisplay + "\n");
    EXPECT_FALSE(ShellRig::nameOwned());

    // The same start on the display that is there comes up and takes hand-overs.
    ASSERT_TRUE(rig.startPrimary()) << rig.primaryErrors().toStdString();
    expectHandOverDialsWithinASecond(rig);
    rig.stopPrimary();
}

} // namespace
