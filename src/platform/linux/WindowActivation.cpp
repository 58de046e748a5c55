#include "platform/linux/WindowActivation.h"

#include "platform/linux/QtXcbConnection.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <QWindow>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>

Q_LOGGING_CATEGORY(lcActivation, "dialwise.webcall.activation", QtInfoMsg)

namespace dialwise {
namespace {

// Source indication of an EWMH _NET_ACTIVE_WINDOW request: 2 is "pager or other direct user
// action", which window managers carry out without a focus-stealing check.
constexpr quint32 kSourcePager = 2;

void sendActiveWindowRequest(xcb_window_t windowId)
{
    xcb_connection_t *connection = qtXcbConnection();
    if (!connection)
        return;
    // Atoms live as long as the X server; one round trip per process is enough.
    static const xcb_atom_t activeWindow = [connection] {
        static const char name[] = "_NET_ACTIVE_WINDOW";
        xcb_atom_t atom = XCB_ATOM_NONE;
        if (auto *reply = xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, sizeof name - 1, name), nullptr)) {
            atom = reply->atom;
            std::free(reply);
        }
        return atom;
    }();
    if (activeWindow == XCB_ATOM_NONE)
        return;
    xcb_window_t root = XCB_WINDOW_NONE;
    if (xcb_query_tree_reply_t *tree = xcb_query_tree_reply(connection, xcb_query_tree(connection, windowId), nullptr)) {
        root = tree->root;
        std::free(tree);
    }
    if (root != XCB_WINDOW_NONE) {
        xcb_client_message_event_t event;
        std::memset(&event, 0, sizeof event);
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = windowId;
        event.type = activeWindow;
        event.data.data32[0] = kSourcePager;
        event.data.data32[1] = XCB_CURRENT_TIME;
        event.data.data32[2] = XCB_WINDOW_NONE; // no window of ours is active now
        xcb_send_event(connection, 0, root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                       reinterpret_cast<const char *>(&event));
        xcb_flush(connection);
        qCDebug(lcActivation) << "asked the window manager to activate" << Qt::hex << windowId;
    }
}

// The window manager only acts on a window it manages, which it does once the window is
// mapped; a window shown just now is not yet, so the request waits for its first exposure.
class SendWhenExposed final : public QObject
{
public:
    explicit SendWhenExposed(QWindow *window)
        : QObject(window)
    {
        window->installEventFilter(this);
    }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        auto *window = static_cast<QWindow *>(watched);
        if (event->type() == QEvent::Expose && window->isExposed()) {
            window->removeEventFilter(this);
            sendActiveWindowRequest(xcb_window_t(window->winId()));
            deleteLater();
        }
        return false;
    }
};

// This process's own window with that id, when it has one.
QWindow *ownWindow(WId id)
{
    const QWindowList windows = QGuiApplication::allWindows();
    for (QWindow *window : windows) {
        // A window without a platform window has no id yet; asking for one would make it.
        if (window->handle() && window->winId() == id)
            return window;
    }
    return nullptr;
}

} // namespace

void requestActivation(WId window)
{
    if (!qtXcbConnection() || !window)
        return;
    QWindow *own = ownWindow(window);
    if (!own || own->isExposed())
        sendActiveWindowRequest(xcb_window_t(window));
    else if (!own->findChild<SendWhenExposed *>(QString(), Qt::FindDirectChildrenOnly))
        new SendWhenExposed(own);
}

} // namespace dialwise
