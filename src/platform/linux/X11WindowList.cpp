#include "platform/linux/X11WindowList.h"

#include "platform/linux/X11Connection.h"

#include <QVariantMap>

#include <algorithm>

#include <X11/Xatom.h>
#include <X11/Xlib.h>

namespace dialwise {

namespace {

std::vector<Atom> atomList(Display *display, Window window, Atom property)
{
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char *data = nullptr;
    std::vector<Atom> atoms;
    if (XGetWindowProperty(display, window, property, 0, 32, False, XA_ATOM, &type, &format, &count, &after, &data) ==
            Success &&
        data) {
        if (type == XA_ATOM && format == 32) {
            const auto *values = reinterpret_cast<const unsigned long *>(data);
            atoms.assign(values, values + count);
        }
        XFree(data);
    }
    return atoms;
}

} // namespace

X11WindowList::X11WindowList(std::shared_ptr<X11Connection> connection)
    : m_connection(std::move(connection))
{
}

int X11WindowList::layerOf(unsigned long client, bool overrideRedirect) const
{
    if (overrideRedirect)
        return kPopupLayer;
    static const char *const popupTypes[] = {
        "_NET_WM_WINDOW_TYPE_MENU",  "_NET_WM_WINDOW_TYPE_POPUP_MENU", "_NET_WM_WINDOW_TYPE_DROPDOWN_MENU",
        "_NET_WM_WINDOW_TYPE_TOOLTIP", "_NET_WM_WINDOW_TYPE_COMBO",
    };
    const std::vector<Atom> types =
        atomList(m_connection->display(), client, m_connection->atom("_NET_WM_WINDOW_TYPE"));
    for (Atom type : types) {
        for (const char *name : popupTypes) {
            if (type == m_connection->atom(name))
                return kPopupLayer;
        }
    }
    return 0;
}

bool X11WindowList::isDesktop(unsigned long client) const
{
    const std::vector<Atom> types =
        atomList(m_connection->display(), client, m_connection->atom("_NET_WM_WINDOW_TYPE"));
    const Atom desktop = m_connection->atom("_NET_WM_WINDOW_TYPE_DESKTOP");
    return std::find(types.begin(), types.end(), desktop) != types.end();
}

std::optional<QList<WindowInfo>> X11WindowList::onScreenWindows()
{
    if (!m_connection)
        return std::nullopt;
    const auto topLevels = m_connection->viewableTopLevels();
    if (!topLevels)
        return std::nullopt;
    QList<WindowInfo> windows;
    windows.reserve(static_cast<qsizetype>(topLevels->size()));
    for (const X11Connection::TopLevel &topLevel : *topLevels) {
        const unsigned long client = m_connection->clientWindow(topLevel.window);
        if (isDesktop(client))
            continue;
        // The client's own rectangle: that is where its accessible elements say they are.
        const QRect bounds = m_connection->rootBounds(client).value_or(topLevel.bounds);
        WindowInfo info;
        info.id = static_cast<quint32>(client);
        const std::int32_t pid = m_connection->pidOfWindow(client);
        info.ownerPid = pid;
        const QString name = processName(pid);
        if (!name.isEmpty())
            info.ownerName = name;
        info.layer = layerOf(client, topLevel.overrideRedirect);
        info.bounds = QRectF(bounds);
        windows.append(info);
    }
    return windows;
}

std::optional<FrontmostApplication> X11WindowList::frontmostApplication()
{
    if (!m_connection)
        return std::nullopt;
    Display *display = m_connection->display();
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char *data = nullptr;
    Window active = 0;
    if (XGetWindowProperty(display, m_connection->root(), m_connection->atom("_NET_ACTIVE_WINDOW"), 0, 1, False,
                           XA_WINDOW, &type, &format, &count, &after, &data) == Success &&
        data) {
        if (type == XA_WINDOW && format == 32 && count == 1)
            active = *reinterpret_cast<const unsigned long *>(data);
        XFree(data);
    }
    if (active == 0)
        return std::nullopt;
    const std::int32_t pid = m_connection->pidOfWindow(active);
    if (pid <= 0)
        return std::nullopt;
    FrontmostApplication application;
    application.pid = pid;
    const QString name = processName(pid);
    if (!name.isEmpty())
        application.name = name;
    return application;
}

} // namespace dialwise
