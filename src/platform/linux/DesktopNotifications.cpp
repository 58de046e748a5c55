#include "platform/linux/DesktopNotifications.h"

#include "platform/linux/NotificationCall.h"
#include "platform/linux/NotificationText.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QLoggingCategory>
#include <QVariantMap>

#include <algorithm>
#include <iterator>

Q_LOGGING_CATEGORY(lcNotifications, "dialwise.desktop.notifications")

namespace dialwise {
namespace {

// The picture as the notification service's raw image: width, height, row stride, alpha,
// bits per sample, channels, then the bytes, RGBA in that order.
QVariant imageHint(const QImage &picture)
{
    QImage image = picture;
    if (image.width() > DesktopNotifications::kMaxImageSide || image.height() > DesktopNotifications::kMaxImageSide)
        image = image.scaled(DesktopNotifications::kMaxImageSide, DesktopNotifications::kMaxImageSide, Qt::KeepAspectRatio,
                             Qt::SmoothTransformation);
    image = image.convertToFormat(QImage::Format_RGBA8888);
    const QByteArray bytes(reinterpret_cast<const char *>(image.constBits()), image.sizeInBytes());
    QDBusArgument argument;
    argument.beginStructure();
    argument << image.width() << image.height() << int(image.bytesPerLine()) << true << 8 << 4 << bytes;
    argument.endStructure();
    return QVariant::fromValue(argument);
}

} // namespace

DesktopNotifications::DesktopNotifications(QDBusConnection bus, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
{
    if (!m_bus.isConnected())
        return;
    const QString service = QString::fromLatin1(notifications::kService);
    const QString path = QString::fromLatin1(notifications::kPath);
    const QString interface = QString::fromLatin1(notifications::kInterface);
    m_bus.connect(service, path, interface, QString::fromLatin1(notifications::kActionInvokedSignal), this,
                  SLOT(onActionInvoked(uint, QString)));
    m_bus.connect(service, path, interface, QString::fromLatin1(notifications::kClosedSignal), this,
                  SLOT(onClosed(uint, uint)));
    auto *watcher = new QDBusServiceWatcher(service, m_bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this, [this] {
        // A new server may render differently, and the old one's notifications are gone.
        m_capabilities.reset();
        Q_EMIT serverLost();
    });
}

void DesktopNotifications::post(const Notice &notice, Posted posted)
{
    if (!m_bus.isConnected()) {
        qCDebug(lcNotifications) << "no session bus; not shown:" << notice.summary;
        posted(0);
        return;
    }
    if (m_capabilities) {
        send(notice, std::move(posted));
        return;
    }
    // The body's escaping depends on the server, so it waits for the server's answer.
    if (int(m_held.size()) >= kMaxHeld) {
        Held oldest = std::move(m_held.front());
        m_held.pop_front();
        oldest.posted(0);
    }
    m_held.push_back({notice, std::move(posted)});
    askCapabilities();
}

void DesktopNotifications::askCapabilities()
{
    if (m_asking)
        return;
    m_heldAtAsk = int(m_held.size());
    auto *watcher = new QDBusPendingCallWatcher(
        m_bus.asyncCall(notifications::methodCall(notifications::kGetCapabilitiesMethod), kAnswerTimeoutMs), this);
    m_asking = watcher;
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        QDBusPendingReply<QStringList> reply = *call;
        if (reply.isError()) {
            qCDebug(lcNotifications) << "no notification server:" << reply.error().message();
            // Those that waited the whole time are given up. With no server on the bus that is
            // all of them; a server that did not answer in time may still answer the ones
            // that came later, so it is asked again for them.
            const bool noServer = reply.error().type() == QDBusError::ServiceUnknown;
            const int givenUp = noServer ? int(m_held.size()) : std::min(m_heldAtAsk, int(m_held.size()));
            std::deque<Held> lost(std::make_move_iterator(m_held.begin()),
                                  std::make_move_iterator(m_held.begin() + givenUp));
            m_held.erase(m_held.begin(), m_held.begin() + givenUp);
            m_asking = nullptr;
            for (Held &each : lost)
                each.posted(0);
            if (!m_held.empty())
                askCapabilities();
            return;
        }
        m_capabilities = reply.value();
        std::deque<Held> held = std::exchange(m_held, {});
        for (Held &each : held)
            send(each.notice, std::move(each.posted));
    });
}

void DesktopNotifications::send(const Notice &notice, Posted posted)
{
    const QStringList &capabilities = *m_capabilities;
    QStringList actions{QString::fromLatin1(notifications::kDefaultAction), QStringLiteral("Show")};
    if (capabilities.contains(QLatin1String(notifications::kActionsCapability)))
        actions << QString::fromLatin1(notifications::kShowAction) << QStringLiteral("Show");
    QVariantMap hints;
    hints.insert(QString::fromLatin1(notifications::kDesktopEntryHint), QStringLiteral(DIALWISE_APP_ID));
    QString appIcon;
    if (!notice.image.isNull())
        hints.insert(QString::fromLatin1(notifications::kImageDataHint), imageHint(notice.image));
    else
        appIcon = QStringLiteral(DIALWISE_APP_ID);

    QDBusMessage notify = notifications::methodCall(notifications::kNotifyMethod);
    notify << QString::fromLatin1(notifications::kAppName) << notice.replacesId << appIcon << notice.summary
           << notificationBody(notice.body, capabilities) << actions << hints << notifications::kServerDefaultTimeout;
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(notify, kAnswerTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [posted = std::move(posted)](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        QDBusPendingReply<uint> reply = *call;
        if (reply.isError()) {
            qCDebug(lcNotifications) << "notification not shown:" << reply.error().message();
            posted(0);
            return;
        }
        posted(reply.value());
    });
}

void DesktopNotifications::close(uint id)
{
    if (id == 0 || !m_bus.isConnected())
        return;
    QDBusMessage message = notifications::methodCall(notifications::kCloseMethod);
    message << id;
    m_bus.call(message, QDBus::NoBlock);
}

void DesktopNotifications::onActionInvoked(uint id, const QString &action)
{
    Q_EMIT actionInvoked(id, action);
}

void DesktopNotifications::onClosed(uint id, uint reason)
{
    Q_UNUSED(reason); // expired, dismissed or closed by us: the page hears the same either way
    Q_EMIT closed(id);
}

} // namespace dialwise
