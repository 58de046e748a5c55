#include "webcall/Spinner.h"

#include <QPainter>
#include <QPalette>

namespace dialwise {
namespace {

constexpr int kSpokes = 12;
// One spoke per 80 ms: a full turn a little under a second, calm but clearly alive.
constexpr int kStepMs = 80;
// The size of a small control's spinner next to a 28-pixel field.
constexpr int kSide = 16;

} // namespace

Spinner::Spinner(QWidget *parent)
    : QWidget(parent)
{
    setFixedSize(sizeHint());
    setAttribute(Qt::WA_TransparentForMouseEvents);
    m_timer.setInterval(kStepMs);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        m_step = (m_step + 1) % kSpokes;
        update();
    });
}

void Spinner::startAnimation()
{
    m_animating = true;
    if (isVisible() && !m_timer.isActive())
        m_timer.start();
}

void Spinner::stopAnimation()
{
    m_animating = false;
    m_timer.stop();
}

// Qt sends these to every child when the window itself is hidden or shown, so the timer follows
// the window too.
void Spinner::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (m_animating && !m_timer.isActive())
        m_timer.start();
}

void Spinner::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    m_timer.stop();
}

QSize Spinner::sizeHint() const
{
    const QMargins margins = contentsMargins();
    return QSize(kSide + margins.left() + margins.right(), kSide + margins.top() + margins.bottom());
}

void Spinner::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    // Drawn in the contents rectangle: its margins are where it lies over something else (the
    // phone field's border) that must stay visible.
    const QRectF area = contentsRect();
    painter.translate(area.center());
    const qreal outer = std::min(area.width(), area.height()) / 2.0 - 1.0;
    const qreal inner = outer * 0.45;
    QColor colour = palette().color(QPalette::WindowText);
    for (int i = 0; i < kSpokes; ++i) {
        // The spoke at m_step is the brightest; the ones behind it fade out.
        const int age = (m_step - i + kSpokes) % kSpokes;
        colour.setAlphaF(1.0 - 0.75 * age / (kSpokes - 1));
        painter.setPen(QPen(colour, 1.6, Qt::SolidLine, Qt::RoundCap));
        painter.save();
        painter.rotate(i * 360.0 / kSpokes);
        painter.drawLine(QPointF(0, -inner), QPointF(0, -outer));
        painter.restore();
    }
}

} // namespace dialwise
