// Starting Dialwise among hostile neighbours: a settings file that is a FIFO, a DISPLAY naming
// an X server that is not there. Each case reproduces what once hung or aborted the start, then
// proves that a plain hand-over dials.
#include "tests/e2e/ShellRig.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <sys/stat.h>

using dialwise::testing::ShellRig;

namespace {

// A display number no X server in this private desktop uses (Xvfb took the first free one).
constexpr char kMissingDisplay[] = ":64999";

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
    EXPECT_TRUE(rig.callTextDials(QStringLiteral("0177")));
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
    EXPECT_TRUE(rig.callTextDials(QStringLiteral("0177")));
    rig.stopPrimary();
}

} // namespace
