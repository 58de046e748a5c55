#pragma once

#include "detection/WindowList.h"

#include <memory>

namespace dialwise {

class X11Connection;

// The window list of an X11 desktop: viewable top-level windows front to back (a window manager's
// frame stands for its client), window number = the client's X window id, bounds in root
// coordinates, owner from XRes client ids and /proc, layer 101 for popups.
class X11WindowList final : public WindowList
{
public:
    // A null connection (no X server) answers like a desktop without windows or screen.
    explicit X11WindowList(std::shared_ptr<X11Connection> connection);

    std::optional<QList<WindowInfo>> onScreenWindows() override;
    std::optional<FrontmostApplication> frontmostApplication() override;

    // The window layer the detector's popups get: menus, tooltips and override-redirect windows.
    static constexpr int kPopupLayer = 101;

private:
    int layerOf(unsigned long client, bool overrideRedirect) const;
    bool isDesktop(unsigned long client) const;

    std::shared_ptr<X11Connection> m_connection;
};

} // namespace dialwise
