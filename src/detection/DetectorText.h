#pragma once

#include <QRectF>
#include <QString>

namespace dialwise::detectortext {

// A number as the detector's log lines write it: the shortest decimal that reads back to the same
// double, always with a fractional part (512.0, 100.5, 0.1), so that a log is unambiguous about
// what the accessibility API or the window list answered.
QString number(double value);
// "(x, y, width, height)", each as number().
QString frame(const QRectF &rect);

} // namespace dialwise::detectortext
