// Which of Qt's uncategorised start-up notes are moved under dialwise.qt, and which stay.
#include "app/QuietStart.h"
#include "tests/support/NamedRows.h"

#include <gtest/gtest.h>

#include <QLoggingCategory>

#include <cstring>

namespace quietstart = dialwise::quietstart;

namespace {

struct NoteRow
{
    const char *name;
    const char *category;
    const char *message;
    bool moved;
};

using QuietStartTest = ::testing::TestWithParam<NoteRow>;

TEST_P(QuietStartTest, categoryFor_movesOnlyKnownHarmlessNotes)
{
    const NoteRow &row = GetParam();
    const char *category = quietstart::categoryFor(row.category, QString::fromUtf8(row.message));
    if (row.moved) {
        ASSERT_NE(category, nullptr);
        EXPECT_STREQ(category, "dialwise.qt");
    } else {
        EXPECT_EQ(category, nullptr);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, QuietStartTest,
    ::testing::Values(
        NoteRow{"noGlContext", "default",
                "QXcbIntegration: Cannot create platform OpenGL context, neither GLX nor EGL are enabled", true},
        NoteRow{"noGraphicsBackend", "default", "No suitable graphics backend found", true},
        NoteRow{"sandboxOff", "default", "Sandboxing disabled by user.", true},
        NoteRow{"trailingNewline", "default", "No suitable graphics backend found\n", true},
        NoteRow{"unknownDefaultNote_stays", "default", "QXcbConnection: XCB error: 3 (BadWindow)", false},
        NoteRow{"otherWordsAround_stay", "default", "Sandboxing disabled by user. Also: the disk is full", false},
        NoteRow{"dialwiseOwn_stays", "dialwise.renderer", "No suitable graphics backend found", false},
        NoteRow{"otherCategory_stays", "qt.qpa.xcb", "Sandboxing disabled by user.", false},
        NoteRow{"trayOnWayland", "qt.core.qobject.connect",
                "QObject::connect: No such signal QPlatformNativeInterface::systemTrayWindowChanged(QScreen*)", true},
        NoteRow{"otherConnectFailure_stays", "qt.core.qobject.connect",
                "QObject::connect: No such signal GoogleVoiceWindow::nothing()", false},
        NoteRow{"noCategory_stays", nullptr, "Sandboxing disabled by user.", false}), dialwise::testing::RowName());

TEST(QuietStartRulesTest, defaultRules_silenceEngineFlagsAndPageConsoleOnly)
{
    QLoggingCategory::setFilterRules(QString::fromLatin1(quietstart::kDefaultRules));
    QLoggingCategory engine("qt.webenginecontext");
    QLoggingCategory page("js");
    QLoggingCategory renderer("dialwise.renderer");
    EXPECT_FALSE(engine.isInfoEnabled());
    EXPECT_TRUE(engine.isWarningEnabled()); // a real problem of the engine is still shown
    EXPECT_FALSE(page.isInfoEnabled());
    EXPECT_FALSE(page.isWarningEnabled());
    EXPECT_TRUE(renderer.isInfoEnabled());
    EXPECT_TRUE(renderer.isWarningEnabled());
    QLoggingCategory::setFilterRules(QString());
}

} // namespace
