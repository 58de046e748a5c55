// CallManager with fake desktop, settings and clock: what call() records and announces, the
// history cap, the provider choice and its persistence, and the dial dialog.
#include "tests/fakes/CallManagerRig.h"
#include "tests/support/NamedRows.h"
#include "tests/unit/QtPrinting.h"

#include <gtest/gtest.h>

#include <QSet>

#include <optional>
#include <string>

using dialwise::CallManager;
using dialwise::testing::CallManagerRig;
using dialwise::testing::FakeDesktopServices;
using Provider = dialwise::CallManager::Provider;

namespace {

constexpr auto kProviderKey = "selectedProvider";

// --- The provider read at start-up -------------------------------------------------------------

struct StoredProviderRow
{
    const char *name;
    std::optional<const char *> stored;
    Provider expected;
};

const StoredProviderRow kStoredProviderRows[] = {
    {"Nothing_GoogleVoice", std::nullopt, Provider::googleVoice},
    {"BrowserExact_BrowserTel", "Browser (tel:)", Provider::browserTel},
    {"GoogleVoiceExact_GoogleVoice", "Google Voice", Provider::googleVoice},
    {"BrowserWrongCase_GoogleVoice", "browser (tel:)", Provider::googleVoice},
    {"BrowserWithBlank_GoogleVoice", "Browser (tel:) ", Provider::googleVoice},
    {"Unknown_GoogleVoice", "Other", Provider::googleVoice},
    {"Empty_GoogleVoice", "", Provider::googleVoice},
};

using StoredProviderTest = ::testing::TestWithParam<StoredProviderRow>;

TEST_P(StoredProviderTest, SelectsExpectedAndLeavesStoreAlone)
{
    CallManagerRig rig;
    if (GetParam().stored)
        rig.settings->values.insert(kProviderKey, QString::fromUtf8(*GetParam().stored));
    const auto before = rig.settings->values;

    const auto manager = rig.makeManager();

    EXPECT_EQ(manager->selectedProvider(), GetParam().expected);
    EXPECT_EQ(rig.settings->values, before);
    EXPECT_EQ(rig.settings->writes, 0);
}

INSTANTIATE_TEST_SUITE_P(Rows, StoredProviderTest, ::testing::ValuesIn(kStoredProviderRows),
                         dialwise::testing::RowName());

TEST(CallManagerProvider, SetProvider_StoresRawValueAndSurvivesRestart)
{
    CallManagerRig rig;
    {
        const auto manager = rig.makeManager();
        manager->setProvider(Provider::browserTel);
        EXPECT_EQ(manager->selectedProvider(), Provider::browserTel);
    }
    EXPECT_EQ(rig.settings->values.value(kProviderKey), QStringLiteral("Browser (tel:)"));
    EXPECT_EQ(rig.makeManager()->selectedProvider(), Provider::browserTel);

    rig.makeManager()->setProvider(Provider::googleVoice);
    EXPECT_EQ(rig.settings->values.value(kProviderKey), QStringLiteral("Google Voice"));
    EXPECT_EQ(rig.makeManager()->selectedProvider(), Provider::googleVoice);
}

TEST(CallManagerProvider, SetProviderAfterBadStoredValue_Overwrites)
{
    CallManagerRig rig;
    rig.settings->values.insert(kProviderKey, QStringLiteral("Other"));
    rig.makeManager()->setProvider(Provider::browserTel);
    EXPECT_EQ(rig.settings->values.value(kProviderKey), QStringLiteral("Browser (tel:)"));
}

TEST(CallManagerProvider, RawValues_RoundTripExactly)
{
    EXPECT_EQ(CallManager::rawValue(Provider::googleVoice), QStringLiteral("Google Voice"));
    EXPECT_EQ(CallManager::rawValue(Provider::browserTel), QStringLiteral("Browser (tel:)"));
    for (Provider provider : CallManager::allProviders())
        EXPECT_EQ(CallManager::providerFromRawValue(CallManager::rawValue(provider)), provider);
    EXPECT_EQ(CallManager::providerFromRawValue(QStringLiteral("google voice")), std::nullopt);
}

// --- Invalid numbers ---------------------------------------------------------------------------

struct InvalidRow
{
    const char *name;
    const char *text;
};

const InvalidRow kInvalidRows[] = {
    {"FiveDigits_Rejected", "12345"},
    {"BlanksAroundDigits_BodyKeepsBlanks", "  12 "},
    {"Empty_Rejected", ""},
    {"Letters_Rejected", "abc"},
    {"OnlyBlanks_Rejected", "   "},
};

using InvalidCallTest = ::testing::TestWithParam<InvalidRow>;

TEST_P(InvalidCallTest, NotifiesOnceAndChangesNothing)
{
    CallManagerRig rig;
    const auto manager = rig.makeManager();
    manager->call(QStringLiteral("5551234567"));
    rig.desktop->notifications.clear();
    rig.desktop->openedUrls.clear();
    const auto historyBefore = manager->callHistory();
    int announcements = 0;
    QObject::connect(manager.get(), &CallManager::objectWillChange, [&] { ++announcements; });

    const QString text = QString::fromUtf8(GetParam().text);
    manager->call(text);

    ASSERT_EQ(rig.desktop->notifications.size(), 1);
    EXPECT_EQ(rig.desktop->notifications[0].title, QStringLiteral("Dialwise"));
    EXPECT_EQ(rig.desktop->notifications[0].body, QStringLiteral("Invalid phone number: ") + text);
    EXPECT_TRUE(rig.desktop->openedUrls.isEmpty());
    ASSERT_EQ(manager->callHistory().size(), historyBefore.size());
    EXPECT_EQ(manager->callHistory()[0].id, historyBefore[0].id);
    EXPECT_EQ(manager->lastCalledNumber(), QStringLiteral("5551234567"));
    EXPECT_EQ(announcements, 0);
}

INSTANTIATE_TEST_SUITE_P(Rows, InvalidCallTest, ::testing::ValuesIn(kInvalidRows), dialwise::testing::RowName());

TEST(CallManagerCall, InvalidOnFreshManager_LastCalledStaysEmpty)
{
    CallManagerRig rig;
    const auto manager = rig.makeManager();
    manager->call(QStringLiteral("12345"));
    EXPECT_EQ(manager->lastCalledNumber(), std::nullopt);
    EXPECT_TRUE(manager->callHistory().isEmpty());
    ASSERT_EQ(rig.desktop->notifications.size(), 1);
    EXPECT_EQ(rig.desktop->notifications[0].body, QStringLiteral("Invalid phone number: 12345"));
}

// --- Successful calls --------------------------------------------------------------------------

TEST(CallManagerCall, TelUrlWithBlanks_RecordsNormalisedNumberClockAndProvider)
{
    CallManagerRig rig;
    const auto manager = rig.makeManager();
    const QDateTime when(QDate(2025, 7, 4), QTime(12, 0, 5), QTimeZone::utc());
    rig.clock->set(when);

    manager->call(QStringLiteral(" tel:+1 555 123 4567 "));

    ASSERT_EQ(manager->callHistory().size(), 1);
    const CallManager::CallRecord &record = manager->callHistory()[0];
    EXPECT_EQ(record.number, QStringLiteral("+15551234567"));
    EXPECT_EQ(record.timestamp, when);
    EXPECT_EQ(record.provider, Provider::googleVoice);
    EXPECT_FALSE(record.id.isNull());
    EXPECT_EQ(manager->lastCalledNumber(), QStringLiteral("+15551234567"));
}

TEST(CallManagerCall, ProviderChangedBetweenCalls_EachRecordKeepsItsOwn)
{
    CallManagerRig rig;
    const auto manager = rig.makeManager();
    manager->call(QStringLiteral("5551234567"));
    manager->setProvider(Provider::browserTel);
    rig.clock->advanceSeconds(60);
    manager->call(QStringLiteral("5559876543"));

    const auto history = manager->callHistory();
    ASSERT_EQ(history.size(), 2);
    EXPECT_EQ(history[0].number, QStringLiteral("5559876543"));
    EXPECT_EQ(history[0].provider, Provider::browserTel);
    EXPECT_EQ(history[0].timestamp, rig.clock->now());
    EXPECT_EQ(history[1].provider, Provider::googleVoice);
    EXPECT_EQ(history[1].timestamp, rig.clock->now().addSecs(-60));
}

TEST(CallManagerCall, SameNumberTwice_TwoRecordsWithDifferentIds)
{
    CallManagerRig rig;
    const auto manager = rig.makeManager();
    manager->call(QStringLiteral("5551234567"));
    manager->call(QStringLiteral("5551234567"));
    const auto history = manager->callHistory();
    ASSERT_EQ(history.size(), 2);
    EXPECT_EQ(history[0].number, history[1].number);
    EXPECT_NE(history[0].id, history[1].id);
}

TEST(CallManagerHistory, FiftyOneCalls_OldestDroppedAtFifty)
{
    CallManagerRig rig;
    const auto manager = rig.makeManager();
    QSet<QUuid> ids;
    for (int i = 0; i < 51; ++i) {
        manager->call(QStringLiteral("555%1").arg(1000000 + i));
        ids.insert(manager->callHistory()[0].id);
    }
    auto history = manager->callHistory();
    ASSERT_EQ(history.size(), 50);
    EXPECT_EQ(ids.size(), 51);
    EXPECT_EQ(history.front().number, QStringLiteral("5551000050")); // newest first
    EXPECT_EQ(history.back().number, QStringLiteral("5551000001"));  // the first call's is gone
    for (const auto &record : history)
        EXPECT_NE(record.number, QStringLiteral("5551000000"));

    manager->call(QStringLiteral("5552000000"));
    history = manager->callHistory();
    ASSERT_EQ(history.size(), 50);
    EXPECT_EQ(history.front().number, QStringLiteral("5552000000"));
    EXPECT_EQ(history.back().number, QStringLiteral("5551000002"));
}

TEST(CallManagerHistory, NumberOverMaximumLength_NeverRecorded)
{
    CallManagerRig rig;
    const auto manager = rig.makeManager();
    manager->addToHistory(CallManager::CallRecord(QString(64, u'5'), manager->now(), Provider::googleVoice));
    ASSERT_EQ(manager->callHistory().size(), 1);

    manager->addToHistory(CallManager::CallRecord(QString(65, u'5'), manager->now(), Provider::googleVoice));
    manager->addToHistory(CallManager::CallRecord(QString(10 * 1024 * 1024, u'5'), manager->now(), Provider::googleVoice));

    ASSERT_EQ(manager->callHistory().size(), 1);
    EXPECT_EQ(manager->callHistory().front().number, QString(64, u'5'));
}

// --- Change announcements ----------------------------------------------------------------------

// Records, for each signal, what the getter returned at the moment it fired.
TEST(CallManagerSignals, LastCalledNumber_AnnouncedBeforeAndReportedAfter)
{
    CallManagerRig rig;
    const auto manager = rig.makeManager();
    QStringList log;
    auto current = [&] { return manager->lastCalledNumber().value_or(QStringLiteral("none")); };
    QObject::connect(manager.get(), &CallManager::objectWillChange, [&] {
        if (log.isEmpty())
            log << QStringLiteral("objectWillChange:") + current();
    });
    QObject::connect(manager.get(), &CallManager::lastCalledNumberWillChange,
                     [&](const std::optional<QString> &next) {
                         log << QStringLiteral("willChange:") + current() + QStringLiteral("->") + next.value_or("none");
                     });
    QObject::connect(manager.get(), &CallManager::lastCalledNumberChanged, [&](const std::optional<QString> &value) {
        log << QStringLiteral("changed:") + current() + QStringLiteral("=") + value.value_or("none");
    });

    manager->call(QStringLiteral("5551234567"));

    EXPECT_EQ(log, QStringList({"objectWillChange:none", "willChange:none->5551234567",
                                "changed:5551234567=5551234567"}));
}

TEST(CallManagerSignals, CallHistory_AnnouncedBeforeAndReportedAfter)
{
    CallManagerRig rig;
    const auto manager = rig.makeManager();
    QList<qsizetype> sizeAtObjectWillChange;
    QList<qsizetype> sizeAtWillChange;
    QList<qsizetype> sizeAtChanged;
    QObject::connect(manager.get(), &CallManager::objectWillChange,
                     [&] { sizeAtObjectWillChange << manager->callHistory().size(); });
    QObject::connect(manager.get(), &CallManager::callHistoryWillChange,
                     [&] { sizeAtWillChange << manager->callHistory().size(); });
    QObject::connect(manager.get(), &CallManager::callHistoryChanged,
                     [&](const QList<CallManager::CallRecord> &value) {
                         EXPECT_EQ(value.size(), manager->callHistory().size());
                         sizeAtChanged << value.size();
                     });

    manager->call(QStringLiteral("5551234567"));

    // One announcement for the last number, one for the history.
    EXPECT_EQ(sizeAtObjectWillChange, QList<qsizetype>({0, 0}));
    EXPECT_EQ(sizeAtWillChange, QList<qsizetype>({0}));
    EXPECT_EQ(sizeAtChanged, QList<qsizetype>({1}));
}

TEST(CallManagerSignals, SelectedProvider_AnnouncedBeforeAndReportedAfter)
{
    CallManagerRig rig;
    const auto manager = rig.makeManager();
    QList<Provider> atObjectWillChange;
    QList<std::pair<Provider, Provider>> atWillChange; // getter, announced value
    QList<std::pair<Provider, Provider>> atChanged;    // getter, reported value
    QObject::connect(manager.get(), &CallManager::objectWillChange,
                     [&] { atObjectWillChange << manager->selectedProvider(); });
    QObject::connect(manager.get(), &CallManager::selectedProviderWillChange,
                     [&](Provider next) { atWillChange << std::pair{manager->selectedProvider(), next}; });
    QObject::connect(manager.get(), &CallManager::selectedProviderChanged,
                     [&](Provider value) { atChanged << std::pair{manager->selectedProvider(), value}; });

    manager->setProvider(Provider::browserTel);

    EXPECT_EQ(atObjectWillChange, QList<Provider>({Provider::googleVoice}));
    EXPECT_EQ(atWillChange, (QList<std::pair<Provider, Provider>>{{Provider::googleVoice, Provider::browserTel}}));
    EXPECT_EQ(atChanged, (QList<std::pair<Provider, Provider>>{{Provider::browserTel, Provider::browserTel}}));
}

// --- The dial dialog ---------------------------------------------------------------------------

struct DialRow
{
    const char *name;
    std::optional<const char *> answer; // no value: the user pressed Cancel
    int expectedCalls;
    std::optional<const char *> expectedNotificationBody;
};

const DialRow kDialRows[] = {
    {"Number_OneCallPlaced", "5551234567", 1, "Calling (555) 123-4567..."},
    {"EmptyText_Nothing", "", 0, std::nullopt},
    {"Cancel_Nothing", std::nullopt, 0, std::nullopt},
    {"OnlyBlanks_InvalidNotification", "   ", 0, "Invalid phone number:    "},
};

using DialDialogTest = ::testing::TestWithParam<DialRow>;

TEST_P(DialDialogTest, ActsOnAnswer)
{
    CallManagerRig rig;
    const auto manager = rig.makeManager();
    const DialRow &row = GetParam();
    rig.desktop->queueDialAnswer(row.answer ? std::optional(QString::fromUtf8(*row.answer)) : std::nullopt);

    manager->showDialDialog();

    EXPECT_EQ(rig.desktop->dialDialogRuns, 1);
    EXPECT_EQ(manager->callHistory().size(), row.expectedCalls);
    if (row.expectedNotificationBody) {
        ASSERT_EQ(rig.desktop->notifications.size(), 1);
        EXPECT_EQ(rig.desktop->notifications[0].body, QString::fromUtf8(*row.expectedNotificationBody));
    } else {
        EXPECT_TRUE(rig.desktop->notifications.isEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, DialDialogTest, ::testing::ValuesIn(kDialRows), dialwise::testing::RowName());

TEST(CallManagerForwarding, NormalizeAndDisplay_SameAsPhoneFunctions)
{
    CallManagerRig rig;
    const auto manager = rig.makeManager();
    EXPECT_EQ(manager->normalizePhoneNumber(QStringLiteral("tel: +15551234567")), QStringLiteral("15551234567"));
    EXPECT_EQ(manager->normalizePhoneNumber(QStringLiteral("123456")), std::nullopt);
    EXPECT_EQ(manager->formatForDisplay(QStringLiteral("15551234567")), QStringLiteral("+1 (555) 123-4567"));
}

} // namespace

namespace {

TEST(CallManagerRecord, RecordCall_SetsLastNumberAndPrependsStampedRecord)
{
    CallManagerRig rig;
    const auto manager = rig.makeManager();
    manager->recordCall(QStringLiteral("+12025550100"), Provider::browserTel);
    rig.clock->advanceSeconds(90);
    manager->recordCall(QStringLiteral("2025550123"), Provider::googleVoice);

    EXPECT_EQ(manager->lastCalledNumber(), std::optional<QString>(QStringLiteral("2025550123")));
    const QList<CallManager::CallRecord> history = manager->callHistory();
    ASSERT_EQ(history.size(), 2);
    EXPECT_EQ(history[0].number, QStringLiteral("2025550123"));
    EXPECT_EQ(history[0].provider, Provider::googleVoice);
    EXPECT_EQ(history[0].timestamp, rig.clock->now());
    EXPECT_EQ(history[1].number, QStringLiteral("+12025550100"));
    EXPECT_EQ(history[1].provider, Provider::browserTel);
    EXPECT_EQ(history[1].timestamp, rig.clock->now().addSecs(-90));
    // Recording opens nothing and says nothing: placing the call is the caller's part.
    EXPECT_TRUE(rig.desktop->openedUrls.isEmpty());
    EXPECT_TRUE(rig.desktop->notifications.isEmpty());
}

TEST(CallManagerShared, SetShared_AnswersTheInstalledManager)
{
    CallManagerRig rig;
    const auto manager = rig.makeManager();
    CallManager::setShared(*manager);
    EXPECT_EQ(&CallManager::shared(), manager.get());
    manager->recordCall(QStringLiteral("2025550123"), Provider::googleVoice);
    EXPECT_EQ(CallManager::shared().callHistory().size(), 1);
}

} // namespace
