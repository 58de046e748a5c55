// GoogleTest main for the end-to-end programs: a QCoreApplication so that the stand-in web app,
// D-Bus and the waits in ShellRig have an event loop.
#include <QCoreApplication>

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
