#pragma once

#include "platform/linux/BusMethodCaller.h"

#include <QString>

#include <deque>
#include <functional>
#include <vector>

namespace dialwise::testing {

// A session bus that answers from a queue: each call takes the next queued reply, and the last
// one repeats once the queue is down to it. Every call is recorded, and `whileAnswering` (when set)
// runs inside each one, for a reply that takes time.
class FakeBusMethodCaller final : public BusMethodCaller
{
public:
    struct Call
    {
        QString service;
        QString path;
        QString interface;
        QString method;
        std::vector<Argument> arguments;
        int timeoutMs = 0;
    };

    static Reply ok() { return {true, {}, {}}; }
    static Reply error(const char *name, const char *message = "")
    {
        return {false, QString::fromLatin1(name), QString::fromUtf8(message)};
    }

    void queue(Reply reply) { replies.push_back(std::move(reply)); }

    Reply call(const QString &service, const QString &path, const QString &interface, const QString &method,
               const std::vector<Argument> &arguments, int timeoutMs) override
    {
        calls.push_back({service, path, interface, method, arguments, timeoutMs});
        if (whileAnswering)
            whileAnswering();
        if (replies.empty())
            return error("org.freedesktop.DBus.Error.ServiceUnknown");
        Reply reply = replies.front();
        if (replies.size() > 1)
            replies.pop_front();
        return reply;
    }

    std::deque<Reply> replies;
    std::vector<Call> calls;
    std::function<void()> whileAnswering;
};

} // namespace dialwise::testing
