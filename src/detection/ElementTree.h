#pragma once

#include <QList>
#include <QPointF>
#include <QSizeF>
#include <QString>
#include <QStringView>

#include <memory>
#include <variant>

namespace dialwise {

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

// Other programs' element trees (the accessibility API). Attribute names are the detector's own:
// "AXRole", "AXTitle", "AXDescription", "AXValue", "AXHelp", "AXSubrole", "AXRoleDescription",
// "AXChildren", "AXVisibleChildren", "AXWindows", "AXParent", "AXPosition", "AXSize".
// Positions are in top-left-origin screen coordinates. Every call may block while the other
// program answers; implementations bound that wait.
class ElementTree
{
public:
    // Result codes: 0 is success; anything else is a failure whose number is logged as it is.
    static constexpr int kSuccess = 0;

    virtual ~ElementTree() = default;

    // Reads one attribute. On kSuccess `value` holds what the element answered, which may be
    // absent (monostate) or of another type than the caller wants.
    virtual int copyAttributeValue(const ElementHandle &element, QStringView attribute, AttributeValue &value) = 0;
    // The deepest element at a top-left-origin screen point. On kSuccess `element` may still be
    // null: nothing is there.
    virtual int copyElementAtPosition(float x, float y, ElementHandle &element) = 0;
    // The application element of a process; null when the process has none.
    virtual ElementHandle applicationElement(qint64 pid) = 0;
    // Whether this process may read other programs' trees. With prompt, the platform may ask the
    // user (or switch accessibility on) before answering.
    virtual bool isProcessTrusted(bool prompt) = 0;
};

} // namespace dialwise
