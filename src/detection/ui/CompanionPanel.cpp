#include "detection/ui/CompanionPanel.h"

#include "detection/CompanionTitle.h"
#include "detection/ui/HoverButton.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QRegion>
#include <QResizeEvent>
#include <QScreen>

namespace dialwise {
namespace {

// A popover is the window colour, very slightly see-through so it reads as floating.
constexpr int kBackgroundAlpha = 245;
constexpr int kSeparatorAlpha = 60;

class WidgetPanel final : public Panel
{
public:
    explicit WidgetPanel(CompanionPanel *panel)
        : m_panel(panel)
    {
    }
    ~WidgetPanel() override { close(); }

    void close() override
    {
        if (!m_panel)
            return;
        // Later, not now: the close may come from the strip's own button while it is clicked.
        // Only the click is cut: a blanket disconnect() would also cut Qt's accessibility cache
        // from the strip's destroyed() signal, so the strip's dead accessible would stay cached
        // under its address, and the next strip allocated there would be published through it:
        // a screen reader would find no strip in Dialwise at all.
        QObject::disconnect(m_panel, &CompanionPanel::clicked, nullptr, nullptr);
        m_panel->hide();
        m_panel->deleteLater();
        m_panel = nullptr;
    }

private:
    QPointer<CompanionPanel> m_panel;
};

} // namespace

CompanionPanel::CompanionPanel(const QString &phoneNumber, const QString &numberText, QWidget *parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus
                          | Qt::X11BypassWindowManagerHint)
    , m_button(new HoverButton(phoneNumber, numberText, this))
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TranslucentBackground);
    setFocusPolicy(Qt::NoFocus);
    setWindowTitle(QStringLiteral("Call with Dialwise"));
    setAccessibleName(QStringLiteral("Call with Dialwise"));
    setFixedHeight(kHeight);
    connect(m_button, &QPushButton::clicked, this, &CompanionPanel::clicked);
}

QColor CompanionPanel::backgroundColor() const
{
    QColor color = palette().color(QPalette::Window);
    color.setAlpha(kBackgroundAlpha);
    return color;
}

QColor CompanionPanel::separatorColor() const
{
    QColor color = palette().color(QPalette::WindowText);
    color.setAlpha(kSeparatorAlpha);
    return color;
}

QPainterPath CompanionPanel::outline(const QRectF &bounds)
{
    // The popup's last row: square top edge against the popup, rounded lower corners.
    QPainterPath path;
    path.moveTo(bounds.topLeft());
    path.lineTo(bounds.topRight());
    path.lineTo(bounds.right(), bounds.bottom() - kCornerRadius);
    path.arcTo(QRectF(bounds.right() - 2 * kCornerRadius, bounds.bottom() - 2 * kCornerRadius, 2 * kCornerRadius,
                      2 * kCornerRadius),
               0, -90);
    path.lineTo(bounds.left() + kCornerRadius, bounds.bottom());
    path.arcTo(QRectF(bounds.left(), bounds.bottom() - 2 * kCornerRadius, 2 * kCornerRadius, 2 * kCornerRadius), 270,
               -90);
    path.closeSubpath();
    return path;
}

void CompanionPanel::paintEvent(QPaintEvent *)
{
    // Every pixel inside the window's shape is painted in full: the shape rounds the corners, and
    // a half-covered edge pixel would show black where no compositor blends it.
    QPainter painter(this);
    painter.fillRect(rect(), backgroundColor());

    // A one-pixel hairline along the top, inset on both sides like a popup's row separators.
    painter.fillRect(QRect(kSeparatorInset, 0, width() - 2 * kSeparatorInset, 1), separatorColor());
}

void CompanionPanel::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    // The button fills the strip below the hairline, also when the strip is moved to its exact
    // device pixels and Qt rounds its logical size anew.
    m_button->setGeometry(0, 1, width(), height() - 1);
    // Without a compositor the translucent corners would show black: the outline becomes the
    // window's shape, so whatever is behind shows through them on any desktop.
    setMask(QRegion(outline(rect()).toFillPolygon().toPolygon()));
}

