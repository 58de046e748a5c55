#pragma once

#include <QRectF>
#include <QString>

#include <functional>
#include <memory>

namespace dialwise {

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
    // Shows a strip at frame (bottom-left origin against the main screen's height) whose button
    // reads "  Call with Dialwise" and, unless phoneNumber is empty or "unknown", the number's
    // display form. onClick runs when the user clicks the button.
    virtual std::unique_ptr<Panel> showPanel(const QRectF &frame, const QString &phoneNumber,
                                             std::function<void()> onClick) = 0;
};

} // namespace dialwise
