// A click on a number written in another program's text, on the scripted desktop: what is read,
// where the strip goes, when it leaves, and what reaches the log.
#include "tests/detection/MonitorRig.h"

#include <gtest/gtest.h>

namespace dialwise::testing {
namespace {

constexpr double kScreenHeight = 1080;

struct TextRig : MonitorRig
{
    ElementHandle document;
    ScriptedElementTree::FixedLayout layout{QPointF(100, 100), 8, 16, false};

    // An editor at (0, 0, 800, 600) whose hit test answers a child of the document (as Qt's does),
    // the document showing text laid out from (100, 100), 8 pixels a character.
    explicit TextRig(const QString &text, bool withFinder = true)
    {
        if (withFinder)
            textFinder = std::make_shared<const TextNumberFinder>(QStringLiteral("US"));
        document = element(QStringLiteral("AXTextArea"), QRectF(0, 0, 800, 600));
        const ElementHandle viewport = element(QStringLiteral("AXFiller"));
        tree->setChildren(document, {viewport});
        tree->addHitRect(QRectF(0, 0, 800, 600), viewport);
        setText(text);
        windows->windows = QList<WindowInfo>{ScriptedWindowList::window(7, 42, QStringLiteral("Notes"), 0, QRectF(0, 0, 800, 600))};
    }

    void setText(const QString &text, OffsetUnit unit = OffsetUnit::CodePoints)
    {
        tree->setText(document, {text, unit, ScriptedElementTree::layOut(text, unit, layout), std::nullopt});
    }

    DataDetectorMonitor &start()
    {
        DataDetectorMonitor::Services s = services();
        s.textNumberFinder = textFinder;
        monitor = std::make_unique<DataDetectorMonitor>(std::move(s), callManager);
        monitor->startMonitoring();
        logs.clear();
        return *monitor;
    }

    // A click on the character at offset (first line), as the pointer gives it: top-left origin.
    void clickOffset(int offset)
    {
        clickAt(layout.origin.x() + offset * layout.advance + layout.advance / 2,
                kScreenHeight - (layout.origin.y() + layout.lineHeight / 2));
    }

