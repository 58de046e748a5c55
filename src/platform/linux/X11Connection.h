#pragma once

#include <QRect>
#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

struct _XDisplay;

namespace dialwise {

// One Xlib connection of the detector's own, apart from Qt's: queries made here never interleave
// with Qt's request stream, and the click source can read its events off this socket alone.
class X11Connection final
{
public:
    // No value without an X server (a Wayland session without XWayland, say).
    static std::shared_ptr<X11Connection> open();
    ~X11Connection();
    X11Connection(const X11Connection &) = delete;
    X11Connection &operator=(const X11Connection &) = delete;

    _XDisplay *display() const { return m_display; }
    unsigned long root() const;
    int rootHeight() const;

    // The process behind the client that created window, from XRes client ids (override-redirect
    // popups carry no _NET_WM_PID). 0 when the server cannot tell.
    std::int32_t pidOfWindow(unsigned long window) const;
    // The window itself when it carries WM_STATE, else the first descendant that does (a window
    // manager's frame stands for its client); the window itself when none does.
    unsigned long clientWindow(unsigned long window) const;
    // Bounds in root coordinates; no value when the window is gone.
    std::optional<QRect> rootBounds(unsigned long window) const;
    // Viewable top-level windows, front to back, each with its geometry (InputOnly windows left out).
    struct TopLevel
    {
        unsigned long window = 0;
        QRect bounds;
        bool overrideRedirect = false;
    };
    std::optional<std::vector<TopLevel>> viewableTopLevels() const;
    unsigned long atom(const char *name) const;

private:
    explicit X11Connection(_XDisplay *display);
    _XDisplay *m_display;
};

// The short command name of a process ("/proc/<pid>/comm"); empty when it cannot be read.
QString processName(std::int64_t pid);

} // namespace dialwise
