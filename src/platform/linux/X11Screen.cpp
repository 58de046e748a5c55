#include "platform/linux/X11Screen.h"

#include "platform/linux/X11Connection.h"

#include <X11/Xlib.h>

namespace dialwise {

X11Screen::X11Screen(std::shared_ptr<X11Connection> connection)
    : m_connection(std::move(connection))
{
}

std::optional<double> X11Screen::mainScreenHeight()
{
    if (!m_connection)
        return std::nullopt;
    const int height = m_connection->rootHeight();
    if (height <= 0)
        return std::nullopt;
    return double(height);
}

QPointF X11Screen::pointerPosition()
{
    if (!m_connection)
        return {};
    Window rootReturn = 0, child = 0;
    int rootX = 0, rootY = 0, x = 0, y = 0;
    unsigned int mask = 0;
    XQueryPointer(m_connection->display(), m_connection->root(), &rootReturn, &child, &rootX, &rootY, &x, &y, &mask);
    return QPointF(rootX, rootY);
}

} // namespace dialwise
