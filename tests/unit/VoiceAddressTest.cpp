// Where the web app lives: the fixed address, the DIALWISE_VOICE_URL override and its rejects.
#include "calling/VoiceAddress.h"
#include "tests/support/NamedRows.h"
#include "tests/unit/QtPrinting.h"

#include <gtest/gtest.h>

#include <QByteArray>

#include <optional>
#include <string>

namespace voice = dialwise::voice;

namespace {

// Sets or clears DIALWISE_VOICE_URL for one test and puts back whatever was there before, so
// tests never leak an override into each other.
class ScopedVoiceUrl
{
public:
    explicit ScopedVoiceUrl(std::optional<QByteArray> value)
        : m_hadValue(qEnvironmentVariableIsSet(voice::kBaseUrlVariable))
        , m_previous(qgetenv(voice::kBaseUrlVariable))
    {
        if (value)
            qputenv(voice::kBaseUrlVariable, *value);
        else
            qunsetenv(voice::kBaseUrlVariable);
    }
    ~ScopedVoiceUrl()
    {
        if (m_hadValue)
            qputenv(voice::kBaseUrlVariable, m_previous);
        else
            qunsetenv(voice::kBaseUrlVariable);
    }
    ScopedVoiceUrl(const ScopedVoiceUrl &) = delete;
    ScopedVoiceUrl &operator=(const ScopedVoiceUrl &) = delete;

private:
    bool m_hadValue;
    QByteArray m_previous;
};

struct BaseRow
{
    const char *name;
    std::optional<const char *> variable; // no value: unset
    const char *expectedNewCall;          // for dial digits 15551234567
};

const BaseRow kBaseRows[] = {
    {"Unset_GoogleVoice", std::nullopt, "https://voice.google.com/u/0/calls?a=nc,%2B15551234567"},
    {"Empty_GoogleVoice", "", "https://voice.google.com/u/0/calls?a=nc,%2B15551234567"},
    {"LocalHttpWithPort_Replaces", "http://127.0.0.1:8123", "http://127.0.0.1:8123/u/0/calls?a=nc,%2B15551234567"},
    {"TrailingSlash_Replaces", "http://127.0.0.1:8123/", "http://127.0.0.1:8123/u/0/calls?a=nc,%2B15551234567"},
    {"HttpsHost_Replaces", "https://voice.example.test", "https://voice.example.test/u/0/calls?a=nc,%2B15551234567"},
    {"NoScheme_FallsBack", "127.0.0.1:8123", "https://voice.google.com/u/0/calls?a=nc,%2B15551234567"},
    {"Ftp_FallsBack", "ftp://127.0.0.1:8123", "https://voice.google.com/u/0/calls?a=nc,%2B15551234567"},
    {"WithPath_FallsBack", "http://127.0.0.1:8123/voice", "https://voice.google.com/u/0/calls?a=nc,%2B15551234567"},
    {"WithQuery_FallsBack", "http://127.0.0.1:8123?x=1", "https://voice.google.com/u/0/calls?a=nc,%2B15551234567"},
    {"WithUser_FallsBack", "http://me@127.0.0.1:8123", "https://voice.google.com/u/0/calls?a=nc,%2B15551234567"},
    {"Garbage_FallsBack", "::not a url::", "https://voice.google.com/u/0/calls?a=nc,%2B15551234567"},
    {"NoHost_FallsBack", "http://", "https://voice.google.com/u/0/calls?a=nc,%2B15551234567"},
    {"Ipv6Loopback_Replaces", "http://[::1]:8123", "http://[::1]:8123/u/0/calls?a=nc,%2B15551234567"},
    {"UpperCaseScheme_Replaces", "HTTP://127.0.0.1:8123", "http://127.0.0.1:8123/u/0/calls?a=nc,%2B15551234567"},
    {"SurroundingBlanks_Replaces", " http://127.0.0.1:8123 ", "http://127.0.0.1:8123/u/0/calls?a=nc,%2B15551234567"},
    {"PortOutOfRange_FallsBack", "http://127.0.0.1:99999", "https://voice.google.com/u/0/calls?a=nc,%2B15551234567"},
    {"WithFragment_FallsBack", "http://127.0.0.1:8123#x", "https://voice.google.com/u/0/calls?a=nc,%2B15551234567"},
};

using VoiceBaseTest = ::testing::TestWithParam<BaseRow>;

TEST_P(VoiceBaseTest, NewCallAddressUsesExpectedBase)
{
    const ScopedVoiceUrl scoped(GetParam().variable ? std::optional(QByteArray(*GetParam().variable)) : std::nullopt);
    const std::optional<QUrl> url = voice::newCallUrl(voice::baseUrlFromEnvironment(), QStringLiteral("15551234567"));
    ASSERT_NE(url, std::nullopt);
    EXPECT_EQ(url->toString(QUrl::FullyEncoded), QString::fromUtf8(GetParam().expectedNewCall));
}

INSTANTIATE_TEST_SUITE_P(Rows, VoiceBaseTest, ::testing::ValuesIn(kBaseRows), dialwise::testing::RowName());

TEST(VoiceAddress, CallsPage_UnderTheBase)
{
    EXPECT_EQ(voice::callsPageUrl(voice::defaultBaseUrl())->toString(QUrl::FullyEncoded),
              QStringLiteral("https://voice.google.com/u/0/calls"));
    EXPECT_EQ(voice::callsPageUrl(QUrl(QStringLiteral("http://127.0.0.1:8123")))->toString(QUrl::FullyEncoded),
              QStringLiteral("http://127.0.0.1:8123/u/0/calls"));
}

TEST(VoiceAddress, BaseFromEnvironment_ReadWhenAsked)
{
    const ScopedVoiceUrl scoped(QByteArray("http://127.0.0.1:8123"));
    const QUrl base = voice::baseUrlFromEnvironment();
    qunsetenv(voice::kBaseUrlVariable);
    // The value read at start stays the base; later changes to the environment do not move it.
    EXPECT_EQ(voice::newCallUrl(base, u"1")->toString(QUrl::FullyEncoded),
              QStringLiteral("http://127.0.0.1:8123/u/0/calls?a=nc,%2B1"));
}

TEST(VoiceAddress, NonAsciiDigits_NoAddress)
{
    const QUrl base = voice::defaultBaseUrl();
    EXPECT_EQ(voice::newCallUrl(base, QStringLiteral("1\uFF15\uFF15\uFF15\uFF11\uFF12\uFF13\uFF14\uFF15\uFF16\uFF17")),
              std::nullopt);
    EXPECT_EQ(voice::newCallUrl(base, QStringLiteral("\u0665\u0665\u0665\u0661\u0662\u0663\u0664")), std::nullopt);
}

struct NewCallRow
{
    const char *name;
    const char *url;
    bool isNewCall;
};

const NewCallRow kNewCallRows[] = {
    {"NewCall_Google", "https://voice.google.com/u/0/calls?a=nc,%2B12025550123", true},
    {"NewCall_StandIn", "http://127.0.0.1:8123/u/0/calls?a=nc,%2B12025550123", true},
    {"NewCall_NoDigits", "https://voice.google.com/u/0/calls?a=nc,%2B", true},
    {"CallsPage", "https://voice.google.com/u/0/calls", false},
    {"OtherQuery", "https://voice.google.com/u/0/calls?a=x", false},
    {"OtherPath", "https://voice.google.com/u/0/messages?a=nc,%2B1", false},
    {"NoComma", "https://voice.google.com/u/0/calls?a=nc", false},
    {"Empty", "", false},
};

using NewCallAddressTest = ::testing::TestWithParam<NewCallRow>;

TEST_P(NewCallAddressTest, RecognisesNewCallAddresses)
{
    EXPECT_EQ(voice::isNewCallAddress(QUrl(QString::fromUtf8(GetParam().url))), GetParam().isNewCall);
}

INSTANTIATE_TEST_SUITE_P(Rows, NewCallAddressTest, ::testing::ValuesIn(kNewCallRows), dialwise::testing::RowName());

TEST(VoiceAddress, NewCallAddress_RoundTrip)
{
    const std::optional<QUrl> url = voice::newCallUrl(voice::defaultBaseUrl(), u"12025550123");
    ASSERT_NE(url, std::nullopt);
    EXPECT_TRUE(voice::isNewCallAddress(*url));
    EXPECT_FALSE(voice::isNewCallAddress(*voice::callsPageUrl(voice::defaultBaseUrl())));
}

TEST(VoiceAddress, ParseBaseUrl_KeepsPortDropsSlash)
{
    const auto parsed = voice::parseBaseUrl(u"http://127.0.0.1:8123/");
    ASSERT_NE(parsed, std::nullopt);
    EXPECT_EQ(parsed->port(), 8123);
    EXPECT_EQ(parsed->path(), QString());
    EXPECT_EQ(voice::parseBaseUrl(u"ftp://127.0.0.1"), std::nullopt);
}

} // namespace
