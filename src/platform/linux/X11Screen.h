#pragma once

#include "Screen.h"

#include <memory>

namespace dialwise {

class X11Connection;

// The root window as the main screen: one height for both conversions, so the strip lands under
// the popup on any monitor layout (the root spans every monitor).
class X11Screen final : public Screen
{
public:
    // A null connection (no X server) answers like a desktop without windows or screen.
    explicit X11Screen(std::shared_ptr<X11Connection> connection);

    std::optional<double> mainScreenHeight() override;
    QPointF mouseLocation() override;

private:
    std::shared_ptr<X11Connection> m_connection;
};

} // namespace dialwise
