// The elements at and around the click: probe order, what matches, and the climb to the popup's
// frame.
#include "tests/detection/MonitorRig.h"

#include <gtest/gtest.h>

using dialwise::ElementHandle;
using dialwise::DataDetectorMonitor;
using dialwise::testing::MonitorRig;

namespace {

// An entry titled `title` under `depth` plain groups, the top one under a container of `role`.
ElementHandle entryUnder(MonitorRig &rig, const QString &role, int depth, const QString &title, const QRectF &frame)
{
    ElementHandle container = rig.element(role, frame);
    ElementHandle parent = container;
    for (int i = 1; i < depth; ++i) {
        ElementHandle group = rig.element(QStringLiteral("AXGroup"));
        rig.tree->setChildren(parent, {group});
        parent = group;
    }
    ElementHandle entry = rig.element(QStringLiteral("AXButton"), QRectF(), title);
    rig.tree->setChildren(parent, {entry});
    return entry;
}

TEST(ScanAtClickPositionTest, probesInTableOrder_againstMainScreenHeight)
{
    MonitorRig rig;
    rig.screen->height = 900;
    DataDetectorMonitor &monitor = rig.make();
    monitor.lastClickPosition = QPointF(300, 800); // NS (300, 100) on a screen 900 high

    EXPECT_FALSE(monitor.scanAtClickPosition());

    const std::vector<std::pair<float, float>> expected = {
        {300, 800}, {300, 830}, {300, 860}, {300, 890}, {300, 920}, {350, 830}, {350, 860},
        {350, 890}, {400, 830}, {400, 860}, {250, 830}, {250, 860}, {300, 770}, {300, 740},
    };
    EXPECT_EQ(rig.tree->hitTestPoints, expected);
    EXPECT_EQ(rig.logs, (QStringList{"  [AtPosition] Click at NS(300.0, 100.0) \u2192 CG(300.0, 800.0)",
                                     "  [AtPosition] No DD elements found near click position"}));
}

TEST(ScanAtClickPositionTest, noMainScreen_nothingAskedNothingLogged)
{
    MonitorRig rig;
    rig.screen->height = std::nullopt;
    DataDetectorMonitor &monitor = rig.make();
    EXPECT_FALSE(monitor.scanAtClickPosition());
    EXPECT_TRUE(rig.logs.isEmpty());
    EXPECT_TRUE(rig.tree->hitTestPoints.empty());
}

TEST(ScanAtClickPositionTest, descriptionShownWhenTitleEmpty_andMatches)
{
    MonitorRig rig;
    rig.screen->height = 900;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle entry = entryUnder(rig, QStringLiteral("AXPopover"), 2, QString(), QRectF(280, 790, 260, 120));
    rig.tree->set(entry, u"AXDescription", QStringLiteral("FaceTime"));
    ElementHandle number = rig.element(QStringLiteral("AXStaticText"));
    rig.tree->set(number, u"AXValue", QStringLiteral("(555) 123-4567"));
    ElementHandle parent = std::get<ElementHandle>([&] {
        dialwise::AttributeValue v;
        rig.tree->copyAttributeValue(entry, dialwise::Attribute::parent, v);
        return v;
    }());
    rig.tree->set(parent, u"AXVisibleChildren", QList<ElementHandle>{number});
    rig.tree->addHitRect(QRectF(0, 820, 1000, 20), entry); // only the second probe (y 830) hits
    monitor.lastClickPosition = QPointF(300, 800);

    const auto found = monitor.scanAtClickPosition();

    ASSERT_TRUE(found);
    EXPECT_EQ(found->frame, QRectF(280, 790, 260, 120));
    EXPECT_EQ(found->phoneNumber, QStringLiteral("(555) 123-4567"));
    EXPECT_EQ(rig.logs, (QStringList{
                            "  [AtPosition] Click at NS(300.0, 100.0) \u2192 CG(300.0, 800.0)",
                            "  [AtPosition] offset=(0.0,30.0) role=AXButton text='FaceTime'",
                            "  [AtPosition] Found DD-related element! Walking up to find popup frame...",
                            "  [Container] Found container role=AXPopover frame=(280.0, 790.0, 260.0, 120.0) "
                            "phone='(555) 123-4567'",
                        }));
    EXPECT_EQ(rig.tree->hitTestPoints.size(), 2u); // later offsets are not tried
}

TEST(ScanAtClickPositionTest, messageWithoutPlus_noMatch_scanMovesOn)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle entry = entryUnder(rig, QStringLiteral("AXWindow"), 1, QStringLiteral("Message"), QRectF(0, 0, 200, 100));
    rig.tree->addHitRect(QRectF(0, 0, 2000, 2000), entry);
    monitor.lastClickPosition = QPointF(100, 80);

