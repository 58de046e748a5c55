// A focused field's cursor blinks while the user works in it and stops once left alone.
#include "webcall/CursorBlinkTimeout.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QLineEdit>
#include <QStyleHints>
#include <QTest>
#include <QVBoxLayout>
#include <QWidget>

#include <gtest/gtest.h>

using dialwise::CursorBlinkTimeout;

namespace {

constexpr std::chrono::milliseconds kTimeout{300};
// Generous bounds for a loaded machine; each wait ends as soon as its condition holds.
constexpr int kWaitMs = 5000;

// Timers of the field and its insides (the line control owns the blink timer).
int fieldTimers(QLineEdit *field)
{
    int count = 0;
    QList<QObject *> objects{field};
    objects += field->findChildren<QObject *>();
    for (QObject *object : objects) {
        if (qobject_cast<CursorBlinkTimeout *>(object))
            continue; // its own countdown is watched apart
        count += int(QAbstractEventDispatcher::instance()->registeredTimers(object).size());
    }
    return count;
}

struct Rig
{
    Rig()
    {
        auto *layout = new QVBoxLayout(&window);
        field = new QLineEdit(&window);
        other = new QLineEdit(&window);
        layout->addWidget(field);
        layout->addWidget(other);
        window.show();
        // No window manager on the test desktop gives it the focus, so it takes it itself.
        window.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
        field->setFocus();
        blink = new CursorBlinkTimeout(field, kTimeout);
    }
    QWidget window;
    QLineEdit *field = nullptr;
    QLineEdit *other = nullptr;
    CursorBlinkTimeout *blink = nullptr;
};

TEST(CursorBlinkTimeout, leftAlone_stopsBlinkingThenTypingWakesIt)
{
    const int flashTime = QGuiApplication::styleHints()->cursorFlashTime();
    ASSERT_GT(flashTime, 0);
    Rig rig;
    QTest::keyClicks(rig.field, QStringLiteral("555"));
    EXPECT_TRUE(rig.blink->isCounting());
    EXPECT_GT(fieldTimers(rig.field), 0) << "the cursor blinks while the field is in use";

    ASSERT_TRUE(QTest::qWaitFor([&] { return rig.blink->isResting(); }, kWaitMs));
    EXPECT_EQ(fieldTimers(rig.field), 0);
    EXPECT_FALSE(rig.blink->isCounting());
    EXPECT_TRUE(rig.field->hasFocus());

    QTest::keyClick(rig.field, Qt::Key_1);
    EXPECT_FALSE(rig.blink->isResting());
    EXPECT_EQ(QGuiApplication::styleHints()->cursorFlashTime(), flashTime);
    EXPECT_GT(fieldTimers(rig.field), 0);
    EXPECT_EQ(rig.field->text(), QStringLiteral("5551"));
}

TEST(CursorBlinkTimeout, focusLeaves_otherFieldsBlinkAsUsual)
{
    const int flashTime = QGuiApplication::styleHints()->cursorFlashTime();
    Rig rig;
    ASSERT_TRUE(QTest::qWaitFor([&] { return rig.blink->isResting(); }, kWaitMs));
    rig.other->setFocus();
    ASSERT_TRUE(QTest::qWaitFor([&] { return rig.other->hasFocus(); }, kWaitMs));
    EXPECT_FALSE(rig.blink->isResting());
    EXPECT_FALSE(rig.blink->isCounting());
    EXPECT_EQ(QGuiApplication::styleHints()->cursorFlashTime(), flashTime);
    EXPECT_GT(fieldTimers(rig.other), 0);
}

} // namespace
