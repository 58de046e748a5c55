#include "platform/linux/X11Connection.h"

#include <QFile>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/extensions/XRes.h>

namespace dialwise {

namespace {

// A window that vanished between two requests must not end the program through Xlib's default
// handler, which exits. Errors are expected here and are answered with "no value" by the caller.
int ignoreXError(Display *, XErrorEvent *)
{
    return 0;
}

bool hasProperty(Display *display, Window window, Atom property)
{
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char *data = nullptr;
    const int status = XGetWindowProperty(display, window, property, 0, 0, False, AnyPropertyType, &type, &format,
                                          &count, &after, &data);
    if (data)
        XFree(data);
    return status == Success && type != None;
}

} // namespace

std::shared_ptr<X11Connection> X11Connection::open()
{
    Display *display = XOpenDisplay(nullptr);
    if (!display)
        return nullptr;
    XSetErrorHandler(ignoreXError);
    return std::shared_ptr<X11Connection>(new X11Connection(display));
}

X11Connection::X11Connection(Display *display)
    : m_display(display)
{
}

X11Connection::~X11Connection()
{
    XCloseDisplay(m_display);
}

unsigned long X11Connection::root() const
{
    return DefaultRootWindow(m_display);
}

int X11Connection::rootHeight() const
{
    XWindowAttributes attributes;
    if (!XGetWindowAttributes(m_display, root(), &attributes))
        return DisplayHeight(m_display, DefaultScreen(m_display));
    return attributes.height;
}

unsigned long X11Connection::atom(const char *name) const
{
    return XInternAtom(m_display, name, False);
}

std::int32_t X11Connection::pidOfWindow(unsigned long window) const
{
    XResClientIdSpec clientQuery;
    clientQuery.client = window;
    clientQuery.mask = XRES_CLIENT_ID_PID_MASK;
    long count = 0;
    XResClientIdValue *values = nullptr;
    std::int32_t pid = 0;
    if (XResQueryClientIds(m_display, 1, &clientQuery, &count, &values) == Success) {
        for (long i = 0; i < count && pid <= 0; ++i) {
            if (XResGetClientIdType(&values[i]) == XRES_CLIENT_ID_PID)
                pid = XResGetClientPid(&values[i]);
        }
        XResClientIdsDestroy(count, values);
    }
    return pid > 0 ? pid : 0;
}

unsigned long X11Connection::clientWindow(unsigned long window) const
{
    const Atom wmState = atom("WM_STATE");
    if (hasProperty(m_display, window, wmState))
        return window;
    // Breadth first: a reparenting window manager puts the client one or two levels down.
    std::vector<Window> level{window};
    for (int depth = 0; depth < 3 && !level.empty(); ++depth) {
        std::vector<Window> next;
        for (Window parent : level) {
            Window rootReturn = 0, parentReturn = 0, *children = nullptr;
            unsigned int count = 0;
            if (!XQueryTree(m_display, parent, &rootReturn, &parentReturn, &children, &count))
                continue;
            for (unsigned int i = 0; i < count; ++i) {
                if (hasProperty(m_display, children[i], wmState)) {
                    const Window found = children[i];
                    XFree(children);
                    return found;
                }
                next.push_back(children[i]);
            }
            if (children)
                XFree(children);
        }
        level = std::move(next);
    }
    return window;
}

std::optional<QRect> X11Connection::rootBounds(unsigned long window) const
{
    XWindowAttributes attributes;
    if (!XGetWindowAttributes(m_display, window, &attributes))
        return std::nullopt;
    int x = 0, y = 0;
    Window child = 0;
    if (!XTranslateCoordinates(m_display, window, root(), 0, 0, &x, &y, &child))
        return std::nullopt;
    return QRect(x, y, attributes.width, attributes.height);
}

std::optional<std::vector<X11Connection::TopLevel>> X11Connection::viewableTopLevels() const
{
    Window rootReturn = 0, parentReturn = 0, *children = nullptr;
    unsigned int count = 0;
    if (!XQueryTree(m_display, root(), &rootReturn, &parentReturn, &children, &count))
        return std::nullopt;
    std::vector<TopLevel> result;
    // XQueryTree lists the root's children bottom to top.
    for (unsigned int i = count; i-- > 0;) {
        XWindowAttributes attributes;
        if (!XGetWindowAttributes(m_display, children[i], &attributes))
            continue;
        if (attributes.map_state != IsViewable || attributes.c_class == InputOnly)
            continue;
        // Top-level windows are children of the root, so their own position is in root coordinates.
        result.push_back({children[i], QRect(attributes.x, attributes.y, attributes.width, attributes.height),
                          attributes.override_redirect != 0});
    }
    if (children)
        XFree(children);
    return result;
}

QString processName(std::int64_t pid)
{
    if (pid <= 0)
        return {};
    QFile comm(QStringLiteral("/proc/%1/comm").arg(pid));
    if (!comm.open(QIODevice::ReadOnly))
        return {};
    return QString::fromLocal8Bit(comm.readAll()).trimmed();
}

} // namespace dialwise
