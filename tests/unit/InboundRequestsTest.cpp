#include "app/InboundRequests.h"
#include "tests/support/NamedRows.h"
#include "tests/unit/QtPrinting.h"

#include <gtest/gtest.h>

using dialwise::InboundAction;
using dialwise::InboundRequests;
using dialwise::RequestFailure;

namespace {

// The same decision: what to do, the number to call and, for a refusal, its reason.
void expectSameAction(const InboundAction &action, const InboundAction &expected)
{
    EXPECT_EQ(int(action.kind), int(expected.kind));
    EXPECT_EQ(action.number, expected.number);
    if (expected.kind == InboundAction::Kind::reject) {
        EXPECT_EQ(int(action.failure), int(expected.failure));
    }
}

struct UrlRow
{
    const char *name;
    QString url;
    InboundAction expected;
};

using InboundUrlTest = ::testing::TestWithParam<UrlRow>;

TEST_P(InboundUrlTest, forUrl_decidesWhatToCall)
{
    const UrlRow &row = GetParam();
    const InboundAction action = InboundRequests::forUrl(row.url);
    expectSameAction(action, row.expected);
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
        UrlRow{"empty_isDropped", "", InboundAction::ignore()},
        UrlRow{"telAtTheLengthLimit_isCalled", "tel:5551234567" + QString(64 * 1024 - 14, u' '),
               InboundAction::call("5551234567")},
        UrlRow{"telOverTheLengthLimit_isDroppedUnread", "tel:5551234567" + QString(64 * 1024 - 13, u' '),
               InboundAction::ignore()},
        UrlRow{"telWith64Digits_isCalled", "tel:" + QString(64, u'5'), InboundAction::call(QString(64, u'5'))},
        UrlRow{"telWith65Digits_isDropped", "tel:" + QString(65, u'5'), InboundAction::ignore()},
        UrlRow{"ownSchemeValueOver64_isDropped", "dialwise://dial?number=" + QString(65, u'5'), InboundAction::ignore()}),
    dialwise::testing::RowName());

struct TextRow
{
    const char *name;
    std::optional<QString> text;
    InboundAction expected;
};

using InboundTextTest = ::testing::TestWithParam<TextRow>;

TEST_P(InboundTextTest, forText_callsOrExplains)
{
    const TextRow &row = GetParam();
    const InboundAction action = InboundRequests::forText(row.text);
    expectSameAction(action, row.expected);
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
        TextRow{"telLinkAsText", QString("tel:+1-555-123-4567"), InboundAction::call("+15551234567")},
        TextRow{"atTheLengthLimit_isRead", "call 555 123 4567" + QString(64 * 1024 - 17, u'x'),
                InboundAction::call("5551234567")},
        TextRow{"overTheLengthLimit_refusedUnread", "call 555 123 4567" + QString(64 * 1024 - 16, u'x'),
                InboundAction::reject(RequestFailure::tooLarge)},
        TextRow{"tenMegabytes_refusedUnread", QString(10 * 1024 * 1024, u'5'), InboundAction::reject(RequestFailure::tooLarge)},
        TextRow{"numberOf64Digits_isCalled", QString(64, u'7'), InboundAction::call(QString(64, u'7'))},
        TextRow{"numberOf65Digits_isNoNumber", QString(65, u'7'), InboundAction::reject(RequestFailure::noNumber)},
        TextRow{"digitsFillingTheLimit_isNoNumber", QString(64 * 1024, u'7'), InboundAction::reject(RequestFailure::noNumber)}),
    dialwise::testing::RowName());

TEST(RequestFailureTest, messages_areTheSentencesUsersRead)
{
    EXPECT_EQ(failureMessage(RequestFailure::noText), QStringLiteral("No text provided"));
    EXPECT_EQ(failureMessage(RequestFailure::noNumber), QStringLiteral("No valid phone number found"));
    EXPECT_EQ(failureMessage(RequestFailure::tooLarge), QStringLiteral("Text too long (more than 64 KiB)"));
    EXPECT_EQ(failureMessage(RequestFailure::tooManyLinks), QStringLiteral("Too many links in one request (more than 100)"));
}

struct OpenRow
{
    const char *name;
    QStringList uris;
    std::optional<RequestFailure> expected;
};

