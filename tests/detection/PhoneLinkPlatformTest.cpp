// The detector's desktop pieces this build makes for the running Dialwise: real X11 and AT-SPI
// backends and the strip, so this runs on a private display and session bus, never the user's.
#include "app/PhoneLinkDetection.h"
#include "calling/CallManager.h"
#include "tests/fakes/CallManagerRig.h"

#include <QApplication>

#include <gtest/gtest.h>

namespace {

TEST(PhoneLinkPlatformTest, ownPlatform_hasEveryPiece)
{
    dialwise::testing::CallManagerRig rig;
    const std::unique_ptr<dialwise::CallManager> callManager = rig.makeManager();

    const dialwise::DetectorPlatform own = dialwise::phonelinks::platform(*callManager);
    EXPECT_TRUE(own.elementTree);
    EXPECT_TRUE(own.windowList);
    EXPECT_TRUE(own.screen);
    EXPECT_TRUE(own.clickSource);
    EXPECT_TRUE(own.panelView);
    EXPECT_TRUE(own.isComplete());
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
