#pragma once

#include "PanelView.h"

#include <QPointer>
#include <QWidget>

#include <functional>

namespace dialwise {

class CallManager;
class HoverButton;

// The strip on screen: 30 high, the popup's width, a popover-like background whose two lower
// corners are rounded, a hairline along the top and the HoverButton filling the rest. It floats
// above everything and never takes focus, so the popup's program keeps it.
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

Q_SIGNALS:
    void clicked();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    HoverButton *m_button;
};

// Makes CompanionPanels for the detector. Frames arrive bottom-left-origin against the main
// screen's height and are turned into Qt's top-left origin with that same height.
class CompanionPanelView final : public PanelView
{
public:
    explicit CompanionPanelView(const CallManager &callManager);

    std::unique_ptr<Panel> showPanel(const QRectF &frame, const QString &phoneNumber,
                                     std::function<void()> onClick) override;

    // The strip last shown while it is still open, for tests.
    CompanionPanel *currentPanel() const { return m_current; }

private:
    const CallManager &m_callManager;
    QPointer<CompanionPanel> m_current;
};

} // namespace dialwise
