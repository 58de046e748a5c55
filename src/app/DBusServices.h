#pragma once

#include "app/InboundHandler.h"

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

namespace dialwise {

// org.freedesktop.Application on /app/dialwise/Dialwise: how launchers, file managers and
// `dialwise LINK` reach the running instance. It translates calls to the handler and decides
// nothing itself.
class ApplicationAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    ApplicationAdaptor(QObject *exported, InboundHandler &handler);

public Q_SLOTS:
    void Activate(const QVariantMap &platformData);
    // More than 100 links, or one over 64 KiB, is answered with an error before any is read.
    void Open(const QStringList &uris, const QVariantMap &platformData, const QDBusMessage &message);
    void ActivateAction(const QString &actionName, const QVariantList &parameter, const QVariantMap &platformData,
                        const QDBusMessage &message);

private:
    InboundHandler &m_handler;
};

// app.dialwise.Dialwise.Calls: text to search for a number. Failures come back as D-Bus errors,
// one error name per reason, whose message is the sentence to show the user.
class CallsAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "app.dialwise.Dialwise.Calls")

public:
    CallsAdaptor(QObject *exported, InboundHandler &handler);

public Q_SLOTS:
    // The trailing message is QtDBus's way of handing over the call, so that it can be answered
    // with an error; it is not part of the D-Bus signature.
    void HandlePhoneCall(const QString &text, const QDBusMessage &message);
    void CallSelection(const QDBusMessage &message);

private:
    void answer(const QDBusMessage &message, const std::optional<RequestFailure> &failure);

    InboundHandler &m_handler;
};

} // namespace dialwise
