#pragma once

#include "tests/e2e/ShellRig.h"

#include <QElapsedTimer>
#include <QPoint>
#include <QRect>
#include <QString>

#include <optional>

namespace dialwise::testing {

// What the detector's end-to-end tests look at on the private X desktop: the strip's window,
// the clicks that bring it, and the frames the detector writes to its log.

inline const QString kStripTitle = QStringLiteral("Call with Dialwise");
// A click's last scan attempt runs this long after it.
inline constexpr int kLastAttemptMs = 1500;

// Moves the pointer there and clicks, as a user would (xdotool).
bool xdotoolClick(const QPoint &at);
// A window's rectangle in root coordinates as xwininfo reports it.
std::optional<QRect> xwininfoGeometry(unsigned long id);
// The first viewable strip's rectangle, once one is up within the time.
std::optional<QRect> waitForStripGeometry(int timeoutMs);
// True once no strip is viewable within the time.
bool stripGone(int timeoutMs);
// The frame as the detector's log lines write it: "(90.0, 129.0, 260.0, 120.0)".
QString logFrame(const QRect &rect);

// A click's scan attempts are never cancelled: until the last of them has run, one of them may
// find a popup still open and show the strip again, or run just after the next click and be
// taken for that click's first attempt. This waits them out after the click timed by `click`
// (nothing to wait for when it never started).
void waitForScansAfter(const QElapsedTimer &click);

} // namespace dialwise::testing
