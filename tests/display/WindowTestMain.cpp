// main() for the display tests: one QApplication for all tests of the executable, set up the
// way Qt WebEngine wants it inside a private Xvfb desktop.
#include "tests/support/WebEngineTestSetup.h"

#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    dialwise::testing::prepareWebEngineForTests();
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
