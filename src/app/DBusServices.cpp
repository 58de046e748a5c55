#include "DBusServices.h"

#include "AppDelegate.h"
#include "BusNames.h"
#include "InboundRequests.h"
#include "LinuxDesktopServices.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace dialwise {

ApplicationAdaptor::ApplicationAdaptor(QObject *exported, AppDelegate &delegate)
    : QDBusAbstractAdaptor(exported)
    , m_delegate(delegate)
{
}

void ApplicationAdaptor::Activate(const QVariantMap &)
{
    m_delegate.applicationShouldHandleReopen();
}

void ApplicationAdaptor::Open(const QStringList &uris, const QVariantMap &)
{
    for (const QString &uri : uris)
        m_delegate.handleURLEvent(uri);
}

void ApplicationAdaptor::ActivateAction(const QString &actionName, const QVariantList &, const QVariantMap &)
{
    // "quit", and the desktop entry's action "call-selection" (desktops start the actions of a
    // D-Bus-activatable entry through this method, not through its Exec line). Unknown actions
    // are ignored as the desktop's launchers expect.
    if (actionName == u"quit") {
        m_delegate.quit();
    } else if (actionName == u"call-selection") {
        // Nobody waits for an answer here, so a failure is shown the way the launcher shows it.
        if (const std::optional<QString> error = m_delegate.callSelection())
            postDesktopNotification(QDBusConnection::sessionBus(), QStringLiteral("Dialwise"), *error);
    }
}

CallsAdaptor::CallsAdaptor(QObject *exported, AppDelegate &delegate)
    : QDBusAbstractAdaptor(exported)
    , m_delegate(delegate)
{
}

void CallsAdaptor::HandlePhoneCall(const QString &text, const QDBusMessage &message)
{
    answer(message, m_delegate.handlePhoneCall(text));
}

void CallsAdaptor::CallSelection(const QDBusMessage &message)
{
    answer(message, m_delegate.callSelection());
}

void CallsAdaptor::answer(const QDBusMessage &message, const std::optional<QString> &error)
{
    if (!error)
        return; // QtDBus sends the empty success reply itself
    const char *name = *error == QLatin1String(InboundRequests::kNoTextError) ? bus::kNoTextErrorName
                                                                               : bus::kNoNumberErrorName;
    message.setDelayedReply(true);
    QDBusConnection::sessionBus().send(message.createErrorReply(QString::fromLatin1(name), *error));
}

} // namespace dialwise
