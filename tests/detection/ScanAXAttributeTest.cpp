// An application's windows and children: which are searched (size and position bounds at their
// edges), what is logged, and which element is reported with which number.
#include "tests/detection/MonitorRig.h"
#include "tests/support/NamedRows.h"

#include <gtest/gtest.h>

#include <optional>

using dialwise::ElementHandle;
using dialwise::DataDetectorMonitor;
using dialwise::testing::MonitorRig;

namespace {

struct BoundsRow
{
    const char *name;
    QRectF frame;
    std::optional<QRectF> expected;
    bool searched;
};

const BoundsRow kBoundsRows[] = {
    {"Width100_Rejected", QRectF(0, 0, 100, 200), std::nullopt, false},
    {"Width100Point5Height80Point5_Accepted", QRectF(0, 0, 100.5, 80.5), std::nullopt, true},
    {"Width499Point9Height399Point9_Accepted", QRectF(0, 0, 499.9, 399.9), std::nullopt, true},
    {"Width500_Rejected", QRectF(0, 0, 500, 200), std::nullopt, false},
    {"Height80_Rejected", QRectF(0, 0, 200, 80), std::nullopt, false},
    {"Height400_Rejected", QRectF(0, 0, 200, 400), std::nullopt, false},
    {"NearExpected_AnySize_Accepted", QRectF(429.9, 270.1, 2000, 2000), QRectF(400, 300, 1, 1), true},
    {"ExpectedXOff30_BadSize_Rejected", QRectF(430, 300, 2000, 2000), QRectF(400, 300, 1, 1), false},
    {"ExpectedXOff30_GoodSize_Accepted", QRectF(430, 300, 260, 120), QRectF(400, 300, 1, 1), true},
    {"ExpectedYOff30Above_BadSize_Rejected", QRectF(400, 270, 10, 10), QRectF(400, 300, 1, 1), false},
    {"NoExpected_BadSize_Rejected", QRectF(400, 300, 10, 10), std::nullopt, false},
};

using ScanBoundsTest = ::testing::TestWithParam<BoundsRow>;

TEST_P(ScanBoundsTest, SearchedOnlyWhenSizeOrPositionFits)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle popup = rig.popup(GetParam().frame);
    ElementHandle app = rig.application(1, {popup});

    const auto found = monitor.findDDPopupInAXElement(app, GetParam().expected);

    const bool logged = rig.logs.filter(QStringLiteral("DD signatures")).size() == 1;
    EXPECT_EQ(logged, GetParam().searched);
    EXPECT_EQ(found.has_value(), GetParam().searched);
    if (found) {
        EXPECT_EQ(found->frame, GetParam().frame);
        EXPECT_EQ(found->phoneNumber, QStringLiteral("+1 (555) 010-0000"));
    }
}

INSTANTIATE_TEST_SUITE_P(Edges, ScanBoundsTest, ::testing::ValuesIn(kBoundsRows), dialwise::testing::RowName());

TEST(ScanAXAttributeTest, logsCountEachElementAndSignatures)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle big = rig.element("AXWindow", QRectF(0, 25, 1280, 775), "Inbox");
    rig.tree->set(big, u"AXSubrole", QStringLiteral("AXStandardWindow"));
    ElementHandle popup = rig.popup(QRectF(500, 300, 260, 120));
    ElementHandle app = rig.application(1, {big, popup});

    const auto found = monitor.findDDPopupInAXElement(app, std::nullopt);

    ASSERT_TRUE(found);
    EXPECT_EQ(rig.logs,
              (QStringList{
                  "  [AX-windows] Found 2 windows",
                  "  [AX-windows] [0] role=AXWindow/AXStandardWindow size=1280.0x775.0 pos=0.0,25.0",
                  "  [AX-windows] [1] role=AXWindow size=260.0x120.0 pos=500.0,300.0",
                  "  [AX-windows] [1] DD signatures: facetime=true largeType=false message=false "
                  "phone='+1 (555) 010-0000' allLabels=[\"+1 (555) 010-0000\", \"FaceTime\"]",
              }));
}

TEST(ScanAXAttributeTest, noWindowsAttribute_failedToGetThenChildrenPass)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle popup = rig.popup(QRectF(500, 300, 260, 120));
    ElementHandle app = rig.element("AXApplication");
    rig.tree->setError(app, u"AXWindows", -25205);
    rig.tree->set(app, u"AXChildren", QList<ElementHandle>{popup});

    const auto found = monitor.findDDPopupInAXElement(app, std::nullopt);

    ASSERT_TRUE(found);
    ASSERT_GE(rig.logs.size(), 3);
    EXPECT_EQ(rig.logs[0], QStringLiteral("  [AX-windows] Failed to get windows: -25205"));
    EXPECT_EQ(rig.logs[1], QStringLiteral("  [AX-children] Found 1 children"));
    EXPECT_EQ(rig.logs[2], QStringLiteral("  [AX-children] [0] role=AXWindow size=260.0x120.0 pos=500.0,300.0"));
}

