#pragma once

#include <QPointF>

#include <optional>

namespace dialwise {

// The geometry the detector converts with. Clicks and the strip's frame are bottom-left-origin
// (y up); the element tree and the window list are top-left-origin (y down). Both conversions use
// the main screen's height: y' = height - y.
class Screen
{
public:
    virtual ~Screen() = default;
    // Height of the main screen; no value when there is no screen.
    virtual std::optional<double> mainScreenHeight() = 0;
    // The pointer now, bottom-left origin.
    virtual QPointF mouseLocation() = 0;
};

} // namespace dialwise
