#pragma once

#include "platform/linux/BusMethodCaller.h"
#include "app/LaunchRequest.h"
#include "app/RequestFailure.h"

#include <QString>

#include <chrono>
#include <optional>
#include <vector>

namespace dialwise {

// Hands a request to the Dialwise that already runs, over the session bus.
class RequestForwarder final
{
public:
    // A Dialwise that is still starting owns its name a moment before its objects are exported;
    // requests in that window are retried rather than lost. Start-up takes well under a second.
    static constexpr std::chrono::milliseconds kStartupGrace{10000};

    struct Result
    {
        enum class Status {
            delivered,  // the running Dialwise took the request
            noInstance, // nobody owns the name: this process should become Dialwise
            failed,     // it answered with an error, or not at all; `error` says what to tell the user
        };
        Status status = Status::noInstance;
        // Dialwise's own reason, when the running one gave one.
        std::optional<RequestFailure> failure;
        QString error;
    };

    explicit RequestForwarder(BusMethodCaller &bus, std::chrono::milliseconds startupGrace = kStartupGrace);
    Result forward(const LaunchRequest &request);

private:
    Result deliver(const QString &interface, const QString &method, const std::vector<BusMethodCaller::Argument> &arguments);

    BusMethodCaller &m_bus;
    std::chrono::milliseconds m_startupGrace;
};

// What became of a request handed to the running Dialwise by forwardAndReport().
enum class Handover {
    delivered,  // taken
    failed,     // refused or unanswered; already reported
    noInstance, // no Dialwise runs
    noBus,      // no session bus to ask; `busError` says why
};

// The one forward-and-report path of the launcher and of a GUI that lost the start-up race:
// forwards the request and, when it fails, prints "dialwise: <reason>" on stderr and also posts
// it as a desktop notification when nobody reads stderr.
Handover forwardAndReport(const LaunchRequest &request, QString *busError = nullptr);

// Reports a failure the launcher found on its own the same way: stderr, and a desktop
// notification when nobody reads stderr (and a bus is there to carry it).
void reportFailure(const QString &error);

} // namespace dialwise
