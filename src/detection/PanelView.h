#pragma once

#include <QRectF>
#include <QString>

#include <functional>
#include <memory>

namespace dialwise {

// Where a strip goes: under popupFrame (top-left origin, device pixels, as the window list and the
// element tree give it), exactly as wide, `height` points high, its top `overlap` points over the
// popup's lower edge. Height and overlap are points, not pixels: the strip is drawn at the density
// of the monitor that holds the popup, so on a 2x monitor 30 points are 60 device pixels.
//
// Under a phone number in a program's text the strip has a width of its own instead (`width`
// points, not 0): its top-left corner at the number's bottom-left one (popupFrame is then the
// number's rectangle), and wholly on the monitor that holds the number: moved left where it would
// cross that monitor's right edge, put above the number where it would cross its bottom edge.
struct StripPlacement
{
    QRectF popupFrame;
    double height = 0;
    double overlap = 0;
    double width = 0; // points; 0: exactly the popup's width

    // The strip in the bottom-left-origin form the log lines write, measured against the main
    // screen's height, with height and overlap taken as they are.
    QRectF bottomLeftFrame(double mainScreenHeight) const
    {
        return QRectF(popupFrame.x(), mainScreenHeight - (popupFrame.y() + popupFrame.height()) - height + overlap,
                      width > 0 ? width : popupFrame.width(), height);
    }
    bool operator==(const StripPlacement &) const = default;
};

// One companion strip on screen.
class Panel
{
public:
    virtual ~Panel() = default;
    // Takes the strip off the screen; its click action never runs afterwards. Harmless twice.
    virtual void close() = 0;
};

// Makes the "Call with Dialwise" strip under a found popup.
class PanelView
{
public:
    virtual ~PanelView() = default;
    // Shows a strip placed as `placement` says whose button reads "  Call with Dialwise" and,
    // unless phoneNumber is empty or "unknown", the number's display form. onClick runs when the
    // user clicks the button.
    virtual std::unique_ptr<Panel> showPanel(const StripPlacement &placement, const QString &phoneNumber,
                                             std::function<void()> onClick) = 0;
};

} // namespace dialwise
