#pragma once

#include <QIcon>

namespace dialwise {

// The tray icon with a dot in its top right corner, for unread calls and messages. Drawn at each
// size the tray may ask for, so the dot stays round and visible at 16 pixels as at 64.
QIcon withUnreadDot(const QIcon &icon);

} // namespace dialwise
