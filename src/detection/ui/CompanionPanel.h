#pragma once

#include "detection/PanelView.h"

#include <QPainterPath>
#include <QPointer>
#include <QWidget>

#include <functional>

class QScreen;

namespace dialwise {

class CallManager;
class HoverButton;

// The strip on screen: 30 high, the popup's width (260 under a number in text), a popover-like background whose two lower
// corners are rounded, a hairline along the top and the HoverButton filling the rest. It never
// takes focus, so the popup's program keeps it. On X11 it is an override-redirect window like the
// popups and menus it joins: mapped after the popup it stacks above it, no window manager moves or
// restacks it, and it shows on every workspace. Its outline is also its window shape, so the lower
// corners stay rounded where no compositor blends the translucent background.
class CompanionPanel final : public QWidget
{
    Q_OBJECT

public:
    static constexpr int kHeight = 30;
    static constexpr qreal kCornerRadius = 8;
    static constexpr int kSeparatorInset = 12;

    CompanionPanel(const QString &phoneNumber, const QString &numberText, QWidget *parent = nullptr);

    HoverButton *button() const { return m_button; }
    QColor backgroundColor() const;
    QColor separatorColor() const;

    // The strip's outline in its own (logical) coordinates: square top, rounded lower corners.
    static QPainterPath outline(const QRectF &bounds);

Q_SIGNALS:
    void clicked();

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    HoverButton *m_button;
};

// Makes CompanionPanels for the detector. The popup's frame arrives in device pixels, top-left
// origin, across the whole desktop; this is the one place that turns it into Qt's logical
// coordinates, with the monitor that holds the popup and that monitor's device-pixel ratio.
class CompanionPanelView final : public PanelView
{
public:
    // Puts a shown strip at exactly a device-pixel rectangle; false when this desktop cannot.
    using DevicePlacement = std::function<bool(WId strip, const QRect &deviceRect)>;

    // Without a device placement the strip goes where Qt's whole logical pixels can put it: on a
    // 2x monitor that is the nearest even device pixel.
    explicit CompanionPanelView(const CallManager &callManager, DevicePlacement devicePlacement = {});

    std::unique_ptr<Panel> showPanel(const StripPlacement &placement, const QString &phoneNumber,
                                     std::function<void()> onClick) override;

    // The monitor holding the middle of a device-pixel rectangle (the primary one when none
    // does), and a device-pixel rectangle on it in Qt's logical coordinates.
    static QScreen *screenHolding(const QRectF &deviceRect);
    static QRectF toLogical(const QRectF &deviceRect, const QScreen *screen);

    // The strip last shown while it is still open, for tests.
    CompanionPanel *currentPanel() const { return m_current; }

private:
    const CallManager &m_callManager;
    DevicePlacement m_devicePlacement;
    QPointer<CompanionPanel> m_current;
};

} // namespace dialwise
