#pragma once

#include "detection/TextNumberFinder.h"

#include <QList>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QStringView>

#include <array>
#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <variant>

namespace dialwise {

// The attributes the detector reads from other programs' elements.
enum class Attribute {
    role,
    subrole,
    roleDescription,
    title,
    description,
    value,
    help,
    position,
    size,
    children,
    visibleChildren,
    windows,
    parent,
};

// Each attribute with its name in the detector's log lines and in recorded scenarios: "AXRole",
// "AXTitle". One list, so that no attribute can be read without a name.
struct AttributeName
{
    Attribute attribute;
    QStringView name;
};
inline constexpr AttributeName kAttributeNames[] = {
    {Attribute::role, u"AXRole"},               {Attribute::subrole, u"AXSubrole"},
    {Attribute::roleDescription, u"AXRoleDescription"},
    {Attribute::title, u"AXTitle"},             {Attribute::description, u"AXDescription"},
    {Attribute::value, u"AXValue"},             {Attribute::help, u"AXHelp"},
    {Attribute::position, u"AXPosition"},       {Attribute::size, u"AXSize"},
    {Attribute::children, u"AXChildren"},       {Attribute::visibleChildren, u"AXVisibleChildren"},
    {Attribute::windows, u"AXWindows"},         {Attribute::parent, u"AXParent"},
};

inline constexpr auto kAttributes = [] {
    std::array<Attribute, std::size(kAttributeNames)> attributes{};
    for (std::size_t i = 0; i < attributes.size(); ++i)
        attributes[i] = kAttributeNames[i].attribute;
    return attributes;
}();

constexpr QStringView attributeName(Attribute attribute)
{
    for (const AttributeName &entry : kAttributeNames) {
        if (entry.attribute == attribute)
            return entry.name;
    }
    return u"";
}

// The attribute of that name; none for a name the detector never reads.
inline std::optional<Attribute> attributeNamed(QStringView name)
{
    for (const Attribute attribute : kAttributes) {
        if (attributeName(attribute) == name)
            return attribute;
    }
    return std::nullopt;
}

// One element of another program's accessibility tree. Opaque to the logic; each ElementTree
// hands out and reads back only its own elements.
class Element
{
public:
    virtual ~Element() = default;
};
using ElementHandle = std::shared_ptr<const Element>;

// What an attribute read yields. Absent (monostate) and a value of the wrong type are kept apart
// so the logic can tell "no value" from "not what I asked for", as the detector's log lines do.
// A single element (ElementHandle) is what "AXParent" answers.
using AttributeValue = std::variant<std::monostate, QString, QList<ElementHandle>, QPointF, QSizeF, double, bool,
                                    ElementHandle>;

// What an element showing text (a label, an editor, a paragraph of a page) tells of it.
struct TextFacts
{
    int characterCount = 0; // in unit
    OffsetUnit unit = OffsetUnit::CodePoints; // what the program's offsets count
    bool operator==(const TextFacts &) const = default;
};

// Other programs' element trees (the accessibility API). Positions and sizes are in top-left
// origin device pixels, as the window list gives windows. Every call may block while the other
// program answers; implementations bound that wait.
class ElementTree
{
public:
    // Result codes: 0 is success; anything else is a failure whose number is logged as it is.
    static constexpr int kSuccess = 0;

    virtual ~ElementTree() = default;

    // Reads one attribute. On kSuccess `value` holds what the element answered, which may be
    // absent (monostate) or of another type than the caller wants.
    virtual int copyAttributeValue(const ElementHandle &element, Attribute attribute, AttributeValue &value) = 0;
    // The deepest element at a top-left-origin screen point. On kSuccess `element` may still be
    // null: nothing is there.
    virtual int copyElementAtPosition(float x, float y, ElementHandle &element) = 0;
    // The application element of a process; null when the process has none.
    virtual ElementHandle applicationElement(qint64 pid) = 0;

    // --- Text shown in other programs ----------------------------------------------------------
    // Read only around a click and only on one: other programs' text is the user's business.

    // The element showing text at a top-left-origin screen point, found from the window there
    // downward: the deepest element at the point, or, where that one has no text of its own, the
    // nearest ancestor with text that holds the point, else a descendant with text that holds it.
    // On kSuccess `element` may still be null: no text is there.
    virtual int copyTextElementAtPosition(float x, float y, ElementHandle &element) = 0;
    // Whether the element has text; on kSuccess no value means it has none.
    virtual int copyTextFacts(const ElementHandle &element, std::optional<TextFacts> &facts) = 0;
    // The offset of the character at a top-left-origin screen point, in the element's own unit;
    // -1 where no character is.
    virtual int copyOffsetAtPosition(const ElementHandle &element, float x, float y, int &offset) = 0;
    // The characters of a span (its end clamped to the text). Fewer than asked for means the text
    // ends there, whatever the element's count said.
    virtual int copyText(const ElementHandle &element, const TextSpan &span, QString &text) = 0;
    // Where a span is drawn: top-left origin, device pixels; empty when the program has not laid
    // it out.
    virtual int copyRangeExtents(const ElementHandle &element, const TextSpan &span, QRectF &bounds) = 0;

    // Whether this process may read other programs' trees. With prompt, the platform may ask the
    // user (or switch accessibility on) before answering.
    virtual bool isProcessTrusted(bool prompt) = 0;
};

} // namespace dialwise
