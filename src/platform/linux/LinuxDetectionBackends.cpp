#include "platform/linux/LinuxDetectionBackends.h"

#include "platform/linux/AtspiElementTree.h"
#include "platform/linux/X11ClickSource.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11Screen.h"
#include "platform/linux/X11WindowList.h"

namespace dialwise {

LinuxDetectionBackends LinuxDetectionBackends::create()
{
    // Null under Wayland without XWayland; every X11 piece then answers "nothing".
    const std::shared_ptr<X11Connection> x11 = X11Connection::open();
    LinuxDetectionBackends backends;
    backends.elementTree = std::make_shared<AtspiElementTree>(x11);
    backends.windowList = std::make_shared<X11WindowList>(x11);
    backends.screen = std::make_shared<X11Screen>(x11);
    backends.clickSource = std::make_shared<X11ClickSource>();
    return backends;
}

} // namespace dialwise
