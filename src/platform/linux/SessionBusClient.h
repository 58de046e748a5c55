#pragma once

#include "platform/linux/BusMethodCaller.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

struct DBusConnection;

namespace dialwise {

// A private libdbus connection to the session bus, for the launcher: QtDBus would start a thread
// and an event loop just to send one message, and libdbus is already in every desktop process.
// Calls block with a time-out; nothing is auto-started, so a missing Dialwise is reported as
// such instead of being launched by the bus.
class SessionBusClient final : public BusMethodCaller
{
public:
    // No value (and *error set) when there is no session bus to talk to.
    static std::unique_ptr<SessionBusClient> connect(QString *error);
    ~SessionBusClient() override;

    SessionBusClient(const SessionBusClient &) = delete;
    SessionBusClient &operator=(const SessionBusClient &) = delete;

    Reply call(const QString &service, const QString &path, const QString &interface, const QString &method,
               const std::vector<Argument> &arguments, int timeoutMs) override;

    // Posts a desktop notification with app name "Dialwise", its body shown as given (escaped
    // where the server renders markup). Waits only for the server's capabilities, briefly; a
    // desktop without a notification server shows nothing and says nothing.
    void notify(const QString &summary, const QString &body);

private:
    explicit SessionBusClient(DBusConnection *connection);
    DBusConnection *m_connection;
};

} // namespace dialwise
