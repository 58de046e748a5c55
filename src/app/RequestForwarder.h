#pragma once

#include "app/LaunchRequest.h"
#include "app/RequestFailure.h"
#include "platform/linux/BusMethodCaller.h"

#include <QString>

#include <chrono>
#include <functional>
#include <optional>
#include <thread>
#include <vector>

namespace dialwise {

// Where the request forwarder measures its start-up grace and how it spends the pause between two
// tries: the steady clock and a real sleep, unless a test moves time itself.
struct ForwardingPacing
{
    std::function<std::chrono::steady_clock::time_point()> now = [] { return std::chrono::steady_clock::now(); };
    std::function<void(std::chrono::milliseconds)> sleep = [](std::chrono::milliseconds pause) {
        std::this_thread::sleep_for(pause);
    };
};

// Hands a request to the Dialwise that already runs, over the session bus.
class RequestForwarder final
{
public:
    // A Dialwise that is still starting owns its name a moment before its objects are exported;
    // requests in that window are retried rather than lost. Start-up takes well under a second.
    static constexpr std::chrono::milliseconds kStartupGrace{10000};
    // Between two tries during start-up: often enough that a request waits little past the moment
    // the objects appear, rarely enough not to flood the bus.
    static constexpr std::chrono::milliseconds kRetryPause{20};
    using Pacing = ForwardingPacing;

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

    explicit RequestForwarder(BusMethodCaller &bus, std::chrono::milliseconds startupGrace = kStartupGrace,
                              Pacing pacing = {});
    Result forward(const LaunchRequest &request);

private:
    Result deliver(const QString &interface, const QString &method, const std::vector<BusMethodCaller::Argument> &arguments);

    BusMethodCaller &m_bus;
    std::chrono::milliseconds m_startupGrace;
    Pacing m_pacing;
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
