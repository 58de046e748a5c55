#include "InboundRequests.h"
#include "QtPrinting.h"

#include <gtest/gtest.h>

using dialwise::InboundAction;
using dialwise::InboundRequests;
using dialwise::RequestFailure;

namespace {

struct UrlRow
{
    const char *name;
    QString url;
    InboundAction expected;
};

void PrintTo(const UrlRow &row, std::ostream *os)
{
    *os << row.name;
}

class InboundUrlTest : public ::testing::TestWithParam<UrlRow>
{
};

TEST_P(InboundUrlTest, forUrl_decidesWhatToCall)
{
    const UrlRow &row = GetParam();
    const InboundAction action = InboundRequests::forUrl(row.url);
    EXPECT_EQ(int(action.kind), int(row.expected.kind));
    EXPECT_EQ(action.number, row.expected.number);
    if (row.expected.kind == InboundAction::Kind::reject)
        EXPECT_EQ(int(action.failure), int(row.expected.failure));
}

INSTANTIATE_TEST_SUITE_P(
    Links, InboundUrlTest,
    ::testing::Values(
        UrlRow{"tel_isNormalised", "tel:+1-555-123-4567", InboundAction::call("+15551234567")},
        UrlRow{"callto_dropsSlashes", "callto://5551234567", InboundAction::call("5551234567")},
        UrlRow{"telPercentEncodedPlus", "tel:%2B44%2020%207123%204567", InboundAction::call("+442071234567")},
        UrlRow{"telFewerThanSevenDigits_isDropped", "tel:123456", InboundAction::ignore()},
        UrlRow{"telWithoutDigits_isDropped", "tel:", InboundAction::ignore()},
        UrlRow{"ownScheme_anyCase_valueAsIs", "Dialwise://dial?number=%2B1%20555%20123%204567",
               InboundAction::call("+1 555 123 4567")},
        UrlRow{"ownScheme_upperCase", "DIALWISE://dial?number=12", InboundAction::call("12")},
        UrlRow{"ownScheme_itemWithoutValue_fallsBackAndDrops", "dialwise://dial?number", InboundAction::ignore()},
        UrlRow{"ownScheme_otherItemName_fallsBackToWholeText", "dialwise://dial?num=5551234567",
               InboundAction::call("5551234567")},
        UrlRow{"ownScheme_firstItemWins", "dialwise://dial?number=1&number=2", InboundAction::call("1")},
        UrlRow{"ownScheme_emptyValue_isPassedOn", "dialwise://dial?number=", InboundAction::call("")},
        UrlRow{"ownScheme_nameIsCaseSensitive", "dialwise://dial?Number=5551234567", InboundAction::call("5551234567")},
        UrlRow{"ownScheme_valueNotChecked", "dialwise://dial?number=abc", InboundAction::call("abc")},
        UrlRow{"ownScheme_plusStaysPlus", "dialwise://dial?number=+15551234567", InboundAction::call("+15551234567")},
        UrlRow{"ownScheme_firstNumberItemWithoutValue_fallsBack", "dialwise://dial?number&number=5551234567",
               InboundAction::call("5551234567")},
        UrlRow{"ownScheme_noQuery_fallsBack", "dialwise://5551234567", InboundAction::call("5551234567")},
        UrlRow{"ownScheme_noQueryNoDigits_isDropped", "dialwise://dial", InboundAction::ignore()},
        UrlRow{"ownScheme_brokenEscape_fallsBackToWholeText", "dialwise://dial?number=%zz 555 123 4567",
               InboundAction::call("5551234567")},
        UrlRow{"ownScheme_blankInLink_fallsBackToWholeText", "dialwise://dial?number=555 123 4567",
               InboundAction::call("5551234567")},
        UrlRow{"otherScheme_isNormalisedAsAWhole", "https://example.com/5551234567", InboundAction::call("5551234567")},
        UrlRow{"empty_isDropped", "", InboundAction::ignore()}),
    [](const ::testing::TestParamInfo<UrlRow> &info) { return std::string(info.param.name); });

struct TextRow
{
    const char *name;
    std::optional<QString> text;
    InboundAction expected;
};

void PrintTo(const TextRow &row, std::ostream *os)
{
    *os << row.name;
}

class InboundTextTest : public ::testing::TestWithParam<TextRow>
{
};

TEST_P(InboundTextTest, forText_callsOrExplains)
{
    const TextRow &row = GetParam();
    const InboundAction action = InboundRequests::forText(row.text);
    EXPECT_EQ(int(action.kind), int(row.expected.kind));
    EXPECT_EQ(action.number, row.expected.number);
    if (row.expected.kind == InboundAction::Kind::reject)
        EXPECT_EQ(int(action.failure), int(row.expected.failure));
}

INSTANTIATE_TEST_SUITE_P(
    Text, InboundTextTest,
    ::testing::Values(
        TextRow{"numberInSentence", QString("call 555 123 4567 now"), InboundAction::call("5551234567")},
        TextRow{"noNumber", QString("hello"), InboundAction::reject(RequestFailure::noNumber)},
        TextRow{"tooFewDigits", QString("call 123"), InboundAction::reject(RequestFailure::noNumber)},
        // Empty text is text: it arrived, and holds no number.
        TextRow{"empty", QString(""), InboundAction::reject(RequestFailure::noNumber)},
        TextRow{"blank", QString(" \t "), InboundAction::reject(RequestFailure::noNumber)},
        TextRow{"absent", std::nullopt, InboundAction::reject(RequestFailure::noText)},
        TextRow{"telLinkAsText", QString("tel:+1-555-123-4567"), InboundAction::call("+15551234567")}),
    [](const ::testing::TestParamInfo<TextRow> &info) { return std::string(info.param.name); });

TEST(RequestFailureTest, messages_areTheSentencesUsersRead)
{
    EXPECT_EQ(failureMessage(RequestFailure::noText), QStringLiteral("No text provided"));
    EXPECT_EQ(failureMessage(RequestFailure::noNumber), QStringLiteral("No valid phone number found"));
}

} // namespace
