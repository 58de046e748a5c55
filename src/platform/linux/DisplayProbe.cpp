#include "platform/linux/DisplayProbe.h"

#include <cstdlib>
#include <cstring>
#include <xcb/xcb.h>

namespace dialwise {

std::optional<QString> unreachableDisplay()
{
    const char *display = std::getenv("DISPLAY");
    if (!display || !*display)
        return std::nullopt;
    // Qt picks X only when told to, or when no Wayland compositor is named.
    const char *platform = std::getenv("QT_QPA_PLATFORM");
    if (platform && *platform && std::strncmp(platform, "xcb", 3) != 0)
        return std::nullopt;
    const char *wayland = std::getenv("WAYLAND_DISPLAY");
    if ((!platform || !*platform) && wayland && *wayland)
        return std::nullopt;

    xcb_connection_t *connection = xcb_connect(display, nullptr);
    const bool failed = xcb_connection_has_error(connection) != 0;
    xcb_disconnect(connection);
    if (!failed)
        return std::nullopt;
    return QStringLiteral("cannot open display %1").arg(QString::fromLocal8Bit(display));
}

} // namespace dialwise
