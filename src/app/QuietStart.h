#pragma once

#include <QStringView>

#include <QtGlobal>

namespace dialwise {

// What the running Dialwise prints on stderr. By default one line at start, the drawing path
// (dialwise.renderer); everything else a start used to print (the web engine's flag list, page
// console messages, Qt's notes about OpenGL and the sandbox on a software-drawn display) is
// diagnostics, kept under logging categories that QT_LOGGING_RULES turns on:
//   qt.webenginecontext  the web engine's flags and graphics set-up
//   js                   the web page's console
//   dialwise.qt          Qt's own notes listed in QuietStart.cpp, harmless where they come
// Dialwise's own categories (dialwise.*) say what they say as before.
namespace quietstart {

// The filter rules applied before QT_LOGGING_RULES, which therefore still overrides each.
inline constexpr char kDefaultRules[] = "qt.webenginecontext.info=false\n"
                                        "js=false\n";
inline constexpr char kQtNotesCategory[] = "dialwise.qt";

// The category a message of Qt's is moved to: kQtNotesCategory for the notes known to be
// harmless, or nullptr to leave it where it is (an unknown message may matter).
const char *categoryFor(const char *category, QStringView message);

// Sets the rules and installs the message handler; before the application object exists, so
// that nothing of the start escapes it.
void install();

} // namespace quietstart
} // namespace dialwise
