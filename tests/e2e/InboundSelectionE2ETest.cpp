// `dialwise --call-selection`: the running Dialwise reads the X11 primary selection (what the
// user last highlighted anywhere) and calls the number in it. This test program owns the
// selection itself, through Qt, and serves it while dialwise asks for it.
#include "tests/e2e/ShellSuite.h"

#include <QClipboard>
#include <QGuiApplication>

#include <gtest/gtest.h>

using dialwise::testing::ShellRig;
using dialwise::testing::ShellSuite;

namespace {

class InboundSelectionE2ETest : public ShellSuite<>
{
protected:

    static void select(const QString &text)
    {
        QGuiApplication::clipboard()->setText(text, QClipboard::Selection);
        ShellRig::pump(50);
    }

};

TEST_F(InboundSelectionE2ETest, selectedNumber_isCalled)
{
    ASSERT_TRUE(QGuiApplication::clipboard()->supportsSelection());
    select("Call me at (202) 555-0147 after six");
    const int before = int(rig->standIn().requestLines().size());
    const ShellRig::Run run = rig->run(QStringList{"--call-selection"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(rig->standIn().waitForTarget("/u/0/calls?a=nc,%2B12025550147", 10000, before));
}

TEST_F(InboundSelectionE2ETest, selectionWithoutNumber_failsWithMessage)
{
    select("no digits here");
    const ShellRig::Run run = rig->run(QStringList{"--call-selection"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, QByteArray("dialwise: No valid phone number found\n"));
}

TEST_F(InboundSelectionE2ETest, emptySelection_failsWithNoText)
{
    QGuiApplication::clipboard()->clear(QClipboard::Selection);
    ShellRig::pump(50);
    const ShellRig::Run run = rig->run(QStringList{"--call-selection"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, QByteArray("dialwise: No text provided\n"));
}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
