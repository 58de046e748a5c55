#pragma once

#include <QPointF>

#include <optional>

namespace dialwise {

// The geometry the detector works in: top-left origin, device pixels, exactly as the window list
// and the element tree report them, on every monitor of the desktop. The strip's window alone
// turns that into the toolkit's logical coordinates.
class Screen
{
public:
    virtual ~Screen() = default;
    // Height of the main screen in device pixels. The log lines also write the click and the
    // strip in the bottom-left-origin form measured against it (y' = height - y). No value when
    // there is no screen.
    virtual std::optional<double> mainScreenHeight() = 0;
    // The pointer now: top-left origin, device pixels.
    virtual QPointF pointerPosition() = 0;
};

} // namespace dialwise
