// The phone finder on texts a popup really carries.
#include "detection/LibPhoneNumberFinder.h"
#include "tests/support/NamedRows.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>

using dialwise::LibPhoneNumberFinder;

namespace {

struct FinderRow
{
    const char *name;
    const char *text;
    const char *found;
};

const FinderRow kFinderRows[] = {
    {"International_AsWritten", "+1 (555) 010-0000", "+1 (555) 010-0000"},
    {"National_AsWritten", "(555) 123-4567", "(555) 123-4567"},
    {"InSentence_FirstMatch", "Call 555-010-0000 now", "555-010-0000"},
    {"TwoNumbers_First", "(555) 123-4567 or +1 (555) 010-0000", "(555) 123-4567"},
    {"FaceTime_None", "FaceTime", ""},
    {"Empty_None", "", ""},
    {"MessageWithNumber_Number", "Message +1 (555) 010-0000", "+1 (555) 010-0000"},
};

using LibPhoneNumberFinderTest = ::testing::TestWithParam<FinderRow>;

TEST_P(LibPhoneNumberFinderTest, FirstNumberAsWritten)
{
    const LibPhoneNumberFinder finder(QStringLiteral("US"));
    EXPECT_EQ(finder.firstPhoneNumber(QString::fromUtf8(GetParam().text)).toStdString(), GetParam().found);
}

INSTANTIATE_TEST_SUITE_P(Texts, LibPhoneNumberFinderTest, ::testing::ValuesIn(kFinderRows),
                         dialwise::testing::RowName());

TEST(LibPhoneNumberFinderMiscTest, megabyteOfText_answersWithoutHanging)
{
    // A generous bound for a slow machine: the point is "no hang", not speed.
    constexpr qint64 kMaxMilliseconds = 20000;
    const LibPhoneNumberFinder finder(QStringLiteral("US"));
    QString text;
    text.reserve(1 << 20);
    while (text.size() < (1 << 20))
        text += QStringLiteral("FaceTime Large Type Add to Contacts 12 ab-cd ");
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(finder.firstPhoneNumber(text), QString());
    EXPECT_LT(timer.elapsed(), kMaxMilliseconds);

    const QString withNumberAtEnd = text + QStringLiteral(" (555) 123-4567");
    timer.restart();
    EXPECT_EQ(finder.firstPhoneNumber(withNumberAtEnd), QStringLiteral("(555) 123-4567"));
    EXPECT_LT(timer.elapsed(), kMaxMilliseconds);
}

TEST(LibPhoneNumberFinderMiscTest, emptyRegion_usesLocaleOrUS)
{
    EXPECT_FALSE(LibPhoneNumberFinder().region().isEmpty());
    EXPECT_EQ(LibPhoneNumberFinder(QStringLiteral("GB")).region(), QStringLiteral("GB"));
}

} // namespace

namespace {

TEST(LibPhoneNumberFinderMiscTest, shortDigitRunsNeverMatch_longerStillDo)
{
    const LibPhoneNumberFinder finder(QStringLiteral("US"));
    EXPECT_EQ(finder.firstPhoneNumber(QStringLiteral("Entry 7")), QString());
    EXPECT_EQ(finder.firstPhoneNumber(QStringLiteral("+1")), QString());
    // Full-width digits count as digits.
    EXPECT_EQ(finder.firstPhoneNumber(QStringLiteral("(\uFF15\uFF15\uFF15) 123-4567")), QStringLiteral("(\uFF15\uFF15\uFF15) 123-4567"));
}

} // namespace
