#pragma once

#include "detection/ElementTree.h"

#include <QList>
#include <QPointF>
#include <QSizeF>
#include <QString>

#include <optional>

namespace dialwise::elementreads {

// Reads with the detector's convention: a failed read, an absent value and a value of the wrong
// type all count as "not available", and each caller picks its own default.

// The attribute's value when it can be read and is a T. The error code travels out so that a
// failure can be logged with it.
template <typename T>
std::optional<T> valueOf(ElementTree &tree, const ElementHandle &element, Attribute attribute, int *code = nullptr)
{
    AttributeValue value;
    const int result = tree.copyAttributeValue(element, attribute, value);
    if (code)
        *code = result;
    if (result != ElementTree::kSuccess)
        return std::nullopt;
    if (const T *typed = std::get_if<T>(&value))
        return *typed;
    return std::nullopt;
}

inline std::optional<QString> text(ElementTree &tree, const ElementHandle &element, Attribute attribute)
{
    return valueOf<QString>(tree, element, attribute);
}

// The code is 0 when the read succeeded but gave no element list.
inline std::optional<QList<ElementHandle>> elements(ElementTree &tree, const ElementHandle &element,
                                                    Attribute attribute, int *code = nullptr)
{
    return valueOf<QList<ElementHandle>>(tree, element, attribute, code);
}

inline ElementHandle element(ElementTree &tree, const ElementHandle &from, Attribute attribute)
{
    return valueOf<ElementHandle>(tree, from, attribute).value_or(nullptr);
}

inline QSizeF size(ElementTree &tree, const ElementHandle &element)
{
    return valueOf<QSizeF>(tree, element, Attribute::size).value_or(QSizeF(0, 0));
}

inline QPointF position(ElementTree &tree, const ElementHandle &element)
{
    return valueOf<QPointF>(tree, element, Attribute::position).value_or(QPointF(0, 0));
}

} // namespace dialwise::elementreads
