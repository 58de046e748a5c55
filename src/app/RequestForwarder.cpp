#include "app/RequestForwarder.h"

#include "app/BusNames.h"
#include "app/FailureReport.h"
#include "platform/linux/SessionBusClient.h"

namespace dialwise {
namespace {

// Long enough for a busy instance (a page load on the main thread, the X11 selection owner
// taking its time to answer), short enough that a hung one is reported instead of waited on.
constexpr int kReplyTimeoutMs = 8000;

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

RequestForwarder::RequestForwarder(BusMethodCaller &bus, std::chrono::milliseconds startupGrace, Pacing pacing)
    : m_bus(bus)
    , m_startupGrace(startupGrace)
    , m_pacing(std::move(pacing))
{
}

RequestForwarder::Result RequestForwarder::forward(const LaunchRequest &request)
{
    // The detector switch goes first, as its own action: it changes how Dialwise runs, so the
    // rest of the request (if any) meets it already switched.
    if (request.detectPhoneLinks) {
        const Result switched = deliver(QString::fromLatin1(bus::kApplicationInterface), QStringLiteral("ActivateAction"),
                                        {QString::fromLatin1(bus::kDetectPhoneLinksAction),
                                         BusMethodCaller::BooleanParameter{*request.detectPhoneLinks},
                                         BusMethodCaller::EmptyDictionary{}});
        // Alone, the switch is the whole request: the window stays as it is.
        if (switched.status != Result::Status::delivered || request.kind == LaunchRequest::Kind::activate)
            return switched;
    }

    QString interface = QString::fromLatin1(bus::kApplicationInterface);
    QString method;
    std::vector<BusMethodCaller::Argument> arguments;
    switch (request.kind) {
    case LaunchRequest::Kind::activate:
        if (request.hidden) {
            // A hidden start only needs Dialwise to run: ask whether it answers (the bus library
            // answers Ping itself) without bringing its window up.
            interface = QStringLiteral("org.freedesktop.DBus.Peer");
            method = QStringLiteral("Ping");
            break;
        }
        method = QStringLiteral("Activate");
        arguments = {BusMethodCaller::EmptyDictionary{}};
        break;
    case LaunchRequest::Kind::openUris:
        method = QStringLiteral("Open");
        arguments = {request.uris, BusMethodCaller::EmptyDictionary{}};
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
    case LaunchRequest::Kind::quit:
        // The tray menu's Quit, as a desktop would ask for it.
        method = QStringLiteral("ActivateAction");
        arguments = {QStringLiteral("quit"), BusMethodCaller::EmptyVariantArray{}, BusMethodCaller::EmptyDictionary{}};
        break;
    }
    return deliver(interface, method, arguments);
}

RequestForwarder::Result RequestForwarder::deliver(const QString &interface, const QString &method,
                                                   const std::vector<BusMethodCaller::Argument> &arguments)
{
    // From the first try: a reply that itself took long uses up the grace too.
    const std::chrono::steady_clock::time_point graceEnds = m_pacing.now() + m_startupGrace;
    for (;;) {
        const BusMethodCaller::Reply reply = m_bus.call(QString::fromLatin1(bus::kServiceName),
                                                         QString::fromLatin1(bus::kObjectPath), interface, method,
                                                         arguments, kReplyTimeoutMs);
        if (reply.ok)
            return {Result::Status::delivered, std::nullopt, {}};
        if (isNoOwner(reply.errorName))
            return {Result::Status::noInstance, std::nullopt, {}};
        if (isNotReadyYet(reply.errorName) && m_pacing.now() < graceEnds) {
            m_pacing.sleep(kRetryPause);
            continue;
        }
        // Dialwise's own reasons are told in Dialwise's own words.
        if (const std::optional<RequestFailure> failure = bus::failureFromErrorName(reply.errorName))
            return {Result::Status::failed, failure, failureMessage(*failure)};
        return {Result::Status::failed, std::nullopt,
                QStringLiteral("the running Dialwise did not take the request (%1)")
                    .arg(reply.errorMessage.isEmpty() ? reply.errorName : reply.errorMessage)};
    }
}

Handover forwardAndReport(const LaunchRequest &request, QString *busError)
{
    QString error;
    std::unique_ptr<SessionBusClient> bus = SessionBusClient::connect(&error);
    if (!bus) {
        if (busError)
            *busError = error;
        return Handover::noBus;
    }
    const RequestForwarder::Result result = RequestForwarder(*bus).forward(request);
    switch (result.status) {
    case RequestForwarder::Result::Status::delivered:
        return Handover::delivered;
    case RequestForwarder::Result::Status::noInstance:
        return Handover::noInstance;
    case RequestForwarder::Result::Status::failed:
        break;
    }
    if (printFailure(result.error))
        bus->notify(QStringLiteral("Dialwise"), result.error);
    return Handover::failed;
}

void reportFailure(const QString &error)
{
    if (!printFailure(error))
        return;
    if (std::unique_ptr<SessionBusClient> bus = SessionBusClient::connect(nullptr))
        bus->notify(QStringLiteral("Dialwise"), error);
}

} // namespace dialwise
