// The toolbar at the default width of 420 pixels, with the desktop's text at the size given by
// QT_FONT_DPI (96 is 1x, 120 is 1.25x): the phone field's "Invalid number, try again..." is shown
// whole, and the spinner turning over the field's end is drawn whole, inside the toolbar, with the
// field's border intact. Screenshots of the toolbar go to build/screenshots for a person to check.
#include "tests/display/WindowTestRig.h"

#include <QDir>
#include <QFontMetrics>
#include <QFontMetricsF>
#include <QImage>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QStyle>
#include <QStyleOptionFrame>
#include <QTest>

#include <cmath>
#include <QToolButton>

#include <gtest/gtest.h>

using dialwise::testing::WindowRig;

namespace {

const QString kInvalid = QStringLiteral("Invalid number, try again...");

// QLineEdit's own gap between its contents rectangle and the text, on each side.
constexpr int kLineEditTextInset = 2;

QRect inWindow(const QWidget *widget, const QWidget *window)
{
    return QRect(widget->mapTo(window, QPoint(0, 0)), widget->size());
}

// A rectangle in logical pixels as the image's pixels (high-DPI scaling draws a logical pixel
// as `ratio` image pixels).
QRect inImage(const QRect &logical, qreal ratio)
{
    return QRectF(logical.x() * ratio, logical.y() * ratio, logical.width() * ratio, logical.height() * ratio)
        .toAlignedRect();
}

// Close enough to count as the same colour: antialiasing at a fractional scale varies a little.
bool similar(QRgb a, QRgb b)
{
    return qAbs(qRed(a) - qRed(b)) <= 24 && qAbs(qGreen(a) - qGreen(b)) <= 24 && qAbs(qBlue(a) - qBlue(b)) <= 24;
}

// The columns (in the image) holding ink: pixels clearly darker than the white field.
std::pair<int, int> inkColumns(const QImage &image, const QRect &area)
{
    int left = -1;
    int right = -1;
    for (int x = area.left(); x <= area.right(); ++x) {
        for (int y = area.top(); y <= area.bottom(); ++y) {
            if (qGray(image.pixel(x, y)) < 200) {
                if (left < 0)
                    left = x;
                right = x;
                break;
            }
        }
    }
    return {left, right};
}

// What the field has for its text: the style's contents rectangle (inside border and padding),
// less the text margins and QLineEdit's own inset. Placeholders wider than this are elided.
int freeTextWidth(const QLineEdit *field)
{
    QStyleOptionFrame option;
    option.initFrom(field);
    option.rect = field->rect();
    option.lineWidth = field->style()->pixelMetric(QStyle::PM_DefaultFrameWidth, &option, field);
    const QRect contents = field->style()->subElementRect(QStyle::SE_LineEditContents, &option, field);
    const QMargins margins = field->textMargins();
    return contents.width() - margins.left() - margins.right() - 2 * kLineEditTextInset;
}

class GoogleVoiceWindowToolbar : public ::testing::Test
{
protected:
    WindowRig rig;
};

TEST_F(GoogleVoiceWindowToolbar, invalidEntryWhileCalling_placeholderWholeSpinnerWhole)
{
    const QByteArray dpi = qgetenv("QT_FONT_DPI").isEmpty() ? QByteArray("96") : qgetenv("QT_FONT_DPI");
    QWidget *window = rig.window.get();
    window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    ASSERT_EQ(window->size(), QSize(420, 750));
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));

    // A call whose page never answers keeps the spinner turning; then an invalid entry.
    rig.standIn.setStall(QStringLiteral("/u/0/calls"), dialwise::testing::VoiceStandIn::Stall::noAnswer);
    rig.window->showAndCall(QStringLiteral("(202) 555-0123"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return rig.window->spinner()->isVisible(); }, dialwise::testing::kLoadTimeoutMs));
    QLineEdit *field = rig.window->phoneField();
    field->clear();
    QTest::keyClicks(field, QStringLiteral("hello"));
    QTest::mouseClick(rig.window->callButton(), Qt::LeftButton);
    ASSERT_EQ(field->text(), QString());
    ASSERT_EQ(field->placeholderText(), kInvalid);
    // The placeholder is drawn only without focus or with an empty field; take focus away so
    // that the picture does not depend on the cursor's blink.
    field->clearFocus();
    QCoreApplication::processEvents();

    // Font metrics against the field's free width: nothing to elide.
    const QFontMetrics metrics(field->font());
    const int free = freeTextWidth(field);
    EXPECT_LE(std::ceil(QFontMetricsF(field->font()).horizontalAdvance(kInvalid)), free)
        << "font " << field->font().pointSizeF() << " pt at " << dpi.constData() << " dpi";
    EXPECT_EQ(metrics.elidedText(kInvalid, Qt::ElideRight, free), kInvalid);

    const QImage shot = window->grab().toImage();
    // 1 unless high-DPI scaling is on, when the desktop's text size scales the whole window.
    const qreal ratio = shot.devicePixelRatio();
    // Slack for measurements in image pixels: a pixel of antialiasing at each end.
    const int slack = int(std::ceil(2 * ratio));
    const QRect toolbar = inWindow(rig.window->backButton()->parentWidget(), window);
    const QRect fieldRect = inWindow(field, window);
    const QRect spinnerRect = inWindow(rig.window->spinner(), window);
    const QRect spinnerDrawn = rig.window->spinner()->contentsRect().translated(spinnerRect.topLeft());

    // The spinner lies inside the toolbar, over the field's right end, and draws left of the
    // field's border and padding.
    EXPECT_TRUE(toolbar.contains(spinnerRect)) << "spinner outside the toolbar";
    EXPECT_TRUE(fieldRect.contains(spinnerRect));
    EXPECT_EQ(spinnerRect.right(), fieldRect.right());
    EXPECT_EQ(spinnerDrawn.size(), QSize(16, 16));
    EXPECT_LT(spinnerDrawn.right(), fieldRect.right() - 1) << "spinner reaches the field's border";

    // Its ink stays inside its drawn square, with every spoke's tip in it: ink reaches within two
    // pixels of each side of the square, and none lies in the margin beside the border.
    const QImage spinner = rig.window->spinner()->grab().toImage();
    const QRect square = inImage(rig.window->spinner()->contentsRect(), ratio);
    const auto [spinLeft, spinRight] = inkColumns(spinner, spinner.rect());
    EXPECT_GE(spinLeft, square.left());
    EXPECT_LE(spinLeft, square.left() + slack);
    EXPECT_LE(spinRight, square.right());
    EXPECT_GE(spinRight, square.right() - slack);

    // The field's right border runs unbroken past the spinner.
    const QRect fieldImage = inImage(fieldRect, ratio);
    const QRect spinnerImage = inImage(spinnerDrawn, ratio);
    // The border's darkest column at the field's right edge.
    int borderColumn = fieldImage.right();
    for (int x = fieldImage.right(); x > fieldImage.right() - slack; --x) {
        if (qGray(shot.pixel(x, fieldImage.center().y())) < qGray(shot.pixel(borderColumn, fieldImage.center().y())))
            borderColumn = x;
    }
    const QRgb border = shot.pixel(borderColumn, fieldImage.center().y());
    EXPECT_LT(qGray(border), 235) << "no border at the field's right edge";
    for (int y = spinnerImage.top(); y <= spinnerImage.bottom(); ++y)
        EXPECT_TRUE(similar(shot.pixel(borderColumn, y), border)) << "border broken at y " << y;

    // The placeholder as drawn: as wide as the whole text's ink, and left of the spinner.
    const QRect interior = inImage(QRect(fieldRect.left() + 2, fieldRect.top() + 2,
                                         spinnerDrawn.left() - fieldRect.left() - 3, fieldRect.height() - 4),
                                   ratio);
    const auto [textLeft, textRight] = inkColumns(shot, interior);
    ASSERT_GE(textLeft, 0) << "no placeholder drawn";
    const int drawnWidth = textRight - textLeft + 1;
    const int wholeWidth = qRound(metrics.tightBoundingRect(kInvalid).width() * ratio);
    EXPECT_NEAR(drawnWidth, wholeWidth, slack) << "placeholder drawn " << drawnWidth << " px, whole text "
                                               << wholeWidth << " px";
    EXPECT_LT(textRight, spinnerImage.left());

    const QString dir = QStringLiteral(DIALWISE_SCREENSHOT_DIR);
    ASSERT_TRUE(QDir().mkpath(dir));
    const QString scaled = ratio == 1.0 ? QString() : QStringLiteral("-scaled");
    EXPECT_TRUE(shot.copy(inImage(toolbar, ratio))
                    .save(dir + QStringLiteral("/toolbar-invalid-%1dpi%2.png").arg(QString::fromLatin1(dpi), scaled)));
}

TEST_F(GoogleVoiceWindowToolbar, fieldFont_designSizeAtMostAndDigitsEqualWidth)
{
    const QLineEdit *field = rig.window->phoneField();
    EXPECT_LE(field->font().pointSizeF(), 14.0);
    EXPECT_GE(field->font().pointSizeF(), 8.0);
    const QFontMetricsF metrics(field->font());
    const qreal zero = metrics.horizontalAdvance(QLatin1Char('0'));
    for (char digit = '1'; digit <= '9'; ++digit)
        EXPECT_DOUBLE_EQ(metrics.horizontalAdvance(QLatin1Char(digit)), zero) << digit;
}

} // namespace
