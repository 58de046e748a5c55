// The "Call with Dialwise" strip on a real (virtual) X display: its window, its look, the hover
// colours and the button's texts, with a screenshot of both states.
#include "detection/ui/CompanionPanel.h"
#include "detection/ui/HoverButton.h"
#include "tests/fakes/CallManagerRig.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QDir>
#include <QImage>
#include <QPixmap>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>

using dialwise::CompanionPanel;
using dialwise::CompanionPanelView;
using dialwise::HoverButton;
using dialwise::testing::CallManagerRig;

namespace {

// Colours are compared with a little room for antialiasing and the translucent background.
constexpr int kColourTolerance = 12;

bool near(const QColor &a, const QColor &b)
{
    return std::abs(a.red() - b.red()) <= kColourTolerance && std::abs(a.green() - b.green()) <= kColourTolerance
        && std::abs(a.blue() - b.blue()) <= kColourTolerance;
}

QColor over(const QColor &top, const QColor &bottom)
{
    const qreal a = top.alphaF();
    return QColor::fromRgbF(float(top.redF() * a + bottom.redF() * (1 - a)), float(top.greenF() * a + bottom.greenF() * (1 - a)),
                            float(top.blueF() * a + bottom.blueF() * (1 - a)));
}

struct StripFixture : ::testing::Test
{
    CallManagerRig callRig;
    std::unique_ptr<dialwise::CallManager> callManager = callRig.makeManager();
    CompanionPanelView view{*callManager};
    int clicks = 0;
    std::unique_ptr<dialwise::Panel> panel;

    CompanionPanel *show(const QString &number)
    {
        // The strip for a popup at (500, 300, 260, 120), as the detector places it.
        panel = view.showPanel(dialwise::StripPlacement{QRectF(500, 300, 260, 120), 30, 8}, number, [this] { ++clicks; });
        CompanionPanel *strip = view.currentPanel();
        EXPECT_TRUE(strip);
        EXPECT_TRUE(QTest::qWaitForWindowExposed(strip));
        return strip;
    }