    EXPECT_FALSE(monitor.scanAtClickPosition());
    EXPECT_EQ(rig.tree->hitTestPoints.size(), 14u);
    EXPECT_EQ(rig.logs.filter(QStringLiteral("text='Message'")).size(), 14);
    EXPECT_EQ(rig.logs.filter(QStringLiteral("Walking up")).size(), 0);
}

TEST(FindPopupContainerTest, sheetAtThirdAncestor_returnsSheetFrame)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle entry = entryUnder(rig, QStringLiteral("AXSheet"), 3, QStringLiteral("FaceTime"), QRectF(5, 6, 700, 500));

    const auto found = monitor.findPopupContainer(entry);

    ASSERT_TRUE(found);
    EXPECT_EQ(found->frame, QRectF(5, 6, 700, 500)); // no size bound on a container
    EXPECT_EQ(found->phoneNumber, QStringLiteral("unknown"));
    EXPECT_EQ(rig.logs, QStringList{"  [Container] Found container role=AXSheet frame=(5.0, 6.0, 700.0, 500.0) phone=''"});
}

TEST(FindPopupContainerTest, containerAt15thAncestorFound_at16thNot)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle at15 = entryUnder(rig, QStringLiteral("AXMenu"), 15, QStringLiteral("FaceTime"), QRectF(1, 2, 3, 4));
    ElementHandle at16 = entryUnder(rig, QStringLiteral("AXWindow"), 16, QStringLiteral("FaceTime"), QRectF(1, 2, 3, 4));

    EXPECT_TRUE(monitor.findPopupContainer(at15));
    EXPECT_FALSE(monitor.findPopupContainer(at16));
}

TEST(FindPopupContainerTest, ownRoleNeverCounts_andChainEndGivesNothing)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle lone = rig.element(QStringLiteral("AXWindow"), QRectF(0, 0, 200, 100), QStringLiteral("FaceTime"));
    EXPECT_FALSE(monitor.findPopupContainer(lone));
    EXPECT_TRUE(rig.logs.isEmpty());
}

TEST(FindPopupContainerTest, rolesAreExactAndCaseSensitive)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle entry = entryUnder(rig, QStringLiteral("axwindow"), 1, QStringLiteral("FaceTime"), QRectF(0, 0, 1, 1));
    EXPECT_FALSE(monitor.findPopupContainer(entry));
}

TEST(ScanAtClickPositionTest, failedClimbAtFirstMatch_laterOffsetStillFindsPopup)
{
    MonitorRig rig;
    rig.screen->height = 1000;
    DataDetectorMonitor &monitor = rig.make();
    // The probe at the click itself hits an orphan FaceTime entry (no parents); the probe 60
    // below hits a proper popup entry.
    ElementHandle orphan = rig.element(QStringLiteral("AXButton"), QRectF(), QStringLiteral("FaceTime"));
    ElementHandle entry = entryUnder(rig, QStringLiteral("AXWindow"), 2, QStringLiteral("Large Type"), QRectF(90, 400, 260, 120));
    rig.tree->addHitRect(QRectF(0, 500, 1000, 10), orphan);
    rig.tree->addHitRect(QRectF(0, 560, 1000, 10), entry);
    monitor.lastClickPosition = QPointF(100, 500);

    const auto found = monitor.scanAtClickPosition();

    ASSERT_TRUE(found);
    EXPECT_EQ(found->frame, QRectF(90, 400, 260, 120));
    EXPECT_EQ(rig.logs.filter(QStringLiteral("Walking up")).size(), 2);
    EXPECT_EQ(rig.tree->hitTestPoints.size(), 3u);
}

} // namespace
