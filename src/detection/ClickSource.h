#pragma once

#include <QString>

#include <cstdint>
#include <functional>
#include <optional>

namespace dialwise {

// Left mouse-downs anywhere on the desktop, except on Dialwise's own windows (as a global monitor
// never sees the program's own events, so clicking the strip never dismisses it before it acts).
class ClickSource
{
public:
    using Token = std::uint64_t;
    virtual ~ClickSource() = default;
    // Calls handler on the main thread for every left mouse-down from now on. No value when the
    // listener could not be installed (no X11 session, say).
    virtual std::optional<Token> addLeftMouseDownListener(std::function<void()> handler) = 0;
    // Stops the listener with this token; unknown tokens are ignored.
    virtual void removeListener(Token token) = 0;
    // Why the last installation failed, as one line for the detector's log; empty when it did not.
    virtual QString unavailableReason() const = 0;
};

} // namespace dialwise
