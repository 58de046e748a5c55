#pragma once

#include <QString>

#include <optional>

namespace dialwise {

// Whether the X display named in DISPLAY can be reached, asked with one plain xcb connection
// before the GUI module and Qt are loaded: Qt aborts in its platform plugin loader when the
// display named there does not answer. No value when the display answers, or when Dialwise is
// not going to use X (Wayland, or another Qt platform chosen in QT_QPA_PLATFORM); otherwise the
// sentence to tell the user: "cannot open display NAME".
std::optional<QString> unreachableDisplay();

} // namespace dialwise
