#pragma once

#include "ClickSource.h"
#include "ElementTree.h"
#include "Screen.h"
#include "WindowList.h"

#include <QString>

#include <memory>

namespace dialwise {

class X11ClickSource;

// The click detector's backends for this desktop, made together because they share one X
// connection. Without an X server the window list and screen answer "nothing" and the click
// source cannot install; `clickSourceUnavailable` then says why, for the detector's log.
struct LinuxDetectionBackends
{
    std::shared_ptr<ElementTree> elementTree;
    std::shared_ptr<WindowList> windowList;
    std::shared_ptr<Screen> screen;
    std::shared_ptr<ClickSource> clickSource;

    static LinuxDetectionBackends create();
    // Empty while clicks can be heard; else one line for the log.
    QString clickSourceUnavailable() const;

private:
    std::shared_ptr<X11ClickSource> m_x11ClickSource;
};

} // namespace dialwise
