#pragma once

#include <QDBusConnection>
#include <QObject>

#include <functional>

class QTimer;

namespace dialwise {

// Keeps the running Dialwise's session-bus connection able to hear: sets libdbus up so that
// no message, however large, can pause reading for good, and notices when the connection is
// gone (the bus then frees Dialwise's name at once), telling whether the bus itself went with it.
class BusConnectionGuard final : public QObject
{
    Q_OBJECT

public:
    enum class Loss {
        connectionDropped, // the bus still takes new connections; only this one was closed
        busGone,           // nothing answers at the session bus's address: the session has ended
    };

    // libdbus stops reading a connection while the messages it has taken in but not yet freed
    // exceed this many bytes (63 MiB by default), and starts again when they are freed. QtDBus
    // frees them on the main thread, and from there it cannot switch its socket notifier back on
    // ("Socket notifiers cannot be enabled or disabled from another thread"): one 70 MB message
    // left the connection deaf for good. With the limit at what the session bus itself queues for
    // one connection (max_outgoing_bytes), reading never pauses; a message is at most 128 MiB
    // (DBUS_MAXIMUM_MESSAGE_LENGTH) and is refused unread above 64 KiB once it arrives.
    static constexpr long kMaxQueuedIncomingBytes = 1000000000;
    // How often the connection is checked: a lost bus is rare, and telling the user a few
    // seconds late costs nothing.
    static constexpr int kCheckIntervalMs = 2000;

    // onLost: told once, when the connection is gone.
    BusConnectionGuard(QDBusConnection bus, std::function<void(Loss)> onLost, QObject *parent = nullptr);

    // The limit libdbus applies to this connection now, for tests.
    long queuedIncomingLimit() const;

private:
    void check();

    QDBusConnection m_bus;
    std::function<void(Loss)> m_onLost;
    QTimer *m_timer = nullptr;
    bool m_lost = false;
};

} // namespace dialwise
