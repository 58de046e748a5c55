// Dialwise on a desktop without a D-Bus session bus (run with DIALWISE_NO_DBUS=1): nothing can
// reach it from outside, but it still starts, shows its window and dials what it was started with.
#include "tests/e2e/ShellRig.h"

#include <QDBusConnection>

#include <gtest/gtest.h>

using dialwise::testing::ShellRig;

namespace {

TEST(InstanceNoBusE2ETest, startWithLink_windowComesUpDialsAndSaysItRunsAlone)
{
    ASSERT_FALSE(QDBusConnection::sessionBus().isConnected()) << "this test must run without a session bus";
    ShellRig rig;
    ASSERT_TRUE(rig.startStandIn());
    ASSERT_TRUE(rig.startPrimary({"tel:+1-555-123-4567"})) << rig.primaryErrors().toStdString();
    EXPECT_TRUE(rig.standIn().waitForTarget("/u/0/calls?a=nc,%2B15551234567", 10000));
    EXPECT_TRUE(rig.waitForVisibleWindow(10000));
    EXPECT_TRUE(rig.primaryRunning());
    EXPECT_EQ(rig.primaryErrors().count("no D-Bus session bus"), 1) << rig.primaryErrors().toStdString();
}

TEST(InstanceNoBusE2ETest, startWithoutArguments_windowComesUp)
{
    ShellRig rig;
    ASSERT_TRUE(rig.startStandIn());
    ASSERT_TRUE(rig.startPrimary()) << rig.primaryErrors().toStdString();
    EXPECT_GE(rig.standIn().countTarget("/u/0/calls"), 1);
    EXPECT_TRUE(rig.waitForVisibleWindow(10000));
}

} // namespace
