// The window's size and its toolbar: every edge where it belongs at the default and at the
// minimum size, the look of the controls, and screenshots for a human to check.
#include "tests/display/WindowTestRig.h"

#include <QDir>
#include <QFontMetricsF>
#include <QImage>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QToolButton>
#include <QWebEnginePage>
#include <QWebEngineView>

#include <gtest/gtest.h>

using dialwise::testing::WindowRig;

namespace {

struct LayoutCase
{
    int width;
    int height;
    int fieldWidth; // what is left for the field: width - 8-28-2-28-8 - 6-60-8
    const char *screenshot;
};

class GoogleVoiceWindowLayout : public ::testing::TestWithParam<LayoutCase>
{
protected:
    QRect inWindow(const QWidget *widget) const
    {
        return QRect(widget->mapTo(rig.window.get(), QPoint(0, 0)), widget->size());
    }
    static double centreY(const QRect &r) { return r.y() + r.height() / 2.0; }

    WindowRig rig;
};

TEST_P(GoogleVoiceWindowLayout, toolbarAndWebViewEdges)
{
    const LayoutCase c = GetParam();
    rig.window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(rig.window.get()));
    rig.window->resize(c.width, c.height);
    ASSERT_TRUE(QTest::qWaitFor([&] { return rig.window->size() == QSize(c.width, c.height); }, 5000));
    QCoreApplication::processEvents();

    const QRect toolbar = inWindow(rig.window->backButton()->parentWidget());
    const QRect back = inWindow(rig.window->backButton());
    const QRect forward = inWindow(rig.window->forwardButton());
    const QRect field = inWindow(rig.window->phoneField());
    const QRect call = inWindow(rig.window->callButton());
    const QRect spinner = inWindow(rig.window->spinner());
    const QRect web = inWindow(rig.window->webView());

    EXPECT_EQ(toolbar, QRect(0, 0, c.width, 52));
    EXPECT_EQ(back.left(), 8);
    EXPECT_EQ(back.width(), 28);
    EXPECT_EQ(forward.left(), back.left() + back.width() + 2);
    EXPECT_EQ(forward.width(), 28);
    EXPECT_EQ(field.left(), forward.left() + forward.width() + 8);
    EXPECT_EQ(field.height(), 28);
    EXPECT_EQ(field.width(), c.fieldWidth);
    EXPECT_EQ(call.left(), field.left() + field.width() + 6);
    EXPECT_EQ(call.width(), 60);
    EXPECT_EQ(call.left() + call.width(), c.width - 8);
    // The spinner's right edge is the field's right edge: it sits over the field on purpose,
    // drawing its 16-pixel square left of the field's border and padding.
    EXPECT_EQ(spinner.left() + spinner.width(), call.left() - 6);
    EXPECT_EQ(rig.window->spinner()->contentsRect().size(), QSize(16, 16));
    for (const QRect &r : {back, forward, field, call, spinner})
        EXPECT_DOUBLE_EQ(centreY(r), centreY(toolbar));
    EXPECT_EQ(web, QRect(0, 52, c.width, c.height - 52));

    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    // The picture should show the page as styled: wait for the banner to be hidden.
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return dialwise::testing::evaluate(rig.page(), QStringLiteral("getComputedStyle(document.getElementById('banner')).display"))
                == QStringLiteral("none");
        },
        dialwise::testing::kLoadTimeoutMs));
    // The page needs a moment to paint after its load ends; wait until the view shows the
    // stand-in's heading rather than a blank area.
    QImage shot;
    EXPECT_TRUE(QTest::qWaitFor([&] {
        shot = rig.window->grab().toImage();
        const QImage page = shot.copy(web);
        for (int y = 0; y < page.height(); y += 2) {
            for (int x = 0; x < page.width(); x += 2) {
                if (qGray(page.pixel(x, y)) < 100)
                    return true;
            }
        }
        return false;
    }, 10000)) << "web view stayed blank";
    const QString dir = QStringLiteral(DIALWISE_SCREENSHOT_DIR);
    ASSERT_TRUE(QDir().mkpath(dir));
    EXPECT_TRUE(shot.save(dir + QLatin1Char('/') + QString::fromLatin1(c.screenshot)));
    EXPECT_EQ(shot.size() / shot.devicePixelRatio(), QSize(c.width, c.height));
}

INSTANTIATE_TEST_SUITE_P(Sizes, GoogleVoiceWindowLayout,
                         ::testing::Values(LayoutCase{420, 750, 272, "window.png"},
                                           LayoutCase{360, 500, 212, "window-360x500.png"}));

