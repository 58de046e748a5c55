#include "app/DBusServices.h"

#include "app/BusNames.h"
#include "app/InboundRequests.h"
#include "app/IntakeLimits.h"
#include "platform/linux/LinuxDesktopServices.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>

namespace dialwise {
namespace {

void replyFailure(const QDBusMessage &message, RequestFailure failure)
{
    message.setDelayedReply(true);
    QDBusConnection::sessionBus().send(message.createErrorReply(bus::errorName(failure), failureMessage(failure)));
}

} // namespace

ApplicationAdaptor::ApplicationAdaptor(QObject *exported, InboundHandler &handler)
    : QDBusAbstractAdaptor(exported)
    , m_handler(handler)
{
}

void ApplicationAdaptor::Activate(const QVariantMap &)
{
    m_handler.applicationShouldHandleReopen();
}

void ApplicationAdaptor::Open(const QStringList &uris, const QVariantMap &, const QDBusMessage &message)
{
    if (const std::optional<RequestFailure> failure = InboundRequests::checkOpen(uris)) {
        replyFailure(message, *failure);
        return;
    }
    for (const QString &uri : uris)
        m_handler.handleURLEvent(uri);
}

void ApplicationAdaptor::ActivateAction(const QString &actionName, const QVariantList &parameter, const QVariantMap &,
                                        const QDBusMessage &message)
{
    if (actionName.size() > intake::kMaxTextLength) {
        replyFailure(message, RequestFailure::tooLarge);
        return;
    }
    // "quit", the desktop entry's action "call-selection" (desktops start the actions of a
    // D-Bus-activatable entry through this method, not through its Exec line), and the detector
    // switch `dialwise --detect-phone-links[=off]` sends. Unknown actions are ignored as the
    // desktop's launchers expect.
    if (actionName == QLatin1String(bus::kDetectPhoneLinksAction)) {
        // One boolean, which QtDBus may still hold wrapped as the av's variant.
        QVariant on = parameter.size() == 1 ? parameter.first() : QVariant();
        if (on.canConvert<QDBusVariant>() && on.typeId() == qMetaTypeId<QDBusVariant>())
            on = on.value<QDBusVariant>().variant();
        if (on.typeId() != QMetaType::Bool) {
            message.setDelayedReply(true);
            QDBusConnection::sessionBus().send(message.createErrorReply(
                QDBusError::InvalidArgs, QStringLiteral("detect-phone-links takes one boolean: on (true) or off (false)")));
            return;
        }
        m_handler.detectPhoneLinks(on.toBool());
    } else if (actionName == u"quit") {
        m_handler.quit();
    } else if (actionName == u"call-selection") {
        // Nobody waits for an answer here, so a failure is shown the way the launcher shows it.
        m_handler.callSelection([](const std::optional<RequestFailure> &failure) {
            if (failure)
                postDesktopNotification(QDBusConnection::sessionBus(), QStringLiteral("Dialwise"),
                                        failureMessage(*failure));
        });
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
    // Answered when the selection has been read, which may be a second later; the bus stays
    // free for other requests meanwhile.
    message.setDelayedReply(true);
    m_handler.callSelection([message](const std::optional<RequestFailure> &failure) {
        if (failure)
            replyFailure(message, *failure);
        else
            QDBusConnection::sessionBus().send(message.createReply());
    });
}

void CallsAdaptor::answer(const QDBusMessage &message, const std::optional<RequestFailure> &failure)
{
    if (!failure)
        return; // QtDBus sends the empty success reply itself
    replyFailure(message, *failure);
}

} // namespace dialwise
