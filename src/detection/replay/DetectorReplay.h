#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

namespace dialwise {

// `dialwise --replay-detector SCENARIO.json`: the real DataDetectorMonitor on a scripted desktop
// and a virtual clock. Every event becomes one line, "<seconds with three decimals> <what>":
//   log <message>                      every message the monitor logs, as it is
//   panel-shown (x, y, w, h) "<number>" a strip at that frame; the button's number text
//   panel-closed                       the strip went away
//   call <number>                      CallManager's call() with that text
//   dial-dialog                        CallManager's dial dialog asked for
//   trust-prompt                       the accessibility trust check, with its prompt
// Nothing reaches the desktop: no log file, no strip, no call placed.
namespace replay {

// Plays a scenario given as JSON text; each output line goes to emitLine (without a line feed).
// Returns the reason when the scenario is not valid (nothing is played then).
std::optional<QString> play(const QByteArray &json, const std::function<void(const QString &line)> &emitLine);

// The command: reads the file, plays it to stdout. Errors go to stderr as
// "dialwise: SCENARIO: reason"; the result is the exit status (0, or 1 on error).
int run(const QString &path);

} // namespace replay
} // namespace dialwise