class GoogleVoiceWindowLook : public ::testing::Test
{
protected:
    WindowRig rig;
};

TEST_F(GoogleVoiceWindowLook, callInProgress_spinnerTurnsOverFieldEnd)
{
    rig.window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(rig.window.get()));
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    // The web app does not answer, so the call's page stays loading and the spinner turns.
    rig.standIn.setStall(QStringLiteral("/u/0/calls"), dialwise::testing::VoiceStandIn::Stall::noAnswer);
    rig.window->showAndCall(QStringLiteral("(202) 555-0123"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return rig.window->spinner()->isVisible(); }, dialwise::testing::kLoadTimeoutMs));

    const QImage before = rig.window->spinner()->grab().toImage();
    // Two steps of the animation later the picture has moved on.
    EXPECT_TRUE(QTest::qWaitFor([&] { return rig.window->spinner()->grab().toImage() != before; }, 2000));
    const QString dir = QStringLiteral(DIALWISE_SCREENSHOT_DIR);
    ASSERT_TRUE(QDir().mkpath(dir));
    EXPECT_TRUE(rig.window->grab().save(dir + QStringLiteral("/window-calling.png")));
}

TEST_F(GoogleVoiceWindowLook, newWindow_defaultSizeTitleAndMinimum)
{
    EXPECT_EQ(rig.window->size(), QSize(420, 750));
    EXPECT_EQ(rig.window->minimumSize(), QSize(360, 500));
    EXPECT_EQ(rig.window->windowTitle(), QStringLiteral("Dialwise"));
    rig.window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(rig.window.get()));
    rig.window->resize(200, 200);
    EXPECT_EQ(rig.window->size(), QSize(360, 500));
}

TEST_F(GoogleVoiceWindowLook, newWindow_centredOnScreen)
{
    const QRect screen = rig.window->screen()->availableGeometry();
    const QPoint centre = QRect(rig.window->pos(), rig.window->size()).center();
    EXPECT_LE(qAbs(centre.x() - screen.center().x()), 1);
    EXPECT_LE(qAbs(centre.y() - screen.center().y()), 1);
}

TEST_F(GoogleVoiceWindowLook, phoneField_placeholderAndEqualWidthDigits)
{
    const QLineEdit *field = rig.window->phoneField();
    EXPECT_EQ(field->placeholderText(), QStringLiteral("Enter phone number..."));
    // 14 points, or less where "Invalid number, try again..." would not fit at that size.
    EXPECT_LE(field->font().pointSizeF(), 14.0);
    const QFontMetricsF metrics(field->font());
    const qreal zero = metrics.horizontalAdvance(QLatin1Char('0'));
    for (char digit = '1'; digit <= '9'; ++digit)
        EXPECT_DOUBLE_EQ(metrics.horizontalAdvance(QLatin1Char(digit)), zero) << digit;
}

TEST_F(GoogleVoiceWindowLook, callButton_whiteSemiboldOnGreen)
{
    rig.window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(rig.window.get()));
    QPushButton *call = rig.window->callButton();
    EXPECT_EQ(call->text(), QStringLiteral("Call"));
    EXPECT_EQ(call->font().pointSize(), 13);
    EXPECT_EQ(call->font().weight(), QFont::DemiBold);

    const QImage image = call->grab().toImage();
    // Left of the text, inside the rounded corners: the background.
    const QColor background = image.pixelColor(image.width() / 10 + 2, image.height() / 2);
    EXPECT_GT(background.green(), 150);
    EXPECT_LT(background.red(), 100);
    EXPECT_LT(background.blue(), 130);
    int white = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            white += (c.red() > 230 && c.green() > 230 && c.blue() > 230) ? 1 : 0;
        }
    }
    EXPECT_GT(white, 10) << "no white text on the button";
}

TEST_F(GoogleVoiceWindowLook, navigationButtons_namedWithVisibleIcons)
{
    rig.window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(rig.window.get()));
    for (QToolButton *button : {rig.window->backButton(), rig.window->forwardButton()}) {
        EXPECT_FALSE(button->icon().isNull());
        EXPECT_TRUE(button->autoRaise());
        const QImage image = button->grab().toImage();
        int dark = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x)
                dark += qGray(image.pixel(x, y)) < 128 ? 1 : 0;
        }
        EXPECT_GT(dark, 5) << button->accessibleName().toStdString() << ": icon not drawn";
    }
    EXPECT_EQ(rig.window->backButton()->accessibleName(), QStringLiteral("Back"));
    EXPECT_EQ(rig.window->forwardButton()->accessibleName(), QStringLiteral("Forward"));
}

} // namespace
