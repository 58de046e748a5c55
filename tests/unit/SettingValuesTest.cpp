// Yes/no settings as people write them in dialwise.conf, and the one warning for anything else.
#include "calling/SettingValues.h"
#include "tests/fakes/MemorySettingsStore.h"
#include "tests/support/NamedRows.h"

#include <gtest/gtest.h>

#include <QLoggingCategory>
#include <QStringList>

#include <optional>

using dialwise::testing::MemorySettingsStore;
namespace settings = dialwise::settings;

namespace {

// Warnings of the dialwise.settings category, as "category: text".
QStringList g_warnings;

void recordWarning(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtWarningMsg)
        g_warnings.append(QString::fromLatin1(context.category) + QStringLiteral(": ") + message);
}

struct BooleanRow
{
    const char *name;
    const char *stored;      // nullptr: the key is not in the file
    bool fallback;
    bool expected;
    const char *warning;     // nullptr: nothing may be said
};

class SettingValuesTest : public ::testing::TestWithParam<BooleanRow>
{
protected:
    void SetUp() override
    {
        g_warnings.clear();
        m_previous = qInstallMessageHandler(recordWarning);
    }
    void TearDown() override { qInstallMessageHandler(m_previous); }

private:
    QtMessageHandler m_previous = nullptr;
};

TEST_P(SettingValuesTest, booleanValue_readsWhatPeopleWrite)
{
    const BooleanRow &row = GetParam();
    MemorySettingsStore store;
    if (row.stored)
        store.values.insert(QStringLiteral("detectPhoneLinks"), QString::fromUtf8(row.stored));

    EXPECT_EQ(settings::booleanValue(store, QStringLiteral("detectPhoneLinks"), row.fallback), row.expected);
    if (row.warning)
        EXPECT_EQ(g_warnings, QStringList{QString::fromUtf8(row.warning)});
    else
        EXPECT_TRUE(g_warnings.isEmpty()) << g_warnings.join(u'\n').toStdString();
}

constexpr char kMaybeWarning[] =
    "dialwise.settings: ignoring detectPhoneLinks=maybe in dialwise.conf: not true/false, yes/no, on/off or 1/0; "
    "using false";

INSTANTIATE_TEST_SUITE_P(
    Rows, SettingValuesTest,
    ::testing::Values(
        BooleanRow{"missing_fallback", nullptr, false, false, nullptr},
        BooleanRow{"missingFallbackTrue_fallback", nullptr, true, true, nullptr},
        BooleanRow{"true", "true", false, true, nullptr},
        BooleanRow{"TRUE", "TRUE", false, true, nullptr},
        BooleanRow{"True", "True", false, true, nullptr},
        BooleanRow{"yes", "yes", false, true, nullptr},
        BooleanRow{"Yes", "Yes", false, true, nullptr},
        BooleanRow{"on", "on", false, true, nullptr},
        BooleanRow{"ON", "ON", false, true, nullptr},
        BooleanRow{"one", "1", false, true, nullptr},
        BooleanRow{"false", "false", true, false, nullptr},
        BooleanRow{"FALSE", "FALSE", true, false, nullptr},
        BooleanRow{"no", "no", true, false, nullptr},
        BooleanRow{"No", "No", true, false, nullptr},
        BooleanRow{"off", "off", true, false, nullptr},
        BooleanRow{"Off", "Off", true, false, nullptr},
        BooleanRow{"zero", "0", true, false, nullptr},
        BooleanRow{"blanksAround", "  yes ", false, true, nullptr},
        BooleanRow{"maybe_warnsAndFallsBack", "maybe", false, false, kMaybeWarning},
        BooleanRow{"empty_warnsAndFallsBack", "", true, true,
                   "dialwise.settings: ignoring detectPhoneLinks= in dialwise.conf: not true/false, yes/no, on/off or "
                   "1/0; using true"},
        BooleanRow{"two_notOne", "2", false, false,
                   "dialwise.settings: ignoring detectPhoneLinks=2 in dialwise.conf: not true/false, yes/no, on/off or "
                   "1/0; using false"},
        BooleanRow{"yesPlease_notYes", "yes please", false, false,
                   "dialwise.settings: ignoring detectPhoneLinks=yes please in dialwise.conf: not true/false, yes/no, "
                   "on/off or 1/0; using false"}), dialwise::testing::RowName());

TEST(SettingValuesParseTest, parseBoolean_noValueForOtherWords)
{
    EXPECT_EQ(settings::parseBoolean(u"y"), std::nullopt);
    EXPECT_EQ(settings::parseBoolean(u"enable"), std::nullopt);
    EXPECT_EQ(settings::parseBoolean(u"01"), std::nullopt);
    EXPECT_EQ(settings::parseBoolean(u"o n"), std::nullopt);
    EXPECT_EQ(settings::parseBoolean(u"yEs"), std::optional<bool>(true));
    EXPECT_EQ(settings::parseBoolean(u"oFF"), std::optional<bool>(false));
}

} // namespace
