#pragma once

#include <QList>
#include <QString>
#include <QVariant>

#include <optional>

namespace dialwise {

// One entry of the on-screen window list. Every field is a QVariant because other programs'
// windows can be malformed: an invalid QVariant is an absent field, and a value of another type
// than the one documented is kept as it came, for the logic to reject.
struct WindowInfo
{
    QVariant number;    // unsigned 32-bit window number
    QVariant ownerPid;  // signed 32-bit process id of the owner
    QVariant ownerName; // QString
    QVariant layer;     // integer; 0 for ordinary windows, 101 for menus and popups
    QVariant bounds;    // QVariantMap with numbers under "X", "Y", "Width", "Height" (top-left origin)
};

// The program the user is working in.
struct FrontmostApplication
{
    qint64 pid = 0;
    std::optional<QString> name;
};

// The desktop's windows, as the window manager sees them.
class WindowList
{
public:
    virtual ~WindowList() = default;
    // On-screen windows front to back, desktop elements left out; no value when the query fails.
    virtual std::optional<QList<WindowInfo>> onScreenWindows() = 0;
    // The frontmost application; no value when there is none.
    virtual std::optional<FrontmostApplication> frontmostApplication() = 0;
};

} // namespace dialwise
