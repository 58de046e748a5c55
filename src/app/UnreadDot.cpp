#include "app/UnreadDot.h"

#include <QPainter>
#include <QPixmap>

namespace dialwise {
namespace {

// The sizes tray hosts draw icons at, from a classic 16-pixel panel to a 64-pixel HiDPI one.
constexpr int kSizes[] = {16, 22, 24, 32, 48, 64};
// The dot's diameter as a share of the icon: big enough to see at 16 pixels (7 px), small
// enough to leave the phone recognisable.
constexpr qreal kDotShare = 0.45;
// The red of notification badges, with a white ring that keeps it apart from a dark icon.
const QColor kDotColor(0xe5, 0x39, 0x35);

} // namespace

QIcon withUnreadDot(const QIcon &icon)
{
    QIcon result;
    for (int size : kSizes) {
        QPixmap pixmap = icon.pixmap(size, size);
        if (pixmap.isNull())
            pixmap = QPixmap(size, size);
        pixmap = pixmap.scaled(size, size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        const qreal diameter = size * kDotShare;
        const QRectF dot(size - diameter, 0, diameter, diameter);
        painter.setPen(QPen(Qt::white, std::max(1.0, size / 16.0)));
        painter.setBrush(kDotColor);
        painter.drawEllipse(dot.adjusted(0.5, 0.5, -0.5, -0.5));
        painter.end();
        result.addPixmap(pixmap);
    }
    return result;
}

} // namespace dialwise
