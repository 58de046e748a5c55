#include "DBusServices.h"

#include "AppDelegate.h"
#include "BusNames.h"
#include "InboundRequests.h"
#include "IntakeLimits.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace dialwise {
namespace {

// The D-Bus error name for a sentence Dialwise answers with.
const char *errorNameFor(const QString &error)
{
    if (error == QLatin1String(InboundRequests::kNoTextError))
        return bus::kNoTextErrorName;
    if (error == QLatin1String(intake::kTextTooLongError) || error == QLatin1String(intake::kTooManyUrisError))
        return bus::kTooLargeErrorName;
    return bus::kNoNumberErrorName;
}

void replyError(const QDBusMessage &message, const QString &error)
{
    message.setDelayedReply(true);
    QDBusConnection::sessionBus().send(message.createErrorReply(QString::fromLatin1(errorNameFor(error)), error));
}

} // namespace

ApplicationAdaptor::ApplicationAdaptor(QObject *exported, AppDelegate &delegate)
    : QDBusAbstractAdaptor(exported)
    , m_delegate(delegate)
{
}

void ApplicationAdaptor::Activate(const QVariantMap &)
{
    m_delegate.applicationShouldHandleReopen();
}

void ApplicationAdaptor::Open(const QStringList &uris, const QVariantMap &, const QDBusMessage &message)
{
    if (const std::optional<QString> error = InboundRequests::checkOpen(uris)) {
        replyError(message, *error);
        return;
    }
    for (const QString &uri : uris)
        m_delegate.handleURLEvent(uri);
}

void ApplicationAdaptor::ActivateAction(const QString &actionName, const QVariantList &, const QVariantMap &,
                                        const QDBusMessage &message)
{
    if (actionName.size() > intake::kMaxTextLength) {
        replyError(message, QString::fromLatin1(intake::kTextTooLongError));
        return;
    }
    // Only "quit" exists; unknown actions are ignored as the desktop's launchers expect.
    if (actionName == u"quit")
        m_delegate.quit();
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
    // Answered when the selection has been read, which may be a second later; the bus stays
    // free for other requests meanwhile.
    message.setDelayedReply(true);
    m_delegate.callSelection([message](const std::optional<QString> &error) {
        if (error)
            replyError(message, *error);
        else
            QDBusConnection::sessionBus().send(message.createReply());
    });
}

void CallsAdaptor::answer(const QDBusMessage &message, const std::optional<QString> &error)
{
    if (!error)
        return; // QtDBus sends the empty success reply itself
    replyError(message, *error);
}

} // namespace dialwise
