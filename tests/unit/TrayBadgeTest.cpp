// The tray icon's tooltip and dot for the web app's unread count.
#include "app/TrayBadge.h"
#include "tests/support/NamedRows.h"
#include "tests/unit/QtPrinting.h"

#include <gtest/gtest.h>

namespace {

struct BadgeRow
{
    const char *name;
    int unread;
    const char *toolTip;
    bool dot;
};

using TrayBadgeTest = ::testing::TestWithParam<BadgeRow>;

TEST_P(TrayBadgeTest, toolTipAndDot_followTheCount)
{
    const dialwise::TrayBadge badge{GetParam().unread};
    EXPECT_EQ(badge.toolTip(), QString::fromUtf8(GetParam().toolTip));
    EXPECT_EQ(badge.showsDot(), GetParam().dot);
}

INSTANTIATE_TEST_SUITE_P(Counts, TrayBadgeTest,
                         ::testing::Values(BadgeRow{"none", 0, "Dialwise", false},
                                           BadgeRow{"one", 1, "Dialwise: 1 unread", true},
                                           BadgeRow{"three", 3, "Dialwise: 3 unread", true},
                                           BadgeRow{"many", 99, "Dialwise: 99 unread", true},
                                           BadgeRow{"negative_asNone", -1, "Dialwise", false}));

} // namespace
