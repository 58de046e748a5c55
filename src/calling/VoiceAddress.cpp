#include "calling/VoiceAddress.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcVoiceAddress, "dialwise.voice")

namespace dialwise::voice {

std::optional<QUrl> parseBaseUrl(QStringView text)
{
    QUrl url(text.toString().trimmed(), QUrl::StrictMode);
    if (!url.isValid() || (url.scheme() != u"https" && url.scheme() != u"http") || url.host().isEmpty())
        return std::nullopt;
    if (!url.userInfo().isEmpty() || url.hasQuery() || url.hasFragment() || (!url.path().isEmpty() && url.path() != u"/"))
        return std::nullopt;
    url.setPath(QString());
    return url;
}

QUrl defaultBaseUrl()
{
    return QUrl(QString::fromLatin1(kDefaultBaseUrl));
}

QUrl baseUrlFromEnvironment()
{
    const QString override = qEnvironmentVariable(kBaseUrlVariable);
    if (!override.isEmpty()) {
        if (const auto parsed = parseBaseUrl(override))
            return *parsed;
        qCWarning(lcVoiceAddress) << kBaseUrlVariable << "is not scheme://host[:port], ignoring:" << override;
    }
    return defaultBaseUrl();
}

std::optional<QUrl> callsPageUrl(const QUrl &base)
{
    QUrl url(base.toString(QUrl::FullyEncoded) + QLatin1String(kCallsPath), QUrl::StrictMode);
    if (!url.isValid())
        return std::nullopt;
    return url;
}

std::optional<QUrl> newCallUrl(const QUrl &base, QStringView dialDigits)
{
    for (QChar c : dialDigits) {
        if (c.unicode() >= 0x80)
            return std::nullopt;
    }
    QUrl url(base.toString(QUrl::FullyEncoded) + QLatin1String(kNewCallPathAndQuery) + dialDigits.toString(),
             QUrl::StrictMode);
    if (!url.isValid())
        return std::nullopt;
    return url;
}

bool isNewCallAddress(const QUrl &url)
{
    return url.path() == QLatin1String(kCallsPath) && url.query(QUrl::FullyEncoded).startsWith(u"a=nc,");
}

} // namespace dialwise::voice