CompanionPanelView::CompanionPanelView(const CallManager &callManager, DevicePlacement devicePlacement)
    : m_callManager(callManager)
    , m_devicePlacement(std::move(devicePlacement))
{
}

QScreen *CompanionPanelView::screenHolding(const QRectF &deviceRect)
{
    // Qt keeps each monitor's origin in device pixels and scales only its size.
    const QPointF middle = deviceRect.center();
    for (QScreen *screen : QGuiApplication::screens()) {
        const QRect geometry = screen->geometry();
        const QRectF device(geometry.topLeft(), QSizeF(geometry.size()) * screen->devicePixelRatio());
        if (device.contains(middle))
            return screen;
    }
    return QGuiApplication::primaryScreen();
}

QRectF CompanionPanelView::toLogical(const QRectF &deviceRect, const QScreen *screen)
{
    if (!screen)
        return deviceRect;
    const QPointF origin = screen->geometry().topLeft();
    const qreal ratio = screen->devicePixelRatio();
    return QRectF(origin + (deviceRect.topLeft() - origin) / ratio, deviceRect.size() / ratio);
}

std::unique_ptr<Panel> CompanionPanelView::showPanel(const StripPlacement &placement, const QString &phoneNumber,
                                                     std::function<void()> onClick)
{
    auto *panel = new CompanionPanel(phoneNumber, companiontitle::numberText(phoneNumber, m_callManager));
    QObject::connect(panel, &CompanionPanel::clicked, panel, [onClick = std::move(onClick)] { onClick(); });

    // Height and overlap are points, so they are laid out in logical coordinates on the popup's
    // own monitor: 30 points are 30 device pixels at 1x and 60 at 2x.
    QScreen *screen = screenHolding(placement.popupFrame);
    const QRectF popup = toLogical(placement.popupFrame, screen);
    QRectF logical(popup.left(), popup.bottom() - placement.overlap, popup.width(), placement.height);
    if (placement.width > 0) {
        logical.setWidth(placement.width);
        if (screen) {
            // Under a number in text: the strip stays whole on the number's monitor.
            // A QRectF's right and bottom are one past its last pixel, as the strip's are.
            const QRectF monitor(screen->geometry());
            if (logical.right() > monitor.right())
                logical.moveLeft(monitor.right() - logical.width());
            if (logical.left() < monitor.left())
                logical.moveLeft(monitor.left());
            if (logical.bottom() > monitor.bottom())
                logical.moveBottom(popup.top());
        }
    }
    const QRect geometry = logical.toRect();
    if (screen)
        panel->setScreen(screen);
    panel->setFixedHeight(geometry.height());
    panel->setGeometry(geometry);
    panel->show();
    if (m_devicePlacement) {
        const qreal ratio = screen ? screen->devicePixelRatio() : 1;
        const QRectF popupFrame = placement.popupFrame;
        QRect device;
        if (placement.width > 0 && screen) {
            // The logical rectangle back in device pixels, from the monitor's own origin.
            const QPointF origin = screen->geometry().topLeft();
            const QPointF topLeft = origin + (logical.topLeft() - origin) * ratio;
            // Unmoved edges stay on the number's own device pixels.
            const double left = logical.left() == popup.left() ? popupFrame.left() : topLeft.x();
            const double top = logical.top() == popup.bottom() ? popupFrame.bottom() : topLeft.y();
            device = QRect(qRound(left), qRound(top), qRound(placement.width * ratio), qRound(placement.height * ratio));
        } else {
            // The same strip in device pixels, from the popup's own edges: its left edge, its
            // width, and the overlap and height at this monitor's ratio.
            device = QRect(qRound(popupFrame.left()), qRound(popupFrame.bottom() - placement.overlap * ratio),
                           qRound(placement.width > 0 ? placement.width * ratio : popupFrame.width()),
                           qRound(placement.height * ratio));
        }
        m_devicePlacement(panel->winId(), device);
    }
    // Above whatever popup or menu was mapped before it.
    panel->raise();
    m_current = panel;
    return std::make_unique<WidgetPanel>(panel);
}

} // namespace dialwise
