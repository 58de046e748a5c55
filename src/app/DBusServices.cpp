#include "DBusServices.h"

#include "BusNames.h"

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
    // Only "quit" exists; unknown actions are ignored as the desktop's launchers expect.
    if (actionName == u"quit")
        m_handler.quit();
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
