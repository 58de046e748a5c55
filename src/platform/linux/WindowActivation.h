#pragma once

#include <qwindowdefs.h>

namespace dialwise {

// Asks the X11 window manager to activate a top-level window of this process the way a pager or
// taskbar would, which window managers honour. Qt's activateWindow() asks politely, as the
// application itself, and focus-stealing prevention may refuse that when the request comes from
// outside, such as a tel: link clicked in a browser. The caller shows and raises the window
// first; nothing happens when the session is not X11.
void requestActivation(WId window);

} // namespace dialwise