    // The strip as drawn, over a plain background so that translucency shows as a colour.
    QImage render(CompanionPanel *strip, const QColor &behind = Qt::magenta)
    {
        QImage image(strip->size(), QImage::Format_ARGB32);
        image.fill(behind);
        strip->render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
        return image;
    }
};

TEST_F(StripFixture, windowFloatsWithoutFocus_placedUnderPopup_namedForUsers)
{
    CompanionPanel *strip = show(QStringLiteral("+1 (555) 010-0000"));
    const Qt::WindowFlags flags = strip->windowFlags();
    EXPECT_TRUE(flags.testFlag(Qt::Tool));
    EXPECT_TRUE(flags.testFlag(Qt::FramelessWindowHint));
    EXPECT_TRUE(flags.testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_TRUE(flags.testFlag(Qt::WindowDoesNotAcceptFocus));
    EXPECT_TRUE(flags.testFlag(Qt::X11BypassWindowManagerHint));
    EXPECT_TRUE(strip->testAttribute(Qt::WA_ShowWithoutActivating));
    EXPECT_TRUE(strip->testAttribute(Qt::WA_TranslucentBackground));
    EXPECT_EQ(strip->windowTitle(), QStringLiteral("Call with Dialwise"));
    EXPECT_EQ(strip->accessibleName(), QStringLiteral("Call with Dialwise"));
    EXPECT_EQ(strip->button()->accessibleName(), QStringLiteral("Call with Dialwise +1 (555) 010-0000"));
    EXPECT_FALSE(strip->isActiveWindow());
    // Top-left origin: the strip's top edge 8 above the popup's bottom (300 + 120).
    EXPECT_EQ(strip->geometry(), QRect(500, 412, 260, 30));
    EXPECT_EQ(strip->button()->geometry(), QRect(0, 1, 260, 29));
    // The window's shape cuts the lower corners, so no compositor is needed to round them.
    const QRegion shape = strip->mask();
    EXPECT_TRUE(shape.contains(QPoint(0, 0)));
    EXPECT_TRUE(shape.contains(QPoint(259, 0)));
    EXPECT_TRUE(shape.contains(QPoint(130, 29)));
    EXPECT_FALSE(shape.contains(QPoint(0, 29)));
    EXPECT_FALSE(shape.contains(QPoint(259, 29)));
}

TEST_F(StripFixture, underNumberInText_260Wide_keptWholeOnTheMonitor)
{
    // The screen is 1280 x 1024 at 1x. Rows: the number's rectangle, where the strip goes.
    struct Row
    {
        QRectF number;
        QRect strip;
    };
    const Row rows[] = {
        {QRectF(100, 200, 96, 16), QRect(100, 216, 260, 30)},   // room enough: under its bottom-left corner
        {QRectF(1200, 500, 60, 16), QRect(1020, 516, 260, 30)}, // right edge: moved left
        {QRectF(300, 1000, 96, 16), QRect(300, 970, 260, 30)},  // bottom edge: above the number
    };
    for (const Row &row : rows) {
        panel = view.showPanel(dialwise::StripPlacement{row.number, 30, 0, 260}, QStringLiteral("555-010-0000"),
                               [this] { ++clicks; });
        CompanionPanel *strip = view.currentPanel();
        ASSERT_TRUE(strip);
        ASSERT_TRUE(QTest::qWaitForWindowExposed(strip));
        EXPECT_EQ(strip->geometry(), row.strip) << row.number.x() << "," << row.number.y();
        panel->close();
    }
}

TEST_F(StripFixture, titlePieces_numberInDisplayFormOrNone)
{
    EXPECT_EQ(show(QStringLiteral("+15550100000"))->button()->titlePieces(),
              (QStringList{"  Call with Dialwise", "  +1 (555) 010-0000"}));
    EXPECT_EQ(show(QStringLiteral("unknown"))->button()->titlePieces(), QStringList{"  Call with Dialwise"});
    EXPECT_EQ(show(QString())->button()->titlePieces(), QStringList{"  Call with Dialwise"});
    // A screen reader hears the number only when there is one.
    EXPECT_EQ(show(QStringLiteral("unknown"))->button()->accessibleName(), QStringLiteral("Call with Dialwise"));
}

TEST_F(StripFixture, phoneIconFromThemeOrBundled)
{
    EXPECT_FALSE(HoverButton::phoneIcon().isNull());
    EXPECT_FALSE(QIcon(QStringLiteral(":/dialwise/detection/phone.svg")).pixmap(12, 12).isNull());
}

TEST_F(StripFixture, look_lowerCornersRounded_hairlineInsetAtTop_popoverBackground)
{
    CompanionPanel *strip = show(QStringLiteral("+1 (555) 010-0000"));
    const QImage image = render(strip);
    const QColor background = over(strip->backgroundColor(), Qt::magenta);
    ASSERT_EQ(image.height(), 30);

    // Lower corners: the very corner pixel shows what is behind; the upper corners are square.
    EXPECT_TRUE(near(image.pixelColor(0, 29), Qt::magenta));
    EXPECT_TRUE(near(image.pixelColor(259, 29), Qt::magenta));
    EXPECT_FALSE(near(image.pixelColor(0, 0), Qt::magenta));
    EXPECT_FALSE(near(image.pixelColor(259, 0), Qt::magenta));
    // Just inside the rounding the background is back.
    EXPECT_TRUE(near(image.pixelColor(8, 29), background));
    // Hairline: row 0 from x 12 to 247, not at 11 or 248, and only one pixel high.
    const QColor hairline = over(strip->separatorColor(), background);
    EXPECT_TRUE(near(image.pixelColor(12, 0), hairline));
    EXPECT_TRUE(near(image.pixelColor(247, 0), hairline));
    EXPECT_TRUE(near(image.pixelColor(11, 0), background));
    EXPECT_TRUE(near(image.pixelColor(248, 0), background));
    EXPECT_TRUE(near(image.pixelColor(130, 1), background));
    EXPECT_FALSE(near(hairline, background)); // the line can be seen at all
    // Popover-like: the window colour, nearly opaque.
    EXPECT_EQ(strip->backgroundColor().rgb(), strip->palette().color(QPalette::Window).rgb());
    EXPECT_GT(strip->backgroundColor().alpha(), 230);
}

TEST_F(StripFixture, hover_accentAndWhite_restoredOnLeave_screenshots)
{
    CompanionPanel *strip = show(QStringLiteral("+1 (555) 010-0000"));
    HoverButton *button = strip->button();
    const QColor label = button->palette().color(QPalette::WindowText);
    EXPECT_EQ(button->primaryColor(), label);
    EXPECT_EQ(button->secondaryColor().rgb(), label.rgb());
    EXPECT_LT(button->secondaryColor().alpha(), 255);
    const QImage plain = render(strip);

    // The real pointer, moved onto the button by the X server.
    QCursor::setPos(strip->mapToGlobal(QPoint(200, 15)));
    EXPECT_TRUE(QTest::qWaitFor([&] { return button->isHovered(); }));
    EXPECT_EQ(button->backgroundColor(), button->palette().color(QPalette::Highlight));
    EXPECT_EQ(button->primaryColor(), QColor(Qt::white));
    EXPECT_EQ(button->secondaryColor(), QColor(255, 255, 255, 204));
    const QImage hovered = render(strip);
    QDir().mkpath(QStringLiteral(DIALWISE_SCREENSHOT_DIR));
    // Scaled up so that the corners and the hairline can be judged by eye.
    plain.scaled(plain.size() * 3).save(QStringLiteral(DIALWISE_SCREENSHOT_DIR "/companion-strip.png"));
    hovered.scaled(hovered.size() * 3).save(QStringLiteral(DIALWISE_SCREENSHOT_DIR "/companion-strip-hovered.png"));

    // An empty spot right of the texts turns to the accent colour.
    EXPECT_TRUE(near(hovered.pixelColor(250, 15), button->palette().color(QPalette::Highlight)));
    EXPECT_FALSE(near(plain.pixelColor(250, 15), button->palette().color(QPalette::Highlight)));

    QCursor::setPos(QPoint(5, 5));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !button->isHovered(); }));
    EXPECT_EQ(button->backgroundColor().alpha(), 0);
    EXPECT_EQ(button->primaryColor(), label);
    EXPECT_TRUE(near(render(strip).pixelColor(250, 15), plain.pixelColor(250, 15)));
}

