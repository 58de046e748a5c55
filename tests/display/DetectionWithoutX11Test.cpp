// The detector's backends on a desktop without an X server (Wayland without XWayland): the
// click source cannot install and says why in one line; the rest answers "nothing".
#include "platform/linux/LinuxDetectionBackends.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

using namespace dialwise;

TEST(DetectionWithoutX11, clickSourceCannotInstallAndSaysX11IsNeeded)
{
    ASSERT_TRUE(qEnvironmentVariableIsEmpty("DISPLAY")) << "run with DIALWISE_NO_X=1";
    LinuxDetectionBackends backends = LinuxDetectionBackends::create();
    ASSERT_TRUE(backends.clickSource);
    EXPECT_TRUE(backends.clickSource->unavailableReason().isEmpty()) << "nothing tried yet";
    bool called = false;
    EXPECT_FALSE(backends.clickSource->addLeftMouseDownListener([&] { called = true; }).has_value());
    EXPECT_TRUE(backends.clickSource->unavailableReason().contains(QStringLiteral("needs an X11 session")))
        << backends.clickSource->unavailableReason().toStdString();
    EXPECT_FALSE(backends.clickSource->unavailableReason().contains(QLatin1Char('\n')));
    EXPECT_FALSE(called);
}

TEST(DetectionWithoutX11, windowListAndScreenAnswerNothing)
{
    LinuxDetectionBackends backends = LinuxDetectionBackends::create();
    EXPECT_FALSE(backends.windowList->onScreenWindows().has_value());
    EXPECT_FALSE(backends.windowList->frontmostApplication().has_value());
    EXPECT_FALSE(backends.screen->mainScreenHeight().has_value());
    ElementHandle element;
    EXPECT_NE(backends.elementTree->copyElementAtPosition(10, 10, element), ElementTree::kSuccess);
    EXPECT_FALSE(element);
}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
