#pragma once

#include <QString>

#include <cstdio>

namespace dialwise {

// Writes text to a stream in the locale's encoding, as a command-line program should.
void printText(const QString &text, FILE *stream);

// Says why a request failed: "dialwise: <error>" on stderr. Answers whether the desktop should
// show it as well, which is when nobody reads stderr (Dialwise started from a link or a keyboard
// shortcut); the caller posts the notification on whichever bus connection it already has.
bool printFailure(const QString &error);

} // namespace dialwise
