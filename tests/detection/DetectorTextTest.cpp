// Numbers, frames and attribute names as the detector's log lines write them.
#include "detection/DetectorText.h"
#include "detection/ElementTree.h"

#include <gtest/gtest.h>

#include <QStringList>

#include <limits>

namespace text = dialwise::detectortext;

namespace {

TEST(DetectorTextTest, shortestRoundTripWithFraction)
{
    const std::pair<double, const char *> rows[] = {
        {512, "512.0"}, {100.5, "100.5"}, {0.1, "0.1"}, {0, "0.0"}, {-30, "-30.0"},
        {499.9, "499.9"}, {1e8, "100000000.0"}, {1.0 / 3, "0.3333333333333333"}, {270.1, "270.1"},
    };
    for (const auto &[value, expected] : rows)
        EXPECT_EQ(text::number(value).toStdString(), expected) << value;
    // Reads back exactly.
    EXPECT_EQ(text::number(0.1 + 0.2).toDouble(), 0.1 + 0.2);
}

TEST(DetectorTextTest, frameInParentheses)
{
    EXPECT_EQ(text::frame(QRectF(812, 344, 260, 118)).toStdString(), "(812.0, 344.0, 260.0, 118.0)");
}

} // namespace

TEST(DetectorTextTest, attributeNames_asTheLogAndScenariosWriteThem)
{
    const QStringList names = [] {
        QStringList list;
        for (const dialwise::Attribute attribute : dialwise::kAttributes)
            list.append(dialwise::attributeName(attribute).toString());
        return list;
    }();
    EXPECT_EQ(names, (QStringList{"AXRole", "AXSubrole", "AXRoleDescription", "AXTitle", "AXDescription", "AXValue",
                                  "AXHelp", "AXPosition", "AXSize", "AXChildren", "AXVisibleChildren", "AXWindows",
                                  "AXParent"}));
    for (const dialwise::Attribute attribute : dialwise::kAttributes)
        EXPECT_EQ(dialwise::attributeNamed(dialwise::attributeName(attribute)), attribute);
    EXPECT_FALSE(dialwise::attributeNamed(u"AXNoSuchThing"));
}
