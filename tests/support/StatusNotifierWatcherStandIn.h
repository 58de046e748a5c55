#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QStringList>

namespace dialwise::testing {

// A minimal org.kde.StatusNotifierWatcher with a host, as a desktop panel provides it. With it
// on the bus, Qt shows tray icons as StatusNotifierItems and exports their menus over
// com.canonical.dbusmenu, which a test can then read and click.
class StatusNotifierWatcherAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ isHostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)

public:
    explicit StatusNotifierWatcherAdaptor(QObject *parent)
        : QDBusAbstractAdaptor(parent)
    {
    }

    bool isHostRegistered() const { return true; }
    int protocolVersion() const { return 0; }
    QStringList items() const { return m_items; }

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString &service, const QDBusMessage &message)
    {
        // Items name either their bus name or just an object path on the caller's connection.
        m_items.append(service.startsWith(u'/') ? message.service() : service);
        Q_EMIT StatusNotifierItemRegistered(m_items.last());
    }
    void RegisterStatusNotifierHost(const QString &) {}

Q_SIGNALS:
    void StatusNotifierItemRegistered(const QString &service);
    void StatusNotifierItemUnregistered(const QString &service);
    void StatusNotifierHostRegistered();

private:
    QStringList m_items;
};

class StatusNotifierWatcherStandIn final : public QObject
{
    Q_OBJECT

public:
    bool start()
    {
        m_adaptor = new StatusNotifierWatcherAdaptor(this);
        QDBusConnection bus = QDBusConnection::sessionBus();
        return bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), this)
            && bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher"));
    }
    QStringList items() const { return m_adaptor ? m_adaptor->items() : QStringList(); }

private:
    StatusNotifierWatcherAdaptor *m_adaptor = nullptr;
};

} // namespace dialwise::testing