using InboundOpenTest = ::testing::TestWithParam<OpenRow>;

TEST_P(InboundOpenTest, checkOpen_refusesOversizedRequests)
{
    EXPECT_EQ(InboundRequests::checkOpen(GetParam().uris), GetParam().expected);
}

QStringList links(qsizetype count)
{
    QStringList uris;
    for (qsizetype i = 0; i < count; ++i)
        uris.append(QStringLiteral("tel:555%1").arg(1000000 + i));
    return uris;
}

INSTANTIATE_TEST_SUITE_P(
    Open, InboundOpenTest,
    ::testing::Values(
        OpenRow{"none", {}, std::nullopt},
        OpenRow{"one", links(1), std::nullopt},
        OpenRow{"hundred", links(100), std::nullopt},
        OpenRow{"hundredAndOne", links(101), RequestFailure::tooManyLinks},
        OpenRow{"fiftyThousand", links(50000), RequestFailure::tooManyLinks},
        OpenRow{"linkAtTheLimit", {"tel:" + QString(64 * 1024 - 4, u'5')}, std::nullopt},
        OpenRow{"linkOverTheLimit", {"tel:5551234567", "tel:" + QString(64 * 1024 - 3, u'5')}, RequestFailure::tooLarge}),
    dialwise::testing::RowName());

// What the launcher tells the person about a link before it hands it over.
struct LinkOutcomeRow
{
    const char *name;
    const char *link;
    dialwise::LinkOutcome outcome;
    const char *scheme;
};

void PrintTo(const LinkOutcomeRow &row, std::ostream *os) { *os << row.link; }

using LinkOutcomeTest = ::testing::TestWithParam<LinkOutcomeRow>;

TEST_P(LinkOutcomeTest, linkOutcome_tellsCallNoNumberOrOtherScheme)
{
    const LinkOutcomeRow &row = GetParam();
    EXPECT_EQ(InboundRequests::linkOutcome(QString::fromUtf8(row.link)), row.outcome);
    EXPECT_EQ(InboundRequests::schemeOf(QString::fromUtf8(row.link)), QString::fromUtf8(row.scheme));
}

using Outcome = dialwise::LinkOutcome;

INSTANTIATE_TEST_SUITE_P(
    Rows, LinkOutcomeTest,
    ::testing::Values(
        LinkOutcomeRow{"tel", "tel:+1-555-123-4567", Outcome::call, "tel"},
        LinkOutcomeRow{"telUpper", "TEL:5551234567", Outcome::call, "tel"},
        LinkOutcomeRow{"callto", "callto://5551234567", Outcome::call, "callto"},
        LinkOutcomeRow{"dialwise", "Dialwise://dial?number=%2B1%20555%20123%204567", Outcome::call, "dialwise"},
        LinkOutcomeRow{"bareNumber", "(202) 555-0123", Outcome::call, ""},
        LinkOutcomeRow{"plusNumber", "+1 202 555 0123", Outcome::call, ""},
        LinkOutcomeRow{"telTooShort", "tel:123456", Outcome::noNumber, "tel"},
        LinkOutcomeRow{"dialwiseNoValue", "dialwise://dial?number", Outcome::noNumber, "dialwise"},
        LinkOutcomeRow{"bareWords", "hello there", Outcome::noNumber, ""},
        LinkOutcomeRow{"mailto", "mailto:ada@example.com", Outcome::otherScheme, "mailto"},
        LinkOutcomeRow{"mailtoWithDigits", "mailto:5551234567@example.com", Outcome::otherScheme, "mailto"},
        LinkOutcomeRow{"https", "https://voice.google.com/u/0/calls", Outcome::otherScheme, "https"},
        LinkOutcomeRow{"sms", "sms:+15551234567", Outcome::otherScheme, "sms"},
        LinkOutcomeRow{"schemeWithPlus", "web+tel:5551234567", Outcome::otherScheme, "web+tel"},
        LinkOutcomeRow{"blanksBeforeTel", "  tel:5551234567", Outcome::call, "tel"},
        LinkOutcomeRow{"digitFirstIsNoScheme", "1:5551234567", Outcome::call, ""},
        LinkOutcomeRow{"colonAfterWords", "call me: 555 123 4567", Outcome::call, ""}), dialwise::testing::RowName());

} // namespace
