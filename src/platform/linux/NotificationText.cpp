#include "platform/linux/NotificationText.h"

#include "platform/linux/NotificationNames.h"

namespace dialwise {

QString escapeNotificationMarkup(const QString &body)
{
    QString escaped;
    escaped.reserve(body.size());
    for (QChar c : body) {
        switch (c.unicode()) {
        case u'&':
            escaped += QStringLiteral("&amp;");
            break;
        case u'<':
            escaped += QStringLiteral("&lt;");
            break;
        case u'>':
            escaped += QStringLiteral("&gt;");
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

QString notificationBody(const QString &body, const QStringList &serverCapabilities)
{
    if (serverCapabilities.contains(QLatin1String(notifications::kBodyMarkupCapability)))
        return escapeNotificationMarkup(body);
    return body;
}

} // namespace dialwise
