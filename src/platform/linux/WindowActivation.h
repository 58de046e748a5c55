#pragma once

class QWidget;

namespace dialwise {

// Shows the top-level widget, raises it and gives it the keyboard focus, in front of other
// programs' windows too. Qt's activateWindow() asks an X11 window manager politely (as the
// application itself), and focus-stealing prevention may refuse that when the request comes
// from outside, such as a tel: link clicked in a browser; this also sends the request the way a
// pager or taskbar would, which window managers honour.
void bringToFront(QWidget *window);

} // namespace dialwise
