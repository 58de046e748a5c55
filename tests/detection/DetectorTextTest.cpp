// Numbers and frames as the detector's log lines write them.
#include "DetectorText.h"

#include <gtest/gtest.h>

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
