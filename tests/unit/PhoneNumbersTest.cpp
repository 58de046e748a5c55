// Normalisation and display form, one row per case. Each row names the subject and the
// condition; the expected values are what a user should see, worked out by hand.
#include "calling/PhoneNumbers.h"
#include "tests/support/NamedRows.h"
#include "tests/unit/QtPrinting.h"

#include <gtest/gtest.h>

#include <unicode/uchar.h>

#include <optional>
#include <string>

using dialwise::phone::dialDigits;
using dialwise::phone::formatForDisplay;
using dialwise::phone::normalize;

namespace {

struct NormalizeRow
{
    const char *name;
    std::u16string_view input;
    std::optional<std::u16string_view> normalized;
    // Checked only when set: the display form of the normalised number.
    std::optional<std::u16string_view> display = std::nullopt;
};

constexpr std::nullopt_t none = std::nullopt;

const NormalizeRow kNormalizeRows[] = {
    // The everyday shapes.
    {"Formatted_TrimmedAndPlusKept", u"  +1 (555) 123-4567\n", u"+15551234567", u"+1 (555) 123-4567"},
    {"TelPrefix_Removed", u"tel:5551234567", u"5551234567", u"(555) 123-4567"},
    {"TelPrefix_UpperCaseRemoved", u"TEL:5551234567", u"5551234567", u"(555) 123-4567"},
    {"TelPrefix_MixedCaseRemoved", u"Tel:+15551234567", u"+15551234567"},
    {"TelSlashSlash_DigitsKept", u"tel://5551234567", u"5551234567"},
    {"CalltoSlashSlash_DigitsKept", u"callto://5551234567", u"5551234567"},
    {"CalltoPrefix_PlusAfterPrefixKept", u"callto:+15551234567", u"+15551234567"},
    {"Sixdigits_NotANumber", u"123456", none},
    {"SevenDigits_Accepted", u"1234567", u"1234567", u"1234567"},
    {"Letters_NotANumber", u"abc", none},
    {"Empty_NotANumber", u"", none},
    {"Vanity_TooFewDigits", u"1-800-FLOWERS", none},
    {"Extension_DigitsJoined", u"555-123-4567 ext. 89", u"555123456789"},
    {"International_KeptAsIs", u"+442071234567", u"+442071234567", u"+442071234567"},
    {"ElevenNotStartingWithOne_DisplayUnchanged", u"25551234567", u"25551234567", u"25551234567"},
    {"PlusTenDigits_DisplayDropsPlus", u"+5551234567", u"+5551234567", u"(555) 123-4567"},

    // Prefixes: tried in order "tel:", "tel://", "callto:", "callto://"; one at most is removed.
    {"TelSlashSlash_ShortPrefixWinsSoPlusIsNotFirst", u"tel://+15551234567", u"15551234567"},
    {"CalltoSlashSlash_ShortPrefixWinsSoPlusIsNotFirst", u"CallTo://+15551234567", u"15551234567"},
    {"DoubleTel_OnlyOneRemoved", u"tel:tel:+15551234567", u"15551234567"},
    {"TelThenCallto_OnlyOneRemoved", u"tel:callto:+15551234567", u"15551234567"},
    {"TelNotAtStart_NotAPrefix", u"xtel:+15551234567", u"15551234567"},
    {"TelAfterBlanks_PrefixFoundAfterTrimming", u" \ttel:+15551234567 ", u"+15551234567"},
    {"TelOnly_NotANumber", u"tel:", none},
    {"TelWithoutColon_NotAPrefix", u"tel+15551234567", u"15551234567"},

    // The plus sign counts only as the very first character after trimming and the prefix.
    {"PlusAfterPrefixBlank_Dropped", u"tel: +15551234567", u"15551234567", u"+1 (555) 123-4567"},
    {"PlusInMiddle_Dropped", u"1+5551234567", u"15551234567"},
    {"PlusTwice_OneKept", u"++15551234567", u"+15551234567"},
    {"PlusWithCombiningMark_NotAPlus", u"+\u0301" u"15551234567", u"15551234567"},
    {"FullWidthPlus_NotAPlus", u"\uFF0B15551234567", u"15551234567"},
    {"PlusAlone_NotANumber", u"+", none},

    // Percent-decoding: UTF-8, once, all or nothing.
    {"EncodedPlus_CountsAfterDecoding", u"tel:%2B15551234567", u"+15551234567"},
    {"EncodedPlusLowerHex_CountsAfterDecoding", u"%2b15551234567", u"+15551234567"},
    {"EncodedBlankBeforePlus_PlusDropped", u"%20%2B15551234567", u"15551234567"},
    {"EncodedPlusAfterPlus_OnePlus", u"+%2B15551234567", u"+15551234567"},
    {"EncodedPercent_DecodedOnlyOnce", u"%255551234567", u"5551234567"},
    {"EncodedNul_EscapeDigitsConsumed", u"%005551234567", u"5551234567"},
    {"EncodedFullWidthDigits_DecodedAndKept", u"%EF%BC%95%EF%BC%95%EF%BC%95%EF%BC%91%EF%BC%92%EF%BC%93%EF%BC%94",
     u"\uFF15\uFF15\uFF15\uFF11\uFF12\uFF13\uFF14"},
    {"BadHexEscape_TextKeptDigitsCount", u"%zz5551234567", u"5551234567"},
    {"BadHexEscape_EarlierEscapesNotDecoded", u"%2B1555123456%zz", u"21555123456"},
    {"TrailingPercent_TextKept", u"%2B1555123456%", u"21555123456"},
    {"OneHexDigitAtEnd_TextKept", u"%2B1555123456%4", u"215551234564"},
    {"PercentAlone_NotANumber", u"%", none},
    {"InvalidUtf8Sequence_TextKept", u"%C3%285551234567", u"3285551234567"},
    {"InvalidUtf8Byte_TextKept", u"%2B%FF15551234567", u"215551234567"},
    {"EncodedSurrogate_TextKept", u"%ED%A0%805551234567", u"0805551234567"},
    {"OverlongEncoding_TextKept", u"%C0%AB5551234567", u"05551234567"},
    {"TruncatedSequence_TextKept", u"%E2%825551234567", u"2825551234567"},

    // Trimming: Unicode White_Space at both ends before the prefix, nothing after it.
    {"NoBreakSpace_Trimmed", u"\u00A0+15551234567\u00A0", u"+15551234567"},
    {"LineSeparator_Trimmed", u"\u2028+15551234567\u2028", u"+15551234567"},
    {"ParagraphSeparator_Trimmed", u"\u2029+15551234567", u"+15551234567"},
    {"IdeographicSpace_Trimmed", u"\u3000+15551234567", u"+15551234567"},
    {"NextLine_Trimmed", u"\u0085+15551234567", u"+15551234567"},
    {"TabsAndCrLf_Trimmed", u"\t\r\n\v\f+15551234567\r\n", u"+15551234567"},
    {"OghamAndEnSpaces_Trimmed", u"\u1680\u2002\u200A\u202F\u205F+15551234567", u"+15551234567"},
    {"ZeroWidthSpace_NotWhiteSpace", u"\u200B+15551234567", u"15551234567"},
    {"ByteOrderMark_NotWhiteSpace", u"\uFEFF+15551234567", u"15551234567"},
    {"NoBreakSpaceAfterPrefix_NotTrimmed", u"tel:\u00A0+15551234567", u"15551234567"},
    {"TabBeforeEncodedPlus_NotTrimmed", u"tel:%09%2B15551234567", u"15551234567"},

    // Characters are grapheme clusters; a numeric one is kept whole, exactly as written.
    {"KeycapSequences_KeptWhole", u"1\uFE0F\u20E3" u"2\uFE0F\u20E3" u"3\uFE0F\u20E3" u"4\uFE0F\u20E3"
     u"5\uFE0F\u20E3" u"6\uFE0F\u20E3" u"7\uFE0F\u20E3",
     u"1\uFE0F\u20E3" u"2\uFE0F\u20E3" u"3\uFE0F\u20E3" u"4\uFE0F\u20E3" u"5\uFE0F\u20E3" u"6\uFE0F\u20E3"
     u"7\uFE0F\u20E3"},
    {"DigitWithCombiningMark_KeptWithMark", u"5\u0301" u"551234567", u"5\u0301" u"551234567"},
    {"DigitWithZwj_KeptWithJoiner", u"5\u200D" u"5551234567", u"5\u200D" u"5551234567",
     u"5\u200D" u"5551234567"},
    {"LeadingCombiningMark_Dropped", u"\u0301" u"5551234567", u"5551234567"},
    {"Emoji_Dropped", u"\U0001F4DE 555 123 4567", u"5551234567"},
    {"LoneSurrogate_Dropped", u"\xD800" u"555\xDC00" u"1234567", u"5551234567"},
    {"CircledDigits_Kept", u"\u2460\u2461\u2462\u2463\u2464\u2465\u2466",
     u"\u2460\u2461\u2462\u2463\u2464\u2465\u2466"},
    {"VulgarFraction_Kept", u"\u00BD" u"123456", u"\u00BD" u"123456"},
    {"SuperscriptTwo_Kept", u"555\u00B2" u"234567", u"555\u00B2" u"234567"},
    {"RomanNumeral_Kept", u"\u216B" u"123456", u"\u216B" u"123456"},
    {"CjkNumerals_Kept", u"\u4E00\u4E8C\u4E09\u56DB\u4E94\u516D\u4E03", u"\u4E00\u4E8C\u4E09\u56DB\u4E94\u516D\u4E03"},
    {"MathBoldDigits_KeptAsPairs", u"\U0001D7D3\U0001D7D3\U0001D7D3\U0001D7CF\U0001D7D0\U0001D7D1\U0001D7D2",
     u"\U0001D7D3\U0001D7D3\U0001D7D3\U0001D7CF\U0001D7D0\U0001D7D1\U0001D7D2"},
    {"ArabicIndic_KeptAsWritten", u"\u0665\u0665\u0665 \u0661\u0662\u0663 \u0664\u0665\u0666\u0667",
     u"\u0665\u0665\u0665\u0661\u0662\u0663\u0664\u0665\u0666\u0667",
     u"(\u0665\u0665\u0665) \u0661\u0662\u0663-\u0664\u0665\u0666\u0667"},
    {"ExtendedArabicIndic_KeptAsWritten", u"+\u06F9\u06F8\u06F9\u06F1\u06F2\u06F3\u06F4\u06F5",
     u"+\u06F9\u06F8\u06F9\u06F1\u06F2\u06F3\u06F4\u06F5"},
    {"Devanagari_KeptAsWritten", u"\u096B\u096B\u096B\u0967\u0968\u0969\u096A", u"\u096B\u096B\u096B\u0967\u0968\u0969\u096A"},
    {"FullWidthTen_DisplayedWithAsciiPunctuation", u"\uFF15\uFF15\uFF15\uFF11\uFF12\uFF13\uFF14\uFF15\uFF16\uFF17",
     u"\uFF15\uFF15\uFF15\uFF11\uFF12\uFF13\uFF14\uFF15\uFF16\uFF17",
     u"(\uFF15\uFF15\uFF15) \uFF11\uFF12\uFF13-\uFF14\uFF15\uFF16\uFF17"},
    {"FullWidthElevenStartingWithOne_DisplayUnchanged",
     u"\uFF11\uFF15\uFF15\uFF15\uFF11\uFF12\uFF13\uFF14\uFF15\uFF16\uFF17",
     u"\uFF11\uFF15\uFF15\uFF15\uFF11\uFF12\uFF13\uFF14\uFF15\uFF16\uFF17",
     u"\uFF11\uFF15\uFF15\uFF15\uFF11\uFF12\uFF13\uFF14\uFF15\uFF16\uFF17"},
    {"FullWidthLetters_NotNumeric", u"\uFF21\uFF22\uFF23 123456", none},
};

using NormalizeTest = ::testing::TestWithParam<NormalizeRow>;

TEST_P(NormalizeTest, GivesExpectedNumberAndDisplay)
{
    const NormalizeRow &row = GetParam();
    const std::optional<QString> result = normalize(qs(row.input));
    if (!row.normalized) {
        EXPECT_EQ(result, std::nullopt);
        return;
    }
    ASSERT_NE(result, std::nullopt);
    EXPECT_EQ(*result, qs(*row.normalized));
    if (row.display) {
        EXPECT_EQ(formatForDisplay(*result), qs(*row.display));
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, NormalizeTest, ::testing::ValuesIn(kNormalizeRows), dialwise::testing::RowName());

struct TextRow
{
    const char *name;
    std::u16string_view input;
    std::u16string_view expected;
};

const TextRow kDisplayRows[] = {
    {"TenDigits_Grouped", u"5551234567", u"(555) 123-4567"},
    {"PlusTenDigits_PlusNotShown", u"+5551234567", u"(555) 123-4567"},
    {"ElevenStartingWithOne_CountryCodeShown", u"15551234567", u"+1 (555) 123-4567"},
    {"PlusElevenStartingWithOne_CountryCodeShown", u"+15551234567", u"+1 (555) 123-4567"},
    {"ElevenStartingWithTwo_Unchanged", u"25551234567", u"25551234567"},
    {"Twelve_Unchanged", u"+442071234567", u"+442071234567"},
    {"Nine_Unchanged", u"555123456", u"555123456"},
    {"Seven_Unchanged", u"1234567", u"1234567"},
    {"Empty_Unchanged", u"", u""},
    {"AlreadyFormatted_SameShape", u"(555) 123-4567", u"(555) 123-4567"},
    {"OneWithCombiningMark_NotExactlyOne", u"1\u0301" u"5551234567", u"1\u0301" u"5551234567"},
    {"KeycapOne_NotExactlyOne", u"1\uFE0F\u20E3" u"5551234567", u"1\uFE0F\u20E3" u"5551234567"},
    {"FullWidthOne_NotExactlyOne", u"\uFF11" u"5551234567", u"\uFF11" u"5551234567"},
    {"AsciiOneThenFullWidth_CountryCodeShown", u"1\uFF15\uFF15\uFF15\uFF11\uFF12\uFF13\uFF14\uFF15\uFF16\uFF17",
     u"+1 (\uFF15\uFF15\uFF15) \uFF11\uFF12\uFF13-\uFF14\uFF15\uFF16\uFF17"},
    {"KeycapTen_ClustersGroupedWhole", u"5\uFE0F\u20E3" u"551234567", u"(5\uFE0F\u20E3" u"55) 123-4567"},
};

using FormatForDisplayTest = ::testing::TestWithParam<TextRow>;

TEST_P(FormatForDisplayTest, GivesExpectedText)
{
    EXPECT_EQ(formatForDisplay(qs(GetParam().input)), qs(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(Rows, FormatForDisplayTest, ::testing::ValuesIn(kDisplayRows), dialwise::testing::RowName());

const TextRow kDialDigitsRows[] = {
    {"TenDigits_OnePrepended", u"5551234567", u"15551234567"},
    {"PlusTenDigits_OnePrependedPlusDropped", u"+5551234567", u"15551234567"},
    {"PlusEleven_PlusDropped", u"+15551234567", u"15551234567"},
    {"International_PlusDropped", u"+442071234567", u"442071234567"},
    {"Seven_Unchanged", u"1234567", u"1234567"},
};

using DialDigitsTest = ::testing::TestWithParam<TextRow>;

TEST_P(DialDigitsTest, GivesExpectedDigits)
{
    EXPECT_EQ(dialDigits(qs(GetParam().input)), qs(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(Rows, DialDigitsTest, ::testing::ValuesIn(kDialDigitsRows), dialwise::testing::RowName());

// Whether Han numerals count is Unicode's call, not ours: ask ICU what their Numeric_Type is and
// require normalisation to follow it, so that this test says something true on any ICU.
TEST(NumericType, CjkNumerals_FollowIcuNumericType)
{
    const std::u16string_view numerals = u"\u4E00\u4E8C\u4E09\u56DB\u4E94\u516D\u4E03";
    for (char16_t c : numerals)
        EXPECT_EQ(u_getIntPropertyValue(c, UCHAR_NUMERIC_TYPE), U_NT_NUMERIC) << "U+" << std::hex << int(c);
    EXPECT_EQ(normalize(qs(numerals)), qs(numerals));
}

TEST(NumericType, CircledAndFractions_AreNumericInIcu)
{
    EXPECT_EQ(u_getIntPropertyValue(0x2460, UCHAR_NUMERIC_TYPE), U_NT_DIGIT);   // ①
    EXPECT_EQ(u_getIntPropertyValue(0x00BD, UCHAR_NUMERIC_TYPE), U_NT_NUMERIC); // ½
    EXPECT_EQ(u_getIntPropertyValue(0xFF15, UCHAR_NUMERIC_TYPE), U_NT_DECIMAL); // ５
}

TEST(Normalize, EmbeddedNul_IsNotADigit)
{
    const QString text = QStringLiteral("555") + QChar(u'\0') + QStringLiteral("1234567");
    EXPECT_EQ(normalize(text), QStringLiteral("5551234567"));
    EXPECT_EQ(normalize(QString(8, QChar(u'\0'))), std::nullopt);
}

} // namespace
