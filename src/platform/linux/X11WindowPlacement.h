#pragma once

#include <qwindowdefs.h>

class QRect;

namespace dialwise {

// Puts a shown top-level window at exactly this rectangle in device pixels (root coordinates),
// through Qt's own X connection. Qt places windows in whole logical pixels, which at a ratio of 2
// or 1.5 cannot reach every device pixel; a strip that must line up with another program's popup
// needs the one it names. False, and nothing done, when the session is not X11.
bool placeInDevicePixels(WId window, const QRect &deviceRect);

} // namespace dialwise
