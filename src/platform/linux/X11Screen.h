#pragma once

#include "detection/Screen.h"

#include <memory>

namespace dialwise {

class X11Connection;

// The root window's coordinates, which span every monitor: the pointer in root pixels (top-left
// origin, device pixels, as the window list and AT-SPI report them), and the root's height as the
// main screen height that the log lines measure their bottom-left-origin forms against.
class X11Screen final : public Screen
{
public:
    // A null connection (no X server) answers like a desktop without windows or screen.
    explicit X11Screen(std::shared_ptr<X11Connection> connection);

    std::optional<double> mainScreenHeight() override;
    QPointF pointerPosition() override;

private:
    std::shared_ptr<X11Connection> m_connection;
};

} // namespace dialwise
