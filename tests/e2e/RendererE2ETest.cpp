// The real program started under each drawing path: it must come up, show its window, say which
// path it took and why, and place a call. The path depends on the environment ctest gives:
//   DIALWISE_E2E_EXPECT_RENDERER  the log line's start, e.g. "software rendering: QT_XCB_GL_..."
#include "tests/e2e/ShellRig.h"

#include <gtest/gtest.h>

using namespace dialwise::testing;

namespace {

TEST(RendererE2ETest, start_showsWindowSaysWhichRendererAndPlacesCall)
{
    const QByteArray expected = qgetenv("DIALWISE_E2E_EXPECT_RENDERER");
    ASSERT_FALSE(expected.isEmpty()) << "ctest sets DIALWISE_E2E_EXPECT_RENDERER";

    ShellRig rig;
    ASSERT_TRUE(rig.startStandIn());
    ASSERT_TRUE(rig.startPrimary({}, kStartMs)) << rig.primaryErrors().toStdString();
    EXPECT_TRUE(rig.waitForVisibleWindow(kStartMs)) << rig.primaryErrors().toStdString();

    // Exactly one line says which path and why.
    const QList<QByteArray> lines = rig.primaryErrors().split('\n');
    int rendererLines = 0;
    bool matched = false;
    for (const QByteArray &line : lines) {
        if (line.startsWith("dialwise.renderer: ")) {
            ++rendererLines;
            matched = matched || line.mid(int(qstrlen("dialwise.renderer: "))).startsWith(expected);
        }
    }
    EXPECT_EQ(rendererLines, 1) << rig.primaryErrors().toStdString();
    EXPECT_TRUE(matched) << "expected a line starting with \"dialwise.renderer: " << expected.toStdString() << "\" in:\n"
                         << rig.primaryErrors().toStdString();

    const int before = int(rig.standIn().requestLines().size());
    const ShellRig::Run run = rig.run(QStringList{QStringLiteral("tel:+1-202-555-0147")});
    EXPECT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(rig.standIn().waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B12025550147"), kCallWaitMs, before))
        << rig.standIn().requestTargets().mid(before).join(' ').toStdString();
    EXPECT_TRUE(rig.primaryRunning()) << rig.primaryErrors().toStdString();
    EXPECT_FALSE(rig.primaryErrors().contains("Failed to create QRhi")) << rig.primaryErrors().toStdString();
    rig.stopPrimary();
}

} // namespace
