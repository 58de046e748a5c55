#include "platform/linux/SessionBusClient.h"

#include "platform/linux/NotificationNames.h"
#include "platform/linux/NotificationText.h"

#include <dbus/dbus.h>

namespace dialwise {
namespace {

// RAII for the few libdbus objects used here.
struct MessageRef
{
    DBusMessage *message = nullptr;
    ~MessageRef()
    {
        if (message)
            dbus_message_unref(message);
    }
};

struct ErrorRef
{
    DBusError error;
    ErrorRef() { dbus_error_init(&error); }
    ~ErrorRef() { dbus_error_free(&error); }
};

// libdbus aborts on strings that are not valid UTF-8; QString::toUtf8() only ever makes valid
// UTF-8 (argv bytes that are not were already replaced when the QString was made).
bool appendString(DBusMessageIter *iter, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    const char *data = bytes.constData();
    return dbus_message_iter_append_basic(iter, DBUS_TYPE_STRING, &data);
}

bool appendArgument(DBusMessageIter *iter, const SessionBusClient::Argument &argument)
{
    if (const auto *text = std::get_if<QString>(&argument))
        return appendString(iter, *text);

    DBusMessageIter array;
    const char *signature = std::holds_alternative<QStringList>(argument)              ? "s"
                            : std::holds_alternative<SessionBusClient::EmptyDictionary>(argument) ? "{sv}"
                                                                                                  : "v";
    if (!dbus_message_iter_open_container(iter, DBUS_TYPE_ARRAY, signature, &array))
        return false;
    bool ok = true;
    if (const auto *list = std::get_if<QStringList>(&argument)) {
        for (const QString &item : *list)
            ok = ok && appendString(&array, item);
    }
    if (const auto *parameter = std::get_if<SessionBusClient::BooleanParameter>(&argument)) {
        DBusMessageIter variant;
        const dbus_bool_t value = parameter->value;
        ok = dbus_message_iter_open_container(&array, DBUS_TYPE_VARIANT, "b", &variant)
            && dbus_message_iter_append_basic(&variant, DBUS_TYPE_BOOLEAN, &value)
            && dbus_message_iter_close_container(&array, &variant);
    }
    return dbus_message_iter_close_container(iter, &array) && ok;
}

// How long a failing launcher waits for the notification server to say whether it renders
// markup: a healthy server answers in a millisecond; a hung one must not hold up the exit.
constexpr int kCapabilitiesTimeoutMs = 500;

} // namespace

std::unique_ptr<SessionBusClient> SessionBusClient::connect(QString *error)
{
    ErrorRef failure;
    DBusConnection *connection = dbus_bus_get_private(DBUS_BUS_SESSION, &failure.error);
    if (!connection) {
        if (error)
            *error = QString::fromUtf8(failure.error.message ? failure.error.message : "no session bus");
        return nullptr;
    }
    // The launcher is a short-lived program: a vanished bus must not take it down with SIGTERM.
    dbus_connection_set_exit_on_disconnect(connection, false);
    return std::unique_ptr<SessionBusClient>(new SessionBusClient(connection));
}

SessionBusClient::SessionBusClient(DBusConnection *connection)
    : m_connection(connection)
{
}

SessionBusClient::~SessionBusClient()
{
    dbus_connection_flush(m_connection);
    dbus_connection_close(m_connection);
    dbus_connection_unref(m_connection);
}

SessionBusClient::Reply SessionBusClient::call(const QString &service, const QString &path, const QString &interface,
                                               const QString &method, const std::vector<Argument> &arguments,
                                               int timeoutMs)
{
    Reply result;
    MessageRef message{dbus_message_new_method_call(service.toUtf8().constData(), path.toUtf8().constData(),
                                                    interface.toUtf8().constData(), method.toUtf8().constData())};
    if (!message.message) {
        result.errorName = QStringLiteral("org.freedesktop.DBus.Error.NoMemory");
        return result;
    }
    dbus_message_set_auto_start(message.message, false);
    DBusMessageIter iter;
    dbus_message_iter_init_append(message.message, &iter);
    for (const Argument &argument : arguments) {
        if (!appendArgument(&iter, argument)) {
            result.errorName = QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs");
            result.errorMessage = QStringLiteral("could not encode the request");
            return result;
        }
    }

    ErrorRef failure;
    MessageRef reply{dbus_connection_send_with_reply_and_block(m_connection, message.message, timeoutMs, &failure.error)};
    if (!reply.message) {
        result.errorName = QString::fromUtf8(failure.error.name ? failure.error.name : DBUS_ERROR_FAILED);
        result.errorMessage = QString::fromUtf8(failure.error.message ? failure.error.message : "");
        return result;
    }
    result.ok = true;
    return result;
}

void SessionBusClient::notify(const QString &summary, const QString &body)
{
    using namespace notifications;
    QStringList capabilities;
    {
        MessageRef ask{dbus_message_new_method_call(kService, kPath, kInterface, kGetCapabilitiesMethod)};
        if (!ask.message)
            return;
        dbus_message_set_auto_start(ask.message, false);
        ErrorRef failure;
        MessageRef reply{dbus_connection_send_with_reply_and_block(m_connection, ask.message, kCapabilitiesTimeoutMs,
                                                                   &failure.error)};
        // No server, or none that answers: nobody would show the notification.
        if (!reply.message)
            return;
        DBusMessageIter iter;
        DBusMessageIter array;
        if (dbus_message_iter_init(reply.message, &iter) && dbus_message_iter_get_arg_type(&iter) == DBUS_TYPE_ARRAY) {
            dbus_message_iter_recurse(&iter, &array);
            while (dbus_message_iter_get_arg_type(&array) == DBUS_TYPE_STRING) {
                const char *capability = nullptr;
                dbus_message_iter_get_basic(&array, &capability);
                capabilities.append(QString::fromUtf8(capability));
                dbus_message_iter_next(&array);
            }
        }
    }

    MessageRef message{dbus_message_new_method_call(kService, kPath, kInterface, kNotifyMethod)};
    if (!message.message)
        return;
    dbus_message_set_no_reply(message.message, true);
    DBusMessageIter iter;
    dbus_message_iter_init_append(message.message, &iter);
    const dbus_uint32_t replacesId = 0;
    const dbus_int32_t expireTimeout = kServerDefaultTimeout;
    DBusMessageIter actions;
    DBusMessageIter hints;
    const bool built = appendString(&iter, QString::fromLatin1(kAppName))
        && dbus_message_iter_append_basic(&iter, DBUS_TYPE_UINT32, &replacesId)
        && appendString(&iter, QString()) // icon
        && appendString(&iter, summary) && appendString(&iter, notificationBody(body, capabilities))
        && dbus_message_iter_open_container(&iter, DBUS_TYPE_ARRAY, "s", &actions)
        && dbus_message_iter_close_container(&iter, &actions)
        && dbus_message_iter_open_container(&iter, DBUS_TYPE_ARRAY, "{sv}", &hints)
        && dbus_message_iter_close_container(&iter, &hints)
        && dbus_message_iter_append_basic(&iter, DBUS_TYPE_INT32, &expireTimeout);
    if (built)
        dbus_connection_send(m_connection, message.message, nullptr);
}

} // namespace dialwise
