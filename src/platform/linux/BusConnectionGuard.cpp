#include "platform/linux/BusConnectionGuard.h"

#include <QLoggingCategory>
#include <QTimer>

#include <dbus/dbus.h>

Q_LOGGING_CATEGORY(lcBusGuard, "dialwise.bus")

namespace dialwise {

BusConnectionGuard::BusConnectionGuard(QDBusConnection bus, std::function<void(const QString &)> onLost, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
    , m_onLost(std::move(onLost))
    , m_timer(new QTimer(this))
{
    if (auto *connection = static_cast<DBusConnection *>(m_bus.internalPointer()))
        dbus_connection_set_max_received_size(connection, kMaxQueuedIncomingBytes);
    connect(m_timer, &QTimer::timeout, this, &BusConnectionGuard::check);
    m_timer->start(kCheckIntervalMs);
}

long BusConnectionGuard::queuedIncomingLimit() const
{
    auto *connection = static_cast<DBusConnection *>(m_bus.internalPointer());
    return connection ? dbus_connection_get_max_received_size(connection) : 0;
}

void BusConnectionGuard::check()
{
    if (m_lost || m_bus.isConnected())
        return;
    m_lost = true;
    m_timer->stop();
    // The bus frees every name of a connection that is gone; this only has to be said.
    const QString message = QStringLiteral("lost the D-Bus session bus: the name " DIALWISE_APP_ID
                                           " is released, links and other programs can no longer reach this Dialwise");
    qCWarning(lcBusGuard).noquote() << message;
    if (m_onLost)
        m_onLost(message);
}

} // namespace dialwise
