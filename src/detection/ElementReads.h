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

inline std::optional<QString> text(ElementTree &tree, const ElementHandle &element, Attribute attribute)
{
    AttributeValue value;
    if (tree.copyAttributeValue(element, attribute, value) != ElementTree::kSuccess)
        return std::nullopt;
    if (const QString *string = std::get_if<QString>(&value))
        return *string;
    return std::nullopt;
}

// The error code travels out so that a failure can be logged with it; 0 when the read succeeded
// but gave no element list.
inline std::optional<QList<ElementHandle>> elements(ElementTree &tree, const ElementHandle &element,
                                                    Attribute attribute, int *code = nullptr)
{
    AttributeValue value;
    const int result = tree.copyAttributeValue(element, attribute, value);
    if (code)
        *code = result;
    if (result != ElementTree::kSuccess)
        return std::nullopt;
    if (const QList<ElementHandle> *list = std::get_if<QList<ElementHandle>>(&value))
        return *list;
    return std::nullopt;
}

inline ElementHandle element(ElementTree &tree, const ElementHandle &from, Attribute attribute)
{
    AttributeValue value;
    if (tree.copyAttributeValue(from, attribute, value) != ElementTree::kSuccess)
        return nullptr;
    if (const ElementHandle *handle = std::get_if<ElementHandle>(&value))
        return *handle;
    return nullptr;
}

inline QSizeF size(ElementTree &tree, const ElementHandle &element)
{
    AttributeValue value;
    if (tree.copyAttributeValue(element, Attribute::size, value) != ElementTree::kSuccess)
        return QSizeF(0, 0);
    if (const QSizeF *size = std::get_if<QSizeF>(&value))
        return *size;
    return QSizeF(0, 0);
}

inline QPointF position(ElementTree &tree, const ElementHandle &element)
{
    AttributeValue value;
    if (tree.copyAttributeValue(element, Attribute::position, value) != ElementTree::kSuccess)
        return QPointF(0, 0);
    if (const QPointF *point = std::get_if<QPointF>(&value))
        return *point;
    return QPointF(0, 0);
}

} // namespace dialwise::elementreads
