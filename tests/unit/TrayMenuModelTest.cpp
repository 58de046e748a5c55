#include "app/TrayMenuModel.h"
#include "tests/fakes/ManualClock.h"
#include "tests/support/NamedRows.h"
#include "tests/unit/QtPrinting.h"

#include <gtest/gtest.h>

using dialwise::CallManager;
using dialwise::TrayMenuEntry;
using dialwise::TrayMenuModel;
using Kind = TrayMenuEntry::Kind;

namespace {

const QString kLocale = QStringLiteral("en_US");

QList<Kind> kinds(const QList<TrayMenuEntry> &entries)
{
    QList<Kind> result;
    for (const TrayMenuEntry &entry : entries)
        result.append(entry.kind);
    return result;
}

// Newest first, as CallManager keeps them: record i was placed i minutes before `now`.
QList<CallManager::CallRecord> history(const QDateTime &now, const QStringList &numbers)
{
    QList<CallManager::CallRecord> records;
    for (qsizetype i = 0; i < numbers.size(); ++i)
        records.append(CallManager::CallRecord(numbers[i], now.addSecs(-60 * (i + 1)), CallManager::Provider::googleVoice));
    return records;
}

TEST(TrayMenuModelTest, emptyHistory_hasExactlyFiveEntries)
{
    dialwise::testing::ManualClock clock;
    const QList<TrayMenuEntry> entries = TrayMenuModel::build({}, clock.now(), kLocale);
    ASSERT_EQ(entries.size(), 5);
    EXPECT_EQ(kinds(entries), QList<Kind>({Kind::header, Kind::separator, Kind::showWindow, Kind::separator, Kind::quit}));
    EXPECT_EQ(entries[0].title, QString("Dialwise"));
    EXPECT_FALSE(entries[0].enabled);
    EXPECT_EQ(entries[2].title, QString("Show Dialwise"));
    EXPECT_EQ(entries[2].shortcut, QString("Ctrl+1"));
    EXPECT_TRUE(entries[2].enabled);
    EXPECT_EQ(entries[4].title, QString("Quit Dialwise"));
    EXPECT_EQ(entries[4].shortcut, QString("Ctrl+Q"));
    EXPECT_TRUE(entries[4].enabled);
}

TEST(TrayMenuModelTest, sevenRecords_listOnlyNewestFiveThenSeparator)
{
    dialwise::testing::ManualClock clock;
    const QStringList numbers = {"5550000001", "5550000002", "5550000003", "5550000004",
                                 "5550000005", "5550000006", "5550000007"};
    const QList<TrayMenuEntry> entries = TrayMenuModel::build(history(clock.now(), numbers), clock.now(), kLocale);
    EXPECT_EQ(kinds(entries),
              QList<Kind>({Kind::header, Kind::separator, Kind::showWindow, Kind::separator, Kind::historyHeading,
                           Kind::historyCall, Kind::historyCall, Kind::historyCall, Kind::historyCall, Kind::historyCall,
                           Kind::separator, Kind::quit}));
    EXPECT_EQ(entries[4].title, QString("Recent Calls:"));
    EXPECT_FALSE(entries[4].enabled);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(entries[5 + i].number, numbers[i]);
        EXPECT_TRUE(entries[5 + i].enabled);
    }
}

TEST(TrayMenuModelTest, historyTitle_isDisplayFormAndRelativeTime)
{
    dialwise::testing::ManualClock clock;
    const QList<CallManager::CallRecord> records = {
        CallManager::CallRecord("5551234567", clock.now().addSecs(-5 * 60), CallManager::Provider::googleVoice)};
    const QList<TrayMenuEntry> entries = TrayMenuModel::build(records, clock.now(), kLocale);
    ASSERT_EQ(entries.size(), 8);
    EXPECT_EQ(entries[5].title, QString("  (555) 123-4567  5 min. ago"));
    EXPECT_EQ(entries[5].number, QString("5551234567"));
}

TEST(TrayMenuModelTest, twelveDigitNumber_isListedUnchanged)
{
    dialwise::testing::ManualClock clock;
    const QList<TrayMenuEntry> entries =
        TrayMenuModel::build(history(clock.now(), {"+442071234567"}), clock.now(), kLocale);
    ASSERT_EQ(entries.size(), 8);
    EXPECT_TRUE(entries[5].title.startsWith("  +442071234567  ")) << entries[5].title.toStdString();
    EXPECT_EQ(entries[5].number, QString("+442071234567"));
}

struct RelativeRow
{
    const char *name;
    qint64 secondsAgo;
    const char *expected;
};

using TrayMenuRelativeTimeTest = ::testing::TestWithParam<RelativeRow>;

TEST_P(TrayMenuRelativeTimeTest, relativeTime_alwaysCountsUnits)
{
    dialwise::testing::ManualClock clock;
    const RelativeRow &row = GetParam();
    EXPECT_EQ(TrayMenuModel::relativeTime(clock.now().addSecs(-row.secondsAgo), clock.now(), kLocale),
              QString::fromUtf8(row.expected));
}

INSTANTIATE_TEST_SUITE_P(
    EnUs, TrayMenuRelativeTimeTest,
    ::testing::Values(RelativeRow{"now", 0, "0 sec. ago"}, RelativeRow{"seconds", 42, "42 sec. ago"},
                      RelativeRow{"fiveMinutes", 5 * 60, "5 min. ago"},
                      RelativeRow{"justUnderAnHour", 59 * 60 + 59, "59 min. ago"},
                      RelativeRow{"hours", 3 * 3600, "3 hr. ago"},
                      // Never "yesterday": the menu always says how many.
                      RelativeRow{"oneDay", 86400, "1 day ago"}, RelativeRow{"twoWeeks", 14 * 86400, "2 wk. ago"},
                      RelativeRow{"future", -120, "in 2 min."}), dialwise::testing::RowName());

TEST(TrayMenuModelTest, relativeTime_followsLocale)
{
    dialwise::testing::ManualClock clock;
    const QString german = TrayMenuModel::relativeTime(clock.now().addSecs(-300), clock.now(), "de_DE");
    EXPECT_TRUE(german.contains("5")) << german.toStdString();
    EXPECT_NE(german, QString("5 min. ago"));
}

} // namespace