    std::shared_ptr<const TextNumberFinder> textFinder;
};

TEST(TextUnderClick, clickOnNumber_stripUnderNumberAtOnce_260By30FromItsBottomLeft)
{
    TextRig rig(QStringLiteral("Front desk 555-010-0000 all day"));
    rig.start();
    rig.clickOffset(14);
    // Before any scan attempt: the text path answers at the click.
    ASSERT_EQ(rig.panels->shown.size(), 1u);
    EXPECT_EQ(rig.panels->shown[0]->placement, (StripPlacement{QRectF(188, 100, 96, 16), 30, 0, 260}));
    EXPECT_EQ(rig.panels->shown[0]->phoneNumber, QStringLiteral("555-010-0000"));
    EXPECT_TRUE(rig.logs.contains(QStringLiteral("FOUND via text under the click: 555-010-0000 at (188.0, 100.0, 96.0, 16.0)")))
        << rig.logs.join(u'\n').toStdString();
}

TEST(TextUnderClick, withoutFinder_clickOnNumberInText_nothingRead)
{
    TextRig rig(QStringLiteral("Front desk 555-010-0000 all day"), false);
    rig.start();
    rig.clickOffset(14);
    EXPECT_TRUE(rig.panels->shown.empty());
    EXPECT_TRUE(rig.tree->textHitTestPoints.empty());
    EXPECT_EQ(rig.tree->textRequests, 0);
}

TEST(TextUnderClick, logHoldsTheNumberOnly_neverTheTextAroundIt)
{
    TextRig rig(QStringLiteral("Diagnosis private: call 555-010-0000 re results"));
    rig.start();
    rig.clickOffset(26);
    rig.clickOffset(3); // on a word: nothing
    rig.scheduler->advanceBy(3s);
    ASSERT_EQ(rig.panels->shown.size(), 1u);
    const QString log = rig.logs.join(u'\n');
    EXPECT_TRUE(log.contains(QStringLiteral("555-010-0000")));
    EXPECT_TRUE(log.contains(QStringLiteral("  [Text] No number under the click")));
    for (const char *word : {"Diagnosis", "private", "results"})
        EXPECT_FALSE(log.contains(QLatin1String(word))) << word;
}

TEST(TextUnderClick, stripClicked_callsNumberExactlyAsWritten)
{
    TextRig rig(QStringLiteral("Ring +1 (555) 010-0000 ext. 7"));
    rig.start();
    rig.clickOffset(8);
    ASSERT_TRUE(rig.panels->clickCurrent());
    EXPECT_EQ(rig.calls, QStringList{QStringLiteral("call +1 (555) 010-0000 ext. 7")});
    EXPECT_EQ(rig.panels->current(), nullptr);
}

TEST(TextUnderClick, textStripShown_scanAttemptsStillRun_popupTakesOver)
{
    TextRig rig(QStringLiteral("Office 555-010-0000"));
    rig.start();
    rig.clickOffset(10);
    ASSERT_EQ(rig.panels->shown.size(), 1u);
    // The popup opens after the click, as a program with its own recogniser would show one.
    const ElementHandle popup = rig.popup(QRectF(300, 200, 260, 120));
    rig.application(77, {popup});
    rig.windows->windows->prepend(ScriptedWindowList::window(9, 77, QStringLiteral("Popup"), 101, QRectF(300, 200, 260, 120)));
    rig.scheduler->advanceBy(300ms);
    EXPECT_TRUE(rig.logs.contains(QStringLiteral("--- Scan attempt 1 ---")));
    ASSERT_EQ(rig.panels->shown.size(), 2u);
    EXPECT_TRUE(rig.panels->shown[0]->closed);
    EXPECT_EQ(rig.panels->shown[1]->placement, (StripPlacement{QRectF(300, 200, 260, 120), 30, 8}));
    // The popup's strip stops the later attempts, as it always has.
    rig.scheduler->advanceBy(2s);
    EXPECT_FALSE(rig.logs.contains(QStringLiteral("--- Scan attempt 2 ---")));
}

TEST(TextUnderClick, numberEditedOrScrolled_stripLeavesWithinASecond)
{
    for (const bool scroll : {false, true}) {
        TextRig rig(QStringLiteral("Office 555-010-0000"));
        rig.start();
        rig.clickOffset(10);
        rig.scheduler->advanceBy(1s);
        ASSERT_NE(rig.panels->current(), nullptr) << "left while the number stayed";
        if (scroll) {
            rig.layout.origin.ry() -= 16;
            rig.setText(QStringLiteral("Office 555-010-0000"));
        } else {
            rig.setText(QStringLiteral("Office 555-010-0001"));
        }
        rig.scheduler->advanceBy(1s);
        EXPECT_EQ(rig.panels->current(), nullptr) << (scroll ? "scrolled" : "edited");
        EXPECT_TRUE(rig.logs.contains(QStringLiteral("  [Panel] Number moved or gone, removing companion")));
    }
}

TEST(TextUnderClick, windowGone_stripLeaves_otherwiseAfter20Seconds)
{
    {
        TextRig rig(QStringLiteral("Office 555-010-0000"));
        rig.start();
        rig.clickOffset(10);
        rig.windows->windows = QList<WindowInfo>();
        rig.scheduler->advanceBy(1s);
        EXPECT_EQ(rig.panels->current(), nullptr);
    }
    TextRig rig(QStringLiteral("Office 555-010-0000"));
    rig.start();
    rig.clickOffset(10);
    rig.scheduler->advanceBy(19s);
    EXPECT_NE(rig.panels->current(), nullptr);
    rig.scheduler->advanceBy(1s);
    EXPECT_EQ(rig.panels->current(), nullptr);
}

TEST(TextUnderClick, anotherClick_removesStripAtOnce)
{
    TextRig rig(QStringLiteral("Office 555-010-0000"));
    rig.start();
    rig.clickOffset(10);
    rig.clickAt(700, 100); // far from any text
    EXPECT_EQ(rig.panels->current(), nullptr);
    EXPECT_EQ(rig.panels->shown.size(), 1u);
}

TEST(TextUnderClick, qtUnits_emojiBeforeNumber_rectangleOfTheNumber)
{
    TextRig rig{QString()};
    rig.setText(QStringLiteral("\U0001F4DE Call 555-010-0000"), OffsetUnit::Utf16Units);
    rig.start();
    // Offsets 0 and 1 are the emoji's two halves, drawn in one place; the number starts at 8.
    rig.clickAt(100 + 9 * 8 + 4, kScreenHeight - 108);
    ASSERT_EQ(rig.panels->shown.size(), 1u);
    EXPECT_EQ(rig.panels->shown[0]->placement.popupFrame, QRectF(100 + 7 * 8, 100, 96, 16));
}

TEST(TextUnderClick, countLongerThanText_numberAtVeryEndStillTaken)
{
    // A terminal counts its text in bytes: the count says more than there is.
    TextRig rig{QString()};
    const QString text = QStringLiteral("Caf\u00e9 \u00e9\u00e9 555-010-0000");
    rig.tree->setText(rig.document, {text, OffsetUnit::CodePoints, ScriptedElementTree::layOut(text, OffsetUnit::CodePoints, rig.layout),
                                     int(text.toUtf8().size())});
    rig.start();
    rig.clickOffset(12);
    ASSERT_EQ(rig.panels->shown.size(), 1u);
    EXPECT_EQ(rig.panels->shown[0]->phoneNumber, QStringLiteral("555-010-0000"));
}

} // namespace
} // namespace dialwise::testing
