#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

#include <chrono>

namespace dialwise::testing {

// One Notify call as the server received it.
struct ReceivedNotification
{
    uint id = 0;
    uint replacesId = 0;
    QString appName;
    QString appIcon;
    QString summary;
    QString body;
    QStringList actions;
    QVariantMap hints;
    // When it arrived, on the wall clock a page's Date.now() also reads.
    std::chrono::system_clock::time_point arrived;
};

// org.freedesktop.Notifications as far as a program posting notifications sees it: it records
// each Notify (as "app name|summary|body", and whole), each CloseNotification, announces the
// capabilities it is given, and can click or close a notification the way a desktop does. A
// silent server takes every call and never answers, as a hung daemon would.
class NotificationServerAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    explicit NotificationServerAdaptor(QObject *parent)
        : QDBusAbstractAdaptor(parent)
    {
    }

    QStringList received;
    QList<ReceivedNotification> notifications;
    QList<uint> closedByClient;
    QStringList capabilities{QStringLiteral("body")};
    bool silent = false;
    uint lastId = 0;

public Q_SLOTS:
    uint Notify(const QString &appName, uint replacesId, const QString &appIcon, const QString &summary,
                const QString &body, const QStringList &actions, const QVariantMap &hints, int,
                const QDBusMessage &message)
    {
        received.append(appName + u'|' + summary + u'|' + body);
        // As notification servers do: a replacement keeps the id it replaces.
        const uint id = replacesId != 0 ? replacesId : ++lastId;
        notifications.append({id, replacesId, appName, appIcon, summary, body, actions, hints,
                              std::chrono::system_clock::now()});
        if (silent)
            message.setDelayedReply(true);
        return id;
    }
    void CloseNotification(uint id) { closedByClient.append(id); }
    QStringList GetCapabilities(const QDBusMessage &message)
    {
        if (silent)
            message.setDelayedReply(true);
        return capabilities;
    }
    QString GetServerInformation(QString &vendor, QString &version, QString &protocolVersion)
    {
        vendor = QStringLiteral("dialwise-tests");
        version = QStringLiteral("1");
        protocolVersion = QStringLiteral("1.2");
        return QStringLiteral("stand-in");
    }

Q_SIGNALS:
    void ActionInvoked(uint id, const QString &actionKey);
    void NotificationClosed(uint id, uint reason);
};

class NotificationServerStandIn final : public QObject
{
    Q_OBJECT

public:
    // Why a notification closed, as NotificationClosed says it.
    enum CloseReason : uint { expired = 1, dismissed = 2, closedByCall = 3 };

    explicit NotificationServerStandIn(QObject *parent = nullptr)
        : QObject(parent)
        , m_adaptor(new NotificationServerAdaptor(this))
    {
    }

    // Owns the service name on `bus`. A connection of the server's own (not the one the code
    // under test uses) makes every notification really cross the bus.
    bool start(QDBusConnection bus = QDBusConnection::sessionBus())
    {
        m_bus = bus;
        return m_bus.registerObject(QStringLiteral("/org/freedesktop/Notifications"), this)
            && m_bus.registerService(QStringLiteral("org.freedesktop.Notifications"));
    }
    // Gives the name up, as when no notification daemon runs.
    void stop()
    {
        if (!m_bus.isConnected())
            return; // never started
        m_bus.unregisterService(QStringLiteral("org.freedesktop.Notifications"));
        m_bus.unregisterObject(QStringLiteral("/org/freedesktop/Notifications"));
    }
    QStringList received() const { return m_adaptor->received; }
    QList<ReceivedNotification> notifications() const { return m_adaptor->notifications; }
    QList<uint> closedByClient() const { return m_adaptor->closedByClient; }
    void setCapabilities(const QStringList &capabilities) { m_adaptor->capabilities = capabilities; }
    void setSilent(bool silent) { m_adaptor->silent = silent; }

    // A click on the notification (action "default") or on one of its buttons.
    void invokeAction(uint id, const QString &action) { Q_EMIT m_adaptor->ActionInvoked(id, action); }
    // The user dismissed it, or it expired.
    void closeNotification(uint id, CloseReason reason = dismissed) { Q_EMIT m_adaptor->NotificationClosed(id, reason); }

private:
    NotificationServerAdaptor *m_adaptor;
    QDBusConnection m_bus{QString()};
};

} // namespace dialwise::testing
