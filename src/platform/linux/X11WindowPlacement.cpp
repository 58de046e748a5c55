#include "platform/linux/X11WindowPlacement.h"

#include <QGuiApplication>
#include <QRect>
#include <QWidget>

#include <xcb/xcb.h>

#include <cstdint>

namespace dialwise {

bool placeInDevicePixels(QWidget *window, const QRect &deviceRect)
{
    if (QGuiApplication::platformName() != u"xcb")
        return false;
    auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    xcb_connection_t *connection = x11 ? x11->connection() : nullptr;
    if (!connection || !window || deviceRect.isEmpty())
        return false;
    const auto id = xcb_window_t(window->winId());
    // Signed position, unsigned size, as the protocol carries them.
    const uint32_t values[] = {uint32_t(int32_t(deviceRect.x())), uint32_t(int32_t(deviceRect.y())),
                               uint32_t(deviceRect.width()), uint32_t(deviceRect.height())};
    xcb_configure_window(connection, id,
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         values);
    xcb_flush(connection);
    return true;
}

} // namespace dialwise