TEST(ScanAXAttributeTest, absentOrWrongTypeList_failedToGetWithZero)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle app = rig.element("AXApplication");
    rig.tree->set(app, u"AXChildren", QStringLiteral("not a list"));

    EXPECT_FALSE(monitor.findDDPopupInAXElement(app, std::nullopt));
    EXPECT_EQ(rig.logs, (QStringList{"  [AX-windows] Failed to get windows: 0", "  [AX-children] Failed to get children: 0"}));
}

TEST(ScanAXAttributeTest, unreadableRoleSizePosition_questionMarkAndZeros)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle odd = rig.tree->add();
    rig.tree->set(odd, u"AXSize", QPointF(300, 200)); // a point where a size belongs
    rig.tree->setError(odd, u"AXRole", -25204);
    ElementHandle app = rig.application(1, {odd});

    EXPECT_FALSE(monitor.scanAXAttribute(app, dialwise::Attribute::windows, QStringLiteral("windows"), std::nullopt));
    EXPECT_EQ(rig.logs, (QStringList{"  [AX-windows] Found 1 windows", "  [AX-windows] [0] role=? size=0.0x0.0 pos=0.0,0.0"}));
}

TEST(ScanAXAttributeTest, popupWithoutNumber_isUnknown)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle popup = rig.popup(QRectF(500, 300, 260, 120), QString());
    ElementHandle app = rig.application(1, {popup});

    const auto found = monitor.findDDPopupInAXElement(app, std::nullopt);

    ASSERT_TRUE(found);
    EXPECT_EQ(found->phoneNumber, QStringLiteral("unknown"));
    EXPECT_TRUE(rig.logs.last().contains(QStringLiteral("phone='' allLabels=[\"FaceTime\"]")));
}

TEST(ScanAXAttributeTest, numberOnlyInRoleDescription_comesFromLabelFallback)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle popup = rig.popup(QRectF(500, 300, 260, 120), QString());
    rig.tree->set(popup, u"AXRoleDescription", QStringLiteral("(555) 123-4567"));
    ElementHandle app = rig.application(1, {popup});

    const auto found = monitor.findDDPopupInAXElement(app, std::nullopt);

    ASSERT_TRUE(found);
    EXPECT_EQ(found->phoneNumber, QStringLiteral("(555) 123-4567"));
}

TEST(ScanAXAttributeTest, addContactAlone_neverQualifies)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle window = rig.element("AXWindow", QRectF(500, 300, 260, 120), "Add this to my contact list");
    ElementHandle app = rig.application(1, {window});

    EXPECT_FALSE(monitor.findDDPopupInAXElement(app, std::nullopt));
    EXPECT_TRUE(rig.logs.contains(QStringLiteral("  [AX-windows] [0] DD signatures: facetime=false largeType=false "
                                                 "message=false phone='' allLabels=[\"Add this to my contact list\"]")));
}

TEST(ScanAXAttributeTest, firstQualifyingElementWins_laterNotSearched)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle first = rig.popup(QRectF(100, 100, 200, 100), QStringLiteral("(555) 111-1111"));
    ElementHandle second = rig.popup(QRectF(500, 300, 260, 120), QStringLiteral("(555) 222-2222"));
    ElementHandle app = rig.application(1, {first, second});

    const auto found = monitor.findDDPopupInAXElement(app, std::nullopt);

    ASSERT_TRUE(found);
    EXPECT_EQ(found->phoneNumber, QStringLiteral("(555) 111-1111"));
    EXPECT_EQ(rig.logs.filter(QStringLiteral("[1]")).size(), 0);
}

TEST(ScanAXAttributeTest, signatureLineShowsFirstTenLabels_quoted)
{
    MonitorRig rig;
    DataDetectorMonitor &monitor = rig.make();
    ElementHandle window = rig.element("AXWindow", QRectF(500, 300, 260, 120), "Say \"hi\"");
    QList<ElementHandle> children;
    for (int i = 1; i <= 11; ++i)
        children.append(rig.element("AXButton", QRectF(), QStringLiteral("L%1").arg(i)));
    rig.tree->setChildren(window, children);
    ElementHandle app = rig.application(1, {window});

    monitor.findDDPopupInAXElement(app, std::nullopt);

    const QStringList signatures = rig.logs.filter(QStringLiteral("DD signatures"));
    ASSERT_EQ(signatures.size(), 1);
    EXPECT_TRUE(signatures[0].endsWith(
        QStringLiteral("allLabels=[\"Say \\\"hi\\\"\", \"L1\", \"L2\", \"L3\", \"L4\", \"L5\", \"L6\", \"L7\", \"L8\", \"L9\"]")))
        << signatures[0].toStdString();
}

} // namespace
