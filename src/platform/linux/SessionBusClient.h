#pragma once

#include <QString>
#include <QStringList>

#include <memory>
#include <variant>
#include <vector>

struct DBusConnection;

namespace dialwise {

// A private libdbus connection to the session bus, for the launcher: QtDBus would start a thread
// and an event loop just to send one message, and libdbus is already in every desktop process.
// Calls block with a time-out; nothing is auto-started, so a missing Dialwise is reported as
// such instead of being launched by the bus.
class SessionBusClient final
{
public:
    // D-Bus argument values the launcher needs: s, as, and the empty a{sv} / av that
    // org.freedesktop.Application takes for platform data and action parameters.
    struct EmptyDictionary {};
    struct EmptyVariantArray {};
    using Argument = std::variant<QString, QStringList, EmptyDictionary, EmptyVariantArray>;

    struct Reply
    {
        bool ok = false;
        QString errorName;    // a D-Bus error name such as org.freedesktop.DBus.Error.ServiceUnknown
        QString errorMessage;
    };

    // No value (and *error set) when there is no session bus to talk to.
    static std::unique_ptr<SessionBusClient> connect(QString *error);
    ~SessionBusClient();

    SessionBusClient(const SessionBusClient &) = delete;
    SessionBusClient &operator=(const SessionBusClient &) = delete;

    Reply call(const QString &service, const QString &path, const QString &interface, const QString &method,
               const std::vector<Argument> &arguments, int timeoutMs);

    // Posts a desktop notification (org.freedesktop.Notifications.Notify) without waiting for
    // an answer: a desktop without a notification server shows nothing and says nothing.
    void notify(const QString &appName, const QString &summary, const QString &body);

private:
    explicit SessionBusClient(DBusConnection *connection);
    DBusConnection *m_connection;
};

} // namespace dialwise
