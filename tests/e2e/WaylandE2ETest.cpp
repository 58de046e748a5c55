// Dialwise in a Wayland session with no X server at all (run-in-desktop with DIALWISE_WAYLAND=1:
// a headless Weston): it runs natively on Wayland, loads the web app and places a call handed
// over by a second `dialwise`.
#include "tests/e2e/ShellRig.h"

#include <QFile>

#include <gtest/gtest.h>

using dialwise::testing::kCallWaitMs;
using dialwise::testing::ShellRig;

namespace {

QByteArray mapsOf(pid_t pid)
{
    QFile maps(QStringLiteral("/proc/%1/maps").arg(pid));
    return maps.open(QIODevice::ReadOnly) ? maps.readAll() : QByteArray();
}

TEST(WaylandE2ETest, underHeadlessWeston_runsNativelyAndPlacesHandedOverCall)
{
    ASSERT_FALSE(qEnvironmentVariableIsSet("DISPLAY")) << "this test must run without an X server";
    ASSERT_FALSE(qEnvironmentVariable("WAYLAND_DISPLAY").isEmpty()) << "run with DIALWISE_WAYLAND=1";

    ShellRig rig;
    ASSERT_TRUE(rig.startStandIn());
    ASSERT_TRUE(rig.startPrimary()) << rig.primaryErrors().toStdString();

    // Qt's Wayland platform plugin (qt6-wayland) is what draws the window here.
    const QByteArray maps = mapsOf(rig.primaryPid());
    EXPECT_TRUE(maps.contains("libqwayland-generic.so")) << "the Wayland platform plugin is not loaded";
    EXPECT_TRUE(maps.contains("libQt6WaylandClient.so"));
    EXPECT_FALSE(maps.contains("libqxcb.so"));

    const int before = int(rig.standIn().requestLines().size());
    const ShellRig::Run handOver = rig.run(QStringList{"tel:+1-202-555-0181"});
    EXPECT_EQ(handOver.exitCode, 0) << handOver.err.toStdString();
    EXPECT_TRUE(rig.standIn().waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B12025550181"), kCallWaitMs, before))
        << rig.standIn().requestTargets().mid(before).join(' ').toStdString();
    EXPECT_TRUE(rig.primaryRunning()) << rig.primaryErrors().toStdString();

    // A Wayland start says no more on stderr than an X11 one: the drawing path line.
    const QByteArray errors = rig.primaryErrors();
    EXPECT_EQ(errors.count('\n'), 1) << errors.toStdString();
    EXPECT_TRUE(errors.startsWith("dialwise.renderer: ")) << errors.toStdString();
}

} // namespace
