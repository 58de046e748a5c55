// Deterministic random inputs built from pieces that tend to break text code: digits of several
// scripts, percent escapes good and bad, prefixes, plus signs, combining marks, joiners, emoji,
// surrogate halves and every kind of blank. Each input is checked against the plain reference
// implementation and against the invariants of the normalised form.
#include "calling/PhoneNumbers.h"
#include "tests/unit/QtPrinting.h"
#include "tests/unit/ReferenceNormalize.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>

using dialwise::phone::formatForDisplay;
using dialwise::phone::normalize;

namespace {

constexpr std::u16string_view kPieces[] = {
    // digits and other numerics
    u"0", u"1", u"2", u"5", u"7", u"9", u"555", u"1234567", u"\u0665", u"\u0661", u"\u06F5", u"\u096B",
    u"\uFF11", u"\uFF15", u"\u2460", u"\u00BD", u"\u00B2", u"\u4E00", u"\u4E03", u"\u216B", u"\U0001D7D3",
    u"\u1369", u"\U0001F101",
    // percent-encoding, good and bad
    u"%", u"%2B", u"%2b", u"%25", u"%20", u"%00", u"%41", u"%C3", u"%28", u"%A9", u"%FF", u"%ED%A0%80", u"%E2%82",
    u"%EF%BC%95", u"%D9%A5", u"%CC%81", u"%E2%80%8D", u"%EF%BF%BE", u"%zz", u"%4", u"2B", u"C3", u"F", u"a",
    // prefixes and signs
    u"+", u"++", u"\uFF0B", u"tel:", u"TEL:", u"Tel:", u"tel://", u"callto:", u"CALLTO://", u"callto", u"//", u":",
    u"(", u")", u"-", u".", u" ext. ", u"#", u"*",
    // combining marks, joiners, emoji, clusters
    u"\u0301", u"\u0308", u"\uFE0F", u"\u20E3", u"\u200D", u"\u200C", u"\U0001F4DE", u"\U0001F44D\U0001F3FD",
    u"\U0001F1FA\U0001F1F8", u"\u0600", u"\u094D", u"\u0915", u"\u1100", u"\u1161", u"\u11A8", u"\uAC00",
    // surrogate halves
    u"\xD800", u"\xDBFF", u"\xDC00", u"\xDFFF",
    // blanks of every kind, and things that only look blank
    u" ", u"\t", u"\r", u"\n", u"\r\n", u"\v", u"\f", u"\u0085", u"\u00A0", u"\u1680", u"\u2000", u"\u2028",
    u"\u2029", u"\u202F", u"\u3000", u"\u200B", u"\uFEFF", std::u16string_view(u"\0", 1),
};

QString randomText(std::mt19937 &random)
{
    std::uniform_int_distribution<size_t> piece(0, std::size(kPieces) - 1);
    std::uniform_int_distribution<int> length(0, 18);
    QString text;
    const int pieces = length(random);
    for (int i = 0; i < pieces; ++i)
        text += qs(kPieces[piece(random)]);
    return text;
}

// The normalised form: an optional "+" and then only numeric clusters, at least seven.
::testing::AssertionResult hasNumberShape(const QString &number)
{
    const QString digits = number.startsWith(u'+') ? number.mid(1) : number;
    const auto clusters = reference::graphemeClusters(reference::toText(digits));
    if (clusters.size() < 7)
        return ::testing::AssertionFailure() << "only " << clusters.size() << " characters";
    for (const auto &cluster : clusters) {
        if (!reference::isNumericCluster(cluster))
            return ::testing::AssertionFailure() << "a character that is not numeric";
    }
    return ::testing::AssertionSuccess();
}

// The display form of a normalised number is the number itself or one of the two groupings.
::testing::AssertionResult hasDisplayShape(const QString &number, const QString &display)
{
    if (display == number)
        return ::testing::AssertionSuccess();
    const auto clusters = reference::numericClusters(reference::toText(number));
    auto join = [&](size_t from, size_t to) {
        QString out;
        for (size_t i = from; i < to; ++i)
            out += reference::toQString(clusters[i]);
        return out;
    };
    auto grouped = [&](size_t o) {
        return u'(' + join(o, o + 3) + QStringLiteral(") ") + join(o + 3, o + 6) + u'-' + join(o + 6, o + 10);
    };
    if (clusters.size() == 10 && display == grouped(0))
        return ::testing::AssertionSuccess();
    if (clusters.size() == 11 && clusters[0] == u"1" && display == QStringLiteral("+1 ") + grouped(1))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "unexpected display form";
}

using NormalizeFuzz = ::testing::TestWithParam<uint32_t>;

TEST_P(NormalizeFuzz, MatchesReferenceAndKeepsInvariants)
{
    std::mt19937 random(GetParam());
    int failures = 0;
    int numbers = 0;
    constexpr int kInputs = 50'000;
    for (int i = 0; i < kInputs && failures < 10; ++i) {
        const QString text = randomText(random);
        const std::optional<QString> result = normalize(text);
        const std::optional<QString> expected = reference::normalize(text);
        const QString display = result ? formatForDisplay(*result) : QString();

        bool ok = true;
        EXPECT_EQ(result, expected) << "input " << ::testing::PrintToString(text);
        ok = ok && result == expected;
        if (result) {
            ++numbers;
            const auto shape = hasNumberShape(*result);
            EXPECT_TRUE(shape) << "input " << ::testing::PrintToString(text);
            EXPECT_EQ(normalize(*result), result) << "input " << ::testing::PrintToString(text);
            EXPECT_TRUE(hasDisplayShape(*result, display)) << ::testing::PrintToString(display);
            EXPECT_EQ(display, reference::formatForDisplay(*result));
            ok = ok && shape && normalize(*result) == result && display == reference::formatForDisplay(*result);
        }
        // The display form of arbitrary text follows the same rule as for a number.
        EXPECT_EQ(formatForDisplay(text), reference::formatForDisplay(text)) << ::testing::PrintToString(text);
        ok = ok && formatForDisplay(text) == reference::formatForDisplay(text);
        failures += ok ? 0 : 1;
    }
    // Make sure the generator really reaches the interesting side: many inputs must be numbers.
    EXPECT_GT(numbers, kInputs / 20);
    RecordProperty("numbers", numbers);
}

// Four seeds of 50,000 inputs each: 200,000 inputs, the same on every run.
INSTANTIATE_TEST_SUITE_P(Seeds, NormalizeFuzz, ::testing::Values(1u, 2u, 3u, 20240301u),
                         [](const auto &seed) { return "Seed" + std::to_string(seed.param); });

// The ASCII fast path and the general path must agree: the same text with a non-ASCII character
// that is neither blank nor numeric appended (so that the slow path is taken and the character
// contributes nothing) gives the same number.
TEST(NormalizeFastPath, AsciiText_SameAsWithNonAsciiTail)
{
    std::mt19937 random(7);
    constexpr std::u16string_view kAscii[] = {u"1", u"5", u"0", u"555", u"1234", u"%", u"%2B", u"%2", u"+", u"tel:", u"TEL://",
                                              u"callto:", u" ", u"\t", u"\r\n", u"-", u"(", u"a", u"%zz"};
    std::uniform_int_distribution<size_t> piece(0, std::size(kAscii) - 1);
    int compared = 0;
    for (int i = 0; i < 50'000; ++i) {
        QString text;
        for (int k = 0, n = int(random() % 16); k < n; ++k)
            text += qs(kAscii[piece(random)]);
        const auto ascii = normalize(text);
        const auto general = normalize(text + QStringLiteral("\u00E9"));
        ASSERT_EQ(ascii, general) << ::testing::PrintToString(text);
        compared += ascii ? 1 : 0;
    }
    EXPECT_GT(compared, 1000);
}

} // namespace
