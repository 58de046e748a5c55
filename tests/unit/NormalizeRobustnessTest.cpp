// Hostile and huge inputs: a megabyte of text, invalid UTF-8, embedded NULs. Nothing may crash,
// results follow the same rules as for short text, and the cost grows linearly.
#include "calling/PhoneNumbers.h"
#include "tests/support/NamedRows.h"
#include "tests/unit/QtPrinting.h"
#include "tests/unit/ReferenceNormalize.h"

#include <gtest/gtest.h>

#include <ctime>

#include <QByteArray>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>
#include <functional>
#include <random>
#include <string>

using dialwise::phone::dialDigits;
using dialwise::phone::formatForDisplay;
using dialwise::phone::normalize;

namespace {

constexpr qsizetype kMegabyte = 1 << 20;

QString repeatedTo(const QString &unit, qsizetype size)
{
    QString text;
    text.reserve(size + unit.size());
    while (text.size() < size)
        text += unit;
    return text;
}

struct BigRow
{
    const char *name;
    std::u16string_view unit; // repeated up to the size under test
    // What normalising the repeated text gives, as a function of the repeated text.
    std::function<std::optional<QString>(const QString &)> expected;
};

QString keepOnly(const QString &text, const QString &keep)
{
    QString out;
    for (QChar c : text) {
        if (keep.contains(c))
            out += c;
    }
    return out;
}

const BigRow kBigRows[] = {
    {"AsciiDigits_AllKept", u"5551234567", [](const QString &t) { return std::optional(t); }},
    {"FormattedAscii_DigitsKept", u"(555) 123-4567, ",
     [](const QString &t) { return std::optional(keepOnly(t, QStringLiteral("0123456789"))); }},
    {"MixedNonAscii_NumericKept", u"\u0665 \uFF15 a\u0301 \U0001F4DE 7\u0301 \u00A0",
     [](const QString &t) { return reference::normalize(t); }},
    {"PercentSigns_Undecodable", u"%5", [](const QString &t) { return std::optional(keepOnly(t, QStringLiteral("5"))); }},
    {"EncodedPercents_DecodeToNothing", u"%25", [](const QString &) { return std::optional<QString>(); }},
    {"EncodedDigits_Decoded", u"%31", [](const QString &t) { return std::optional(QString(t.size() / 3, u'1')); }},
    {"Nuls_BetweenDigits", std::u16string_view(u"5\0", 2),
     [](const QString &t) { return std::optional(QString(t.size() / 2, u'5')); }},
    {"LoneSurrogates_BetweenDigits", u"\xD800" u"5\xDC00",
     [](const QString &t) { return std::optional(QString(t.size() / 3, u'5')); }},
};

using BigInputTest = ::testing::TestWithParam<BigRow>;

TEST_P(BigInputTest, Megabyte_ResultFollowsRules)
{
    const QString text = repeatedTo(qs(GetParam().unit), kMegabyte);
    const std::optional<QString> result = normalize(text);
    const std::optional<QString> expected = GetParam().expected(text);
    ASSERT_EQ(result.has_value(), expected.has_value());
    if (result) {
        EXPECT_EQ(result->size(), expected->size());
        EXPECT_TRUE(*result == *expected);
        // Far more than eleven numeric characters: the display form is the text unchanged.
        EXPECT_TRUE(formatForDisplay(*result) == *result);
        EXPECT_FALSE(dialDigits(*result).isEmpty());
    }
}

// Written to so that the timed calls cannot be optimised away.
volatile qsizetype g_sink = 0;

// The best of a few runs, so one descheduling does not decide anything.
// This thread's CPU time, not the wall clock: on a busy machine (CI, parallel test runs) a
// preempted run would otherwise look like a slow one and make the linearity check flaky.
double threadCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

double bestSeconds(const QString &text)
{
    double best = 1e9;
    for (int i = 0; i < 5; ++i) {
        const double start = threadCpuSeconds();
        const auto result = normalize(text);
        const auto display = formatForDisplay(text);
        best = std::min(best, threadCpuSeconds() - start);
        g_sink = display.size() + (result ? result->size() : 0);
    }
    return best;
}

// Sixteen times the input may cost sixteen times the time, plus noise; forty times means it
// grows faster than linearly. The floor keeps a near-zero small run from deciding anything.
TEST_P(BigInputTest, Megabyte_CostsRoughlyLinearTime)
{
    const QString small = repeatedTo(qs(GetParam().unit), 64 * 1024);
    const QString large = repeatedTo(qs(GetParam().unit), kMegabyte);
    const double smallSeconds = std::max(bestSeconds(small), 50e-6);
    const double largeSeconds = bestSeconds(large);
    EXPECT_LT(largeSeconds, 40 * smallSeconds) << "64 KB: " << smallSeconds << " s, 1 MB: " << largeSeconds << " s";
}

INSTANTIATE_TEST_SUITE_P(Rows, BigInputTest, ::testing::ValuesIn(kBigRows), dialwise::testing::RowName());

// Bytes that are not UTF-8 become QStrings full of U+FFFD; whatever survives follows the rules.
TEST(HostileInput, InvalidUtf8Bytes_SameAsReference)
{
    std::mt19937 random(11);
    std::uniform_int_distribution<int> byte(0, 255);
    for (int i = 0; i < 2000; ++i) {
        QByteArray bytes;
        for (int k = 0, n = int(random() % 40); k < n; ++k) {
            const int b = byte(random);
            bytes.append(char(b < 64 ? '0' + b % 10 : b)); // plenty of digits among the junk
        }
        const QString text = QString::fromUtf8(bytes);
        ASSERT_EQ(normalize(text), reference::normalize(text)) << bytes.toHex().constData();
    }
}

TEST(HostileInput, EmbeddedNuls_NotDigitsNotBlank)
{
    const QString nul(1, QChar(u'\0'));
    EXPECT_EQ(normalize(nul + QStringLiteral("+15551234567")), QStringLiteral("15551234567"));
    EXPECT_EQ(normalize(QStringLiteral("tel:") + nul + QStringLiteral("5551234567")), QStringLiteral("5551234567"));
    EXPECT_EQ(normalize(QStringLiteral("555") + nul + nul + QStringLiteral("1234")), QStringLiteral("5551234"));
    EXPECT_EQ(normalize(QStringLiteral("%00%2B15551234567")), QStringLiteral("15551234567"));
}

TEST(HostileInput, MegabyteOfBlanks_NotANumber)
{
    EXPECT_EQ(normalize(repeatedTo(QStringLiteral(" \u00A0\u3000\t\r\n"), kMegabyte)), std::nullopt);
    const QString padded = repeatedTo(QStringLiteral("\u2028"), kMegabyte) + QStringLiteral("+15551234567")
        + repeatedTo(QStringLiteral("\u2029"), kMegabyte);
    EXPECT_EQ(normalize(padded), QStringLiteral("+15551234567"));
}

} // namespace

namespace {

// Each thread keeps its own ICU iterator; running many at once must give the same answers as
// running them one by one.
TEST(HostileInput, ManyThreads_SameResultsAsOneThread)
{
    QStringList inputs;
    std::mt19937 random(5);
    const QString pieces[] = {QStringLiteral("5"), QStringLiteral("\u0665"), QStringLiteral("\uFF15"),
                              QStringLiteral("1\uFE0F\u20E3"), QStringLiteral("%2B"), QStringLiteral(" "),
                              QStringLiteral("\u0301"), QStringLiteral("tel:"), QStringLiteral("\U0001F4DE")};
    for (int i = 0; i < 2000; ++i) {
        QString text;
        for (int k = 0, n = int(random() % 20); k < n; ++k)
            text += pieces[random() % std::size(pieces)];
        inputs.append(text);
    }
    QList<std::optional<QString>> expected;
    for (const QString &text : inputs)
        expected.append(normalize(text));

    std::atomic<int> mismatches = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int round = 0; round < 5; ++round) {
                for (qsizetype i = 0; i < inputs.size(); ++i) {
                    if (normalize(inputs[i]) != expected[i])
                        ++mismatches;
                }
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(mismatches.load(), 0);
}

} // namespace
