#include "DBusServices.h"

#include "BusNames.h"
#include "LinuxDesktopServices.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace dialwise {

ApplicationAdaptor::ApplicationAdaptor(QObject *exported, InboundHandler &handler)
    : QDBusAbstractAdaptor(exported)
    , m_handler(handler)
{
}

void ApplicationAdaptor::Activate(const QVariantMap &)
{
    m_handler.applicationShouldHandleReopen();
}

void ApplicationAdaptor::Open(const QStringList &uris, const QVariantMap &)
{
    for (const QString &uri : uris)
        m_handler.handleURLEvent(uri);
}

void ApplicationAdaptor::ActivateAction(const QString &actionName, const QVariantList &, const QVariantMap &)
{
    // "quit", and the desktop entry's action "call-selection" (desktops start the actions of a
    // D-Bus-activatable entry through this method, not through its Exec line). Unknown actions
    // are ignored as the desktop's launchers expect.
    if (actionName == u"quit") {
        m_handler.quit();
    } else if (actionName == u"call-selection") {
        // Nobody waits for an answer here, so a failure is shown the way the launcher shows it.
        if (const std::optional<RequestFailure> failure = m_handler.callSelection())
            postDesktopNotification(QDBusConnection::sessionBus(), QStringLiteral("Dialwise"), failureMessage(*failure));
    }
}

CallsAdaptor::CallsAdaptor(QObject *exported, InboundHandler &handler)
    : QDBusAbstractAdaptor(exported)
    , m_handler(handler)
{
}

void CallsAdaptor::HandlePhoneCall(const QString &text, const QDBusMessage &message)
{
    answer(message, m_handler.handlePhoneCall(text));
}

void CallsAdaptor::CallSelection(const QDBusMessage &message)
{
    answer(message, m_handler.callSelection());
}

void CallsAdaptor::answer(const QDBusMessage &message, const std::optional<RequestFailure> &failure)
{
    if (!failure)
        return; // QtDBus sends the empty success reply itself
    message.setDelayedReply(true);
    QDBusConnection::sessionBus().send(
        message.createErrorReply(bus::errorName(*failure), failureMessage(*failure)));
}

} // namespace dialwise
