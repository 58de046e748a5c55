#include "detection/DetectorText.h"

#include <charconv>
#include <cmath>

namespace dialwise::detectortext {

QString number(double value)
{
    if (std::isnan(value))
        return QStringLiteral("nan");
    if (std::isinf(value))
        return value > 0 ? QStringLiteral("inf") : QStringLiteral("-inf");
    // Fixed notation, shortest round trip: 100000000 stays 100000000.0 rather than 1e+08.
    char buffer[400];
    const std::to_chars_result result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed);
    QString text = QString::fromLatin1(buffer, result.ptr - buffer);
    if (!text.contains(u'.'))
        text += QStringLiteral(".0");
    return text;
}

QString frame(const QRectF &rect)
{
    const QString comma = QStringLiteral(", ");
    return u'(' + number(rect.x()) + comma + number(rect.y()) + comma + number(rect.width()) + comma
        + number(rect.height()) + u')';
}

} // namespace dialwise::detectortext
