#include "platform/linux/X11WindowPlacement.h"

#include "platform/linux/QtXcbConnection.h"

#include <QRect>

#include <xcb/xcb.h>

#include <cstdint>

namespace dialwise {

bool placeInDevicePixels(WId window, const QRect &deviceRect)
{
    xcb_connection_t *connection = qtXcbConnection();
    if (!connection || !window || deviceRect.isEmpty())
        return false;
    // Signed position, unsigned size, as the protocol carries them.
    const uint32_t values[] = {uint32_t(int32_t(deviceRect.x())), uint32_t(int32_t(deviceRect.y())),
                               uint32_t(deviceRect.width()), uint32_t(deviceRect.height())};
    xcb_configure_window(connection, xcb_window_t(window),
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         values);
    xcb_flush(connection);
    return true;
}

} // namespace dialwise
