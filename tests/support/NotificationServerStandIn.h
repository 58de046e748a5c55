#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

namespace dialwise::testing {

// org.freedesktop.Notifications as far as a program posting notifications sees it: it records
// each Notify as "app name|summary|body" and announces the capabilities it is given.
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
    QStringList capabilities{QStringLiteral("body")};

public Q_SLOTS:
    uint Notify(const QString &appName, uint, const QString &, const QString &summary, const QString &body,
                const QStringList &, const QVariantMap &, int)
    {
        received.append(appName + u'|' + summary + u'|' + body);
        return uint(received.size());
    }
    QStringList GetCapabilities() { return capabilities; }
    QString GetServerInformation(QString &vendor, QString &version, QString &protocolVersion)
    {
        vendor = QStringLiteral("dialwise-tests");
        version = QStringLiteral("1");
        protocolVersion = QStringLiteral("1.2");
        return QStringLiteral("stand-in");
    }
};

class NotificationServerStandIn final : public QObject
{
    Q_OBJECT

public:
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
        m_bus.unregisterService(QStringLiteral("org.freedesktop.Notifications"));
        m_bus.unregisterObject(QStringLiteral("/org/freedesktop/Notifications"));
    }
    QStringList received() const { return m_adaptor->received; }
    void setCapabilities(const QStringList &capabilities) { m_adaptor->capabilities = capabilities; }

private:
    NotificationServerAdaptor *m_adaptor;
    QDBusConnection m_bus{QString()};
};

} // namespace dialwise::testing
