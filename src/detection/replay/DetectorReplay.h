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
//
// The scenario, a JSON object (unknown keys are an error):
//   "region"        phone-number region for texts without a country code (default "US")
//   "screenHeight"  main screen height (default 1080); null: no main screen
//   "trusted"       the accessibility trust answer (default true)
//   "elements"      { id: { "AXRole": "...", "AXTitle": "...", "AXPosition": [x, y],
//                   "AXSize": [w, h], "AXChildren": [ids], "AXVisibleChildren": [ids],
//                   "AXWindows": [ids], "AXParent": id, ..., "errors": { attribute: code } } }
//                   A value of another JSON type is kept as it is (a wrongly typed attribute);
//                   an attribute not given reads as absent. An element showing text (a label,
//                   an editor, a paragraph) also carries
//                     "text": { "value": "...", "unit": "codePoints" (default) or "utf16",
//                               "layout": { "origin": [x, y], "advance": 8, "lineHeight": 16,
//                                           "rightToLeft": false }
//                               or "rects": [[x, y, w, h], ...] (one per offset),
//                               "characterCount": n (only when the program miscounts) }
//                   The layout puts each offset one advance wide and starts a new line, one
//                   lineHeight lower, after each line feed; origin is the first line's top-left
//                   corner, its top-right one for right-to-left text, whose offsets run leftwards.
//                   A click's text is found from the hit rectangle at the click: that element,
//                   else its nearest "AXParent" with text, else the first "AXChildren"
//                   descendant with a character drawn at the point.
//   "applications"  { pid: element id }
//   "hitTest"       [ { "rect": [x, y, w, h], "element": id or null } ]: the element at a
//                   top-left-origin point is the first rectangle's holding it
//   "timeline"      [ { "at": seconds, and one of: "windows": [entries] or null (the query
//                   fails), "frontmost": { "pid", "name" } or null, "start": true,
//                   "click": [x, y] (bottom-left origin), "companionClick": true,
//                   "stop": true, "text": { "element": id, "text": { as above } or null (the
//                   element shows no text any more) } } ], in time order; an event runs after the deferred work due
//                   at the same instant. Window entries: "number", "pid", "owner", "layer",
//                   "bounds": { "X", "Y", "Width", "Height" }, each optional and of any type;
//                   an entry without a whole "number", a whole "pid" and all-number "bounds" is
//                   left out of the list (the detector would skip it without a word).
//   "until"         end of virtual time (default: the last event + 25 s)
namespace replay {

// Plays a scenario given as JSON text; each output line goes to emitLine (without a line feed).
// Returns the reason when the scenario is not valid (nothing is played then).
std::optional<QString> play(const QByteArray &json, const std::function<void(const QString &line)> &emitLine);

// The command: reads the file, plays it to stdout. Errors go to stderr as
// "dialwise: SCENARIO: reason"; the result is the exit status (0, or 1 on error).
int run(const QString &path);

} // namespace replay
} // namespace dialwise
