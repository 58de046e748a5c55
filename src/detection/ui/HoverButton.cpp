#include "detection/ui/HoverButton.h"

#include "detection/CompanionTitle.h"

#include <QEnterEvent>
#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>

namespace dialwise {
namespace {

// The popup's own rows, in pixels as the popup draws them: the action reads first, the number a
// step quieter (smaller, and dimmer: readable, but clearly under the action; a little brighter
// while the pointer is on the strip).
constexpr int kTitlePixelSize = 13;
struct SecondaryText
{
    int pixelSize;
    qreal restingOpacity;
    qreal hoveredOpacity;
};
constexpr SecondaryText kNumberText{11, 0.55, 0.8};
constexpr int kIconSize = 12;
constexpr qreal kCornerRadius = 4;

QFont sizedFont(const QFont &base, int pixelSize)
{
    QFont font = base;
    font.setPixelSize(pixelSize);
    return font;
}

} // namespace

HoverButton::HoverButton(const QString &phoneNumber, const QString &numberText, QWidget *parent)
    : QPushButton(parent)
    , m_phoneNumber(phoneNumber)
    , m_numberText(numberText)
{
    setFlat(true);
    setFocusPolicy(Qt::NoFocus);
    setAttribute(Qt::WA_Hover);
    setCursor(Qt::PointingHandCursor);
    // What a screen reader says: the action and, when there is one, the number it calls.
    setAccessibleName(m_numberText.isEmpty() ? QStringLiteral("Call with Dialwise")
                                             : QStringLiteral("Call with Dialwise ") + m_numberText);
    rebuildTitle(false);
}

QStringList HoverButton::titlePieces() const
{
    QStringList pieces{companiontitle::callText()};
    if (!m_numberText.isEmpty())
        pieces.append(QStringLiteral("  ") + m_numberText);
    return pieces;
}

QIcon HoverButton::phoneIcon()
{
    return QIcon::fromTheme(QStringLiteral("call-start"), QIcon(QStringLiteral(":/dialwise/detection/phone.svg")));
}

void HoverButton::rebuildTitle(bool hovered)
{
    m_hovered = hovered;
    if (hovered) {
        m_primary = Qt::white;
        m_secondary = QColor(255, 255, 255, int(255 * kNumberText.hoveredOpacity));
        m_background = palette().color(QPalette::Highlight);
    } else {
        m_primary = palette().color(QPalette::WindowText);
        m_secondary = m_primary;
        m_secondary.setAlphaF(float(kNumberText.restingOpacity));
        m_background = Qt::transparent;
    }
    setText(titlePieces().join(QString())); // for accessibility and size hints
    update();
}

void HoverButton::enterEvent(QEnterEvent *event)
{
    QPushButton::enterEvent(event);
    rebuildTitle(true);
}

void HoverButton::leaveEvent(QEvent *event)
{
    QPushButton::leaveEvent(event);
    rebuildTitle(false);
}

void HoverButton::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_background.alpha() > 0) {
        QPainterPath path;
        path.addRoundedRect(QRectF(rect()), kCornerRadius, kCornerRadius);
        painter.fillPath(path, m_background);
    }

    // "  " + icon + "  Call with Dialwise" + "  number", on one baseline, from the left.
    const QFont titleFont = sizedFont(font(), kTitlePixelSize);
    const QFont numberFont = sizedFont(font(), kNumberText.pixelSize);
    const QFontMetricsF titleMetrics(titleFont);
    qreal x = titleMetrics.horizontalAdvance(QStringLiteral("  "));
    const qreal baseline = (height() + titleMetrics.ascent() - titleMetrics.descent()) / 2;

    const QIcon icon = phoneIcon();
    if (!icon.isNull()) {
        const QRectF iconRect(x, (height() - kIconSize) / 2.0, kIconSize, kIconSize);
        // Tinted to the title colour so that it turns white with the text on hover.
        QPixmap pixmap = icon.pixmap(QSize(kIconSize, kIconSize), devicePixelRatioF());
        QPainter tint(&pixmap);
        tint.setCompositionMode(QPainter::CompositionMode_SourceIn);
        tint.fillRect(pixmap.rect(), m_primary);
        tint.end();
        painter.drawPixmap(iconRect, pixmap, QRectF(pixmap.rect()));
        x += kIconSize;
    }

    const QStringList pieces = titlePieces();
    painter.setFont(titleFont);
    painter.setPen(m_primary);
    painter.drawText(QPointF(x, baseline), pieces[0]);
    x += titleMetrics.horizontalAdvance(pieces[0]);
    if (pieces.size() > 1) {
        painter.setFont(numberFont);
        painter.setPen(m_secondary);
        painter.drawText(QPointF(x, baseline), pieces[1]);
    }
}

} // namespace dialwise
