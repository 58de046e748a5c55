#pragma once

#include <QString>

namespace dialwise {

class CallManager;

// The texts of the "Call with Dialwise" button, shared by the strip on screen and the replay tool.
namespace companiontitle {

// The button's text before the number, two blanks included: they keep it off the phone icon.
QString callText();
// Whether the strip's number can be called; otherwise the button opens the dial dialog.
bool isCallable(const QString &phoneNumber);
// The number's piece of the title, without its two leading blanks: the display form, or empty
// when the number is empty or "unknown".
QString numberText(const QString &phoneNumber, const CallManager &callManager);

} // namespace companiontitle
} // namespace dialwise
