#include "RequestForwarder.h"

#include "BusNames.h"
#include "SessionBusClient.h"

#include <QDeadlineTimer>
#include <QThread>

namespace dialwise {
namespace {

// Long enough for a busy instance (a page load on the main thread, the X11 selection owner
// taking its time to answer), short enough that a hung one is reported instead of waited on.
constexpr int kReplyTimeoutMs = 8000;
// A Dialwise that is still starting owns its name a moment before its objects are exported;
// requests in that window are retried rather than lost. Start-up takes well under a second.
constexpr int kStartupGraceMs = 10000;
constexpr unsigned long kRetryPauseMs = 20;

bool isNoOwner(const QString &errorName)
{
    return errorName == u"org.freedesktop.DBus.Error.ServiceUnknown"
        || errorName == u"org.freedesktop.DBus.Error.NameHasNoOwner";
}

bool isNotReadyYet(const QString &errorName)
{
    return errorName == u"org.freedesktop.DBus.Error.UnknownObject"
        || errorName == u"org.freedesktop.DBus.Error.UnknownInterface"
        || errorName == u"org.freedesktop.DBus.Error.UnknownMethod";
}

} // namespace

RequestForwarder::RequestForwarder(SessionBusClient &bus)
    : m_bus(bus)
{
}

RequestForwarder::Result RequestForwarder::forward(const LaunchRequest &request)
{
    QString interface = QString::fromLatin1(bus::kApplicationInterface);
    QString method;
    std::vector<SessionBusClient::Argument> arguments;
    switch (request.kind) {
    case LaunchRequest::Kind::activate:
        method = QStringLiteral("Activate");
        arguments = {SessionBusClient::EmptyDictionary{}};
        break;
    case LaunchRequest::Kind::openUris:
        method = QStringLiteral("Open");
        arguments = {request.uris, SessionBusClient::EmptyDictionary{}};
        break;
    case LaunchRequest::Kind::callText:
        interface = QString::fromLatin1(bus::kCallsInterface);
        method = QStringLiteral("HandlePhoneCall");
        arguments = {request.text};
        break;
    case LaunchRequest::Kind::callSelection:
        interface = QString::fromLatin1(bus::kCallsInterface);
        method = QStringLiteral("CallSelection");
        break;
    }

    const QDeadlineTimer grace(kStartupGraceMs);
    for (;;) {
        const SessionBusClient::Reply reply = m_bus.call(QString::fromLatin1(bus::kServiceName),
                                                         QString::fromLatin1(bus::kObjectPath), interface, method,
                                                         arguments, kReplyTimeoutMs);
        if (reply.ok)
            return {Result::Status::delivered, {}};
        if (isNoOwner(reply.errorName))
            return {Result::Status::noInstance, {}};
        if (isNotReadyYet(reply.errorName) && !grace.hasExpired()) {
            QThread::msleep(kRetryPauseMs);
            continue;
        }
        // Dialwise's own errors are meant for the user as they stand.
        if (reply.errorName == QLatin1String(bus::kNoTextErrorName) || reply.errorName == QLatin1String(bus::kNoNumberErrorName)
            || reply.errorName == QLatin1String(bus::kTooLargeErrorName))
            return {Result::Status::failed, reply.errorMessage};
        return {Result::Status::failed,
                QStringLiteral("the running Dialwise did not take the request (%1)")
                    .arg(reply.errorMessage.isEmpty() ? reply.errorName : reply.errorMessage)};
    }
}

} // namespace dialwise
