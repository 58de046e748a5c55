#pragma once

#include "LaunchRequest.h"

#include <QString>

namespace dialwise {

class SessionBusClient;

// Hands a request to the Dialwise that already runs, over the session bus.
class RequestForwarder final
{
public:
    struct Result
    {
        enum class Status {
            delivered, // the running Dialwise took the request
            noInstance, // nobody owns the name: this process should become Dialwise
            failed,    // it answered with an error, or not at all; `error` says what to tell the user
        };
        Status status = Status::noInstance;
        QString error;
    };

    explicit RequestForwarder(SessionBusClient &bus);
    Result forward(const LaunchRequest &request);

private:
    SessionBusClient &m_bus;
};

} // namespace dialwise
