#include "platform/linux/BusConnectionGuard.h"

#include <QLoggingCategory>
#include <QTimer>

#include <dbus/dbus.h>

Q_LOGGING_CATEGORY(lcBusGuard, "dialwise.bus", QtWarningMsg)

namespace dialwise {
namespace {

// A fresh connection to the session bus's address answers whether the bus is still there.
bool sessionBusAnswers()
{
    static const QString name = QStringLiteral("dialwise-bus-probe");
    const bool answers = QDBusConnection::connectToBus(QDBusConnection::SessionBus, name).isConnected();
    QDBusConnection::disconnectFromBus(name);
    return answers;
}

} // namespace

BusConnectionGuard::BusConnectionGuard(QDBusConnection bus, std::function<void(Loss)> onLost, QObject *parent)
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
    const Loss loss = sessionBusAnswers() ? Loss::connectionDropped : Loss::busGone;
    qCDebug(lcBusGuard) << "connection to the session bus closed;"
                        << (loss == Loss::busGone ? "nothing answers at its address" : "the bus still answers");
    if (m_onLost)
        m_onLost(loss);
}

} // namespace dialwise
