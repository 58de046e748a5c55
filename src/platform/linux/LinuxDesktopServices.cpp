#include "platform/linux/LinuxDesktopServices.h"

#include "platform/linux/NotificationCall.h"
#include "platform/linux/NotificationText.h"

#include <QGuiApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>
#include <QLoggingCategory>
#include <QVariantMap>

Q_LOGGING_CATEGORY(lcDesktop, "dialwise.desktop")

namespace dialwise {

void postDesktopNotification(const QDBusConnection &bus, const QString &title, const QString &body)
{
    if (!bus.isConnected()) {
        qCDebug(lcDesktop) << "no session bus; notification not shown:" << title << body;
        return;
    }
    // Ask what the server renders first, without blocking: a body like "<555>" must reach the
    // user as typed, which needs escaping only where the server parses markup.
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(notifications::methodCall(notifications::kGetCapabilitiesMethod)));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, [bus, title, body](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        QDBusPendingReply<QStringList> capabilities = *call;
        if (capabilities.isError()) {
            qCDebug(lcDesktop) << "no notification server:" << capabilities.error().message();
            return;
        }
        QDBusMessage notify = notifications::methodCall(notifications::kNotifyMethod);
        notify << QString::fromLatin1(notifications::kAppName) << 0u << QString() << title
               << notificationBody(body, capabilities.value()) << QStringList() << QVariantMap()
               << notifications::kServerDefaultTimeout;
        QDBusConnection(bus).call(notify, QDBus::NoBlock);
    });
}

LinuxDesktopServices::LinuxDesktopServices(DialDialogRunner dialDialog, QDBusConnection bus)
    : m_dialDialog(std::move(dialDialog))
    , m_bus(std::move(bus))
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
    if (!m_dialDialog)
        return std::nullopt;
    return m_dialDialog();
}

} // namespace dialwise
