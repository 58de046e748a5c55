#pragma once

#include <QVariant>
#include <QVariantMap>

#include <cmath>
#include <limits>
#include <optional>

namespace dialwise::windowfields {

// A recorded window list's fields arrive as whatever the recording put there. A field counts only
// when it is a number that the wanted type holds exactly, as a number bridged from a window
// server would.
inline bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Double:
    case QMetaType::Float:
        return true;
    default:
        return false;
    }
}

template<typename Integer>
inline std::optional<Integer> exactInteger(const QVariant &value)
{
    if (!isNumber(value))
        return std::nullopt;
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float) {
        const double number = value.toDouble();
        if (!std::isfinite(number) || std::trunc(number) != number
            || number < double(std::numeric_limits<Integer>::min())
            || number > double(std::numeric_limits<Integer>::max()))
            return std::nullopt;
        return Integer(number);
    }
    if (value.typeId() == QMetaType::ULongLong || value.typeId() == QMetaType::ULong) {
        const qulonglong number = value.toULongLong();
        if (number > qulonglong(std::numeric_limits<Integer>::max()))
            return std::nullopt;
        return Integer(number);
    }
    const qlonglong number = value.toLongLong();
    if (number < qlonglong(std::numeric_limits<Integer>::min()) || number > qlonglong(std::numeric_limits<Integer>::max()))
        return std::nullopt;
    return Integer(number);
}

// A bounds dictionary counts only when every value is a number.
inline std::optional<QVariantMap> bounds(const QVariant &bounds)
{
    if (bounds.typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    const QVariantMap map = bounds.toMap();
    for (const QVariant &value : map) {
        if (!isNumber(value))
            return std::nullopt;
    }
    return map;
}

} // namespace dialwise::windowfields
