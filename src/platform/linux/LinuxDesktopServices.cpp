#include "LinuxDesktopServices.h"

#include "DialDialog.h"

#include <QApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>
#include <QLoggingCategory>
#include <QVariantMap>

Q_LOGGING_CATEGORY(lcDesktop, "dialwise.desktop")

namespace dialwise {
namespace {

constexpr char kNotificationsService[] = "org.freedesktop.Notifications";
constexpr char kNotificationsPath[] = "/org/freedesktop/Notifications";
constexpr char kNotificationsInterface[] = "org.freedesktop.Notifications";
// Let the server decide how long the notification stays, as the user configured it.
constexpr int kServerDefaultTimeout = -1;

QDBusMessage notificationsCall(const char *method)
{
    return QDBusMessage::createMethodCall(QString::fromLatin1(kNotificationsService),
                                          QString::fromLatin1(kNotificationsPath),
                                          QString::fromLatin1(kNotificationsInterface), QString::fromLatin1(method));
}

} // namespace

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

void postDesktopNotification(const QDBusConnection &bus, const QString &title, const QString &body)
{
    if (!bus.isConnected()) {
        qCDebug(lcDesktop) << "no session bus; notification not shown:" << title << body;
        return;
    }
    // Ask what the server renders first, without blocking: a body like "<555>" must reach the
    // user as typed, which needs escaping only where the server parses markup.
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(notificationsCall("GetCapabilities")));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, [bus, title, body](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        QDBusPendingReply<QStringList> capabilities = *call;
        if (capabilities.isError()) {
            qCDebug(lcDesktop) << "no notification server:" << capabilities.error().message();
            return;
        }
        const bool markup = capabilities.value().contains(QStringLiteral("body-markup"));
        QDBusMessage notify = notificationsCall("Notify");
        notify << QStringLiteral("Dialwise") << 0u << QString() << title
               << (markup ? escapeNotificationMarkup(body) : body) << QStringList() << QVariantMap()
               << kServerDefaultTimeout;
        QDBusConnection(bus).call(notify, QDBus::NoBlock);
    });
}

LinuxDesktopServices::LinuxDesktopServices(QDBusConnection bus)
    : m_bus(std::move(bus))
{
}

void LinuxDesktopServices::openUrl(const QUrl &url)
{
    if (!QDesktopServices::openUrl(url))
        qCDebug(lcDesktop) << "no handler opened" << url.toString();
}

void LinuxDesktopServices::showNotification(const QString &title, const QString &body)
{
    postDesktopNotification(m_bus, title, body);
}

std::optional<QString> LinuxDesktopServices::runDialDialog()
{
    DialDialog dialog;
    return dialog.ask();
}

} // namespace dialwise
