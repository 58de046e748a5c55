#pragma once

#include "detection/ClickSource.h"
#include "detection/ElementTree.h"
#include "detection/Screen.h"
#include "detection/WindowList.h"

#include <QString>

#include <memory>

namespace dialwise {

// The click detector's backends for this desktop, made together because they share one X
// connection. Without an X server the window list and screen answer "nothing" and the click
// source cannot install, and says why through its own interface.
struct LinuxDetectionBackends
{
    std::shared_ptr<ElementTree> elementTree;
    std::shared_ptr<WindowList> windowList;
    std::shared_ptr<Screen> screen;
    std::shared_ptr<ClickSource> clickSource;

    static LinuxDetectionBackends create();
};

} // namespace dialwise
