#pragma once

#include "app/RequestFailure.h"

#include <QString>

#include <functional>
#include <optional>

namespace dialwise {

// What the running Dialwise does for requests from other programs. The D-Bus adaptors talk to
// this and nothing else, so they translate without knowing who carries the requests out.
class InboundHandler
{
public:
    virtual ~InboundHandler() = default;
    // Another `dialwise` without arguments: show the window again, whatever state it is in.
    virtual void applicationShouldHandleReopen() = 0;
    // A link handed to Dialwise; links without a usable number are dropped silently.
    virtual void handleURLEvent(const QString &url) = 0;
    // Text to search for a number; why nothing was called, or no value when the call was placed.
    virtual std::optional<RequestFailure> handlePhoneCall(const std::optional<QString> &text) = 0;
    // The X11 primary selection, treated as handlePhoneCall() text. Its owner is another program,
    // so nothing waits for it: `done` is called later, from the event loop, with why nothing was
    // called, or no value when the call was placed.
    virtual void callSelection(std::function<void(const std::optional<RequestFailure> &)> done) = 0;
    // Ends Dialwise.
    virtual void quit() = 0;
    // Turns the phone-link click detector on or off in this Dialwise.
    virtual void detectPhoneLinks(bool on) = 0;
};

} // namespace dialwise
