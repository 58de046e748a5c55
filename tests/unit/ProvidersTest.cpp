// What each provider hands to the desktop: the address it opens and the notification it shows.
#include "calling/VoiceAddress.h"
#include "tests/fakes/CallManagerRig.h"
#include "tests/support/NamedRows.h"
#include "tests/unit/QtPrinting.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

using dialwise::testing::CallManagerRig;
using Provider = dialwise::CallManager::Provider;

namespace {

struct ProviderRow
{
    const char *name;
    Provider provider;
    const char16_t *text;
    std::optional<const char *> expectedUrl;                // no value: nothing opened
    std::optional<const char16_t *> expectedNotification;   // body; no value: none shown
    const char16_t *expectedTitle = u"Dialwise \u2192 Google Voice";
};

const ProviderRow kProviderRows[] = {
    {"GoogleVoice_TenDigits", Provider::googleVoice, u"5551234567",
     "https://voice.google.com/u/0/calls?a=nc,%2B15551234567", u"Calling (555) 123-4567..."},
    {"GoogleVoice_PlusOneEleven", Provider::googleVoice, u"+15551234567",
     "https://voice.google.com/u/0/calls?a=nc,%2B15551234567", u"Calling +1 (555) 123-4567..."},
    {"GoogleVoice_International", Provider::googleVoice, u"+442071234567",
     "https://voice.google.com/u/0/calls?a=nc,%2B442071234567", u"Calling +442071234567..."},
    {"GoogleVoice_FormattedText", Provider::googleVoice, u"(202) 555-0123",
     "https://voice.google.com/u/0/calls?a=nc,%2B12025550123", u"Calling (202) 555-0123..."},
    {"GoogleVoice_SevenDigits", Provider::googleVoice, u"5550123",
     "https://voice.google.com/u/0/calls?a=nc,%2B5550123", u"Calling 5550123..."},
    {"GoogleVoice_FullWidthDigits_NoAddress", Provider::googleVoice,
     u"\uFF15\uFF15\uFF15\uFF11\uFF12\uFF13\uFF14\uFF15\uFF16\uFF17", std::nullopt, std::nullopt},
    {"GoogleVoice_Invalid", Provider::googleVoice, u"12345", std::nullopt, u"Invalid phone number: 12345",
     u"Dialwise"},
    {"Browser_PlusOneEleven", Provider::browserTel, u"+15551234567", "tel:+15551234567", std::nullopt},
    {"Browser_TelUrlText", Provider::browserTel, u"tel:555-123-4567", "tel:5551234567", std::nullopt},
    // The number goes out exactly as written; only the URL's own encoding is applied.
    {"Browser_FullWidthDigits_SentAsWritten", Provider::browserTel, u"\uFF15\uFF15\uFF15\uFF11\uFF12\uFF13\uFF14",
     "tel:%EF%BC%95%EF%BC%95%EF%BC%95%EF%BC%91%EF%BC%92%EF%BC%93%EF%BC%94", std::nullopt},
    {"Browser_Invalid", Provider::browserTel, u" 12-34 ", std::nullopt, u"Invalid phone number:  12-34 ", u"Dialwise"},
};

class ProviderTest : public ::testing::TestWithParam<ProviderRow>
{
protected:
    // The manager reads nothing from the environment: a stray override must not matter.
    void SetUp() override { qputenv(dialwise::voice::kBaseUrlVariable, "http://127.0.0.1:9"); }
    void TearDown() override { qunsetenv(dialwise::voice::kBaseUrlVariable); }
};

TEST_P(ProviderTest, OpensAndNotifiesAsExpected)
{
    const ProviderRow &row = GetParam();
    CallManagerRig rig;
    const auto manager = rig.makeManager();
    manager->setProvider(row.provider);
    const QString text = QString::fromUtf16(row.text);

    manager->call(text);

    if (row.expectedUrl) {
        ASSERT_EQ(rig.desktop->openedUrls.size(), 1);
        EXPECT_EQ(rig.desktop->openedUrls[0].toString(QUrl::FullyEncoded), QString::fromUtf8(*row.expectedUrl));
    } else {
        EXPECT_TRUE(rig.desktop->openedUrls.isEmpty());
    }
    if (row.expectedNotification) {
        ASSERT_EQ(rig.desktop->notifications.size(), 1);
        EXPECT_EQ(rig.desktop->notifications[0].title, QString::fromUtf16(row.expectedTitle));
        EXPECT_EQ(rig.desktop->notifications[0].body, QString::fromUtf16(*row.expectedNotification));
    } else {
        EXPECT_TRUE(rig.desktop->notifications.isEmpty());
    }
    // A number that normalises is recorded whatever the provider did with it.
    const bool valid = manager->normalizePhoneNumber(text).has_value();
    EXPECT_EQ(manager->callHistory().size(), valid ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(Rows, ProviderTest, ::testing::ValuesIn(kProviderRows), dialwise::testing::RowName());

TEST(ProviderOverride, GivenVoiceBase_AddressUsesIt)
{
    CallManagerRig rig;
    rig.voiceBase = QUrl(QStringLiteral("http://127.0.0.1:8123"));
    rig.makeManager()->call(QStringLiteral("5551234567"));
    ASSERT_EQ(rig.desktop->openedUrls.size(), 1);
    EXPECT_EQ(rig.desktop->openedUrls[0].toString(QUrl::FullyEncoded),
              QStringLiteral("http://127.0.0.1:8123/u/0/calls?a=nc,%2B15551234567"));
}

} // namespace
