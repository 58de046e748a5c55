#include "platform/linux/QtXcbConnection.h"

#include <QGuiApplication>

#include <xcb/xcb.h>

namespace dialwise {

xcb_connection_t *qtXcbConnection()
{
    if (QGuiApplication::platformName() != u"xcb")
        return nullptr;
    auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

} // namespace dialwise
