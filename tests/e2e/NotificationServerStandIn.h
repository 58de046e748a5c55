#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

namespace dialwise::testing {

// org.freedesktop.Notifications as far as a program posting notifications sees it: it records
// each Notify as "app name|summary|body".
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

public Q_SLOTS:
    uint Notify(const QString &appName, uint, const QString &, const QString &summary, const QString &body,
                const QStringList &, const QVariantMap &, int)
    {
        received.append(appName + u'|' + summary + u'|' + body);
        return uint(received.size());
    }
    QStringList GetCapabilities() { return {QStringLiteral("body")}; }
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
    bool start()
    {
        m_adaptor = new NotificationServerAdaptor(this);
        QDBusConnection bus = QDBusConnection::sessionBus();
        return bus.registerObject(QStringLiteral("/org/freedesktop/Notifications"), this)
            && bus.registerService(QStringLiteral("org.freedesktop.Notifications"));
    }
    QStringList received() const { return m_adaptor ? m_adaptor->received : QStringList(); }

private:
    NotificationServerAdaptor *m_adaptor = nullptr;
};

} // namespace dialwise::testing
