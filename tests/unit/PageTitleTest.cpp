// The unread count the web app puts in its title.
#include "tests/support/NamedRows.h"
#include "tests/unit/QtPrinting.h"
#include "webcall/PageTitle.h"

#include <gtest/gtest.h>

namespace {

struct TitleRow
{
    const char *name;
    const char16_t *title;
    int expected;
};

using PageTitleTest = ::testing::TestWithParam<TitleRow>;

TEST_P(PageTitleTest, unreadCountInTitle_readsLeadingCount)
{
    EXPECT_EQ(dialwise::unreadCountInTitle(QString::fromUtf16(GetParam().title)), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Titles, PageTitleTest,
    ::testing::Values(TitleRow{"plain_zero", u"Voice", 0},
                      TitleRow{"empty_zero", u"", 0},
                      TitleRow{"three", u"(3) Voice", 3},
                      TitleRow{"leadingBlanks", u"  (12) Voice - Calls", 12},
                      TitleRow{"capped", u"(99+) Voice", 99},
                      TitleRow{"zeroShown", u"(0) Voice", 0},
                      TitleRow{"countLater_notUnread", u"Voice (3)", 0},
                      TitleRow{"notANumber", u"(beta) Voice", 0},
                      TitleRow{"unclosed", u"(3 Voice", 0},
                      TitleRow{"tooLong", u"(123456) Voice", 0},
                      TitleRow{"arabicIndicDigits_notACount", u"(\u0663) Voice", 0},
                      TitleRow{"phoneNumberTitle_notACount", u"(202) 555-0123", 0}));

} // namespace
