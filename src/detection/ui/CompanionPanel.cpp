#include "CompanionPanel.h"

#include "CompanionTitle.h"
#include "HoverButton.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
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
        m_panel->disconnect();
        m_panel->hide();
        m_panel->deleteLater();
        m_panel = nullptr;
    }

private:
    QPointer<CompanionPanel> m_panel;
};

} // namespace

CompanionPanel::CompanionPanel(const QString &phoneNumber, const QString &numberText, QWidget *parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus)
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

void CompanionPanel::paintEvent(QPaintEvent *)
{
    // The popup's last row: square top edge against the popup, rounded lower corners.
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bounds = rect();
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
    painter.fillPath(path, backgroundColor());

    // A one-pixel hairline along the top, inset on both sides like a popup's row separators.
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.fillRect(QRect(kSeparatorInset, 0, width() - 2 * kSeparatorInset, 1), separatorColor());
}

CompanionPanelView::CompanionPanelView(const CallManager &callManager)
    : m_callManager(callManager)
{
}

std::unique_ptr<Panel> CompanionPanelView::showPanel(const QRectF &frame, const QString &phoneNumber,
                                                     std::function<void()> onClick)
{
    auto *panel = new CompanionPanel(phoneNumber, companiontitle::numberText(phoneNumber, m_callManager));
    QObject::connect(panel, &CompanionPanel::clicked, panel, [onClick = std::move(onClick)] { onClick(); });

    const QScreen *screen = QGuiApplication::primaryScreen();
    const qreal screenHeight = screen ? screen->geometry().height() : 0;
    const QRect geometry = QRectF(frame.x(), screenHeight - (frame.y() + frame.height()), frame.width(), frame.height())
                               .toAlignedRect();
    panel->setGeometry(geometry);
    // The button fills the strip below the hairline.
    panel->button()->setGeometry(0, 1, geometry.width(), geometry.height() - 1);
    panel->show();
    m_current = panel;
    return std::make_unique<WidgetPanel>(panel);
}

} // namespace dialwise
