#pragma once

#include <QList>
#include <QRectF>
#include <QString>

#include <optional>

namespace dialwise {

// One entry of the on-screen window list, as the X server knows a window.
struct WindowInfo
{
    quint32 id = 0;                   // the window's X id
    qint32 ownerPid = 0;              // the owning process; 0 when nobody says
    std::optional<QString> ownerName; // the owning program's name; none when it cannot be named
    qint64 layer = 0;                 // 0 for ordinary windows, 101 for menus and popups
    QRectF bounds;                    // top-left origin, device pixels, root coordinates

    bool operator==(const WindowInfo &) const = default;
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