TEST_F(StripFixture, clickRunsActionOnce_closedStripIsGoneAndSilent)
{
    CompanionPanel *strip = show(QStringLiteral("+1 (555) 010-0000"));
    QPointer<CompanionPanel> guard(strip);
    QTest::mouseClick(strip->button(), Qt::LeftButton);
    EXPECT_EQ(clicks, 1);

    panel->close();
    EXPECT_FALSE(strip->isVisible());
    Q_EMIT strip->button()->clicked(); // a late click on a closed strip reaches nobody
    EXPECT_EQ(clicks, 1);
    EXPECT_TRUE(QTest::qWaitFor([&] { return guard.isNull(); }));
}

TEST_F(StripFixture, closedStripsLeaveNoAccessibleBehind_eachNewStripPublishedWithItsButton)
{
    // Strip after strip, as the detector shows and closes them: the allocator hands the same few
    // addresses out again, and each new strip must still be one of the application's accessible
    // windows, with its own button under it, for a screen reader to find it.
    QAccessibleInterface *application = QAccessible::queryAccessibleInterface(qApp);
    ASSERT_TRUE(application);
    for (int i = 0; i < 200; ++i) {
        const bool withNumber = i % 2 == 1;
        CompanionPanel *strip = show(withNumber ? QStringLiteral("+1 (555) 010-0000") : QStringLiteral("unknown"));
        ASSERT_TRUE(strip);
        QPointer<CompanionPanel> guard(strip);

        QAccessibleInterface *window = QAccessible::queryAccessibleInterface(strip);
        ASSERT_TRUE(window);
        ASSERT_EQ(window->object(), strip) << "strip " << i << " is published through a dead accessible";
        bool listed = false;
        for (int c = 0; c < application->childCount(); ++c) {
            QAccessibleInterface *child = application->child(c);
            listed = listed || (child && child->object() == strip);
        }
        EXPECT_TRUE(listed) << "strip " << i << " missing from the application's windows";
        QAccessibleInterface *button = window->childCount() > 0 ? window->child(0) : nullptr;
        ASSERT_TRUE(button) << "strip " << i;
        EXPECT_EQ(button->object(), strip->button()) << "strip " << i;
        EXPECT_EQ(button->role(), QAccessible::Button);
        EXPECT_EQ(button->text(QAccessible::Name), withNumber ? QStringLiteral("Call with Dialwise +1 (555) 010-0000")
                                                              : QStringLiteral("Call with Dialwise"));

        panel->close();
        ASSERT_TRUE(QTest::qWaitFor([&] { return guard.isNull(); })) << "strip " << i;
    }
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
