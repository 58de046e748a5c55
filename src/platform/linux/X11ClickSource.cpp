#include "platform/linux/X11ClickSource.h"

#include "platform/linux/X11Connection.h"

#include <QLoggingCategory>
#include <QPointer>

#include <QSocketNotifier>

#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>

#include <ctime>
#include <unistd.h>

namespace dialwise {

Q_LOGGING_CATEGORY(lcClicks, "dialwise.detection.clicks", QtInfoMsg)

X11ClickSource::X11ClickSource() = default;

X11ClickSource::~X11ClickSource()
{
    uninstall();
}

std::optional<ClickSource::Token> X11ClickSource::addLeftMouseDownListener(std::function<void()> handler)
{
    if (!m_notifier && !install())
        return std::nullopt;
    const Token token = m_nextToken++;
    m_handlers.emplace(token, std::move(handler));
    return token;
}

void X11ClickSource::removeListener(Token token)
{
    m_handlers.erase(token);
    // Nobody listens: stop selecting raw events so an idle detector costs nothing at all.
    if (m_handlers.empty())
        uninstall();
}

bool X11ClickSource::install()
{
    m_connection = X11Connection::open();
    if (!m_connection) {
        m_lastError = QStringLiteral("Click detection needs an X11 session: no X display could be opened, so clicks on phone links go unseen");
        return false;
    }
    Display *display = m_connection->display();
    int event = 0, error = 0;
    if (!XQueryExtension(display, "XInputExtension", &m_xiOpcode, &event, &error)) {
        m_lastError = QStringLiteral("Click detection needs an X11 session with the XInput extension");
        m_connection.reset();
        return false;
    }
    // 2.2: raw events are delivered to root listeners whether or not some client grabs the pointer.
    int major = 2, minor = 2;
    if (XIQueryVersion(display, &major, &minor) != Success) {
        m_lastError = QStringLiteral("Click detection needs an X11 session with XInput 2.2");
        m_connection.reset();
        return false;
    }
    unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
    XISetMask(bits, XI_RawButtonPress);
    XIEventMask mask;
    mask.deviceid = XIAllMasterDevices;
    mask.mask_len = sizeof(bits);
    mask.mask = bits;
    XISelectEvents(display, m_connection->root(), &mask, 1);
    XFlush(display);

    m_notifier = new QSocketNotifier(ConnectionNumber(display), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &X11ClickSource::readEvents);
    m_lastError.clear();
    return true;
}

void X11ClickSource::uninstall()
{
    delete m_notifier;
    m_notifier = nullptr;
    m_connection.reset();
}

bool X11ClickSource::pointerIsOverOwnWindow() const
{
    Display *display = m_connection->display();
    Window rootReturn = 0, child = 0;
    int rootX = 0, rootY = 0, x = 0, y = 0;
    unsigned int buttons = 0;
    if (!XQueryPointer(display, m_connection->root(), &rootReturn, &child, &rootX, &rootY, &x, &y, &buttons) ||
        child == None)
        return false;
    const unsigned long client = m_connection->clientWindow(child);
    return m_connection->pidOfWindow(client) == getpid();
}

void X11ClickSource::readEvents()
{
    // The handlers may remove this listener (and close the connection) while we are reading.
    QPointer<X11ClickSource> self(this);
    std::shared_ptr<X11Connection> connection = m_connection;
    if (!connection)
        return;
    Display *display = connection->display();
    // XPending reads the socket. The own-window check below makes requests on this connection
    // too, and Xlib queues whatever events arrive with their replies; the socket notifier never
    // hears of those again, so go round until the queue is empty.
    while (self && m_connection == connection && XPending(display) > 0) {
        int presses = 0;
        Time lastPress = 0;
        while (XEventsQueued(display, QueuedAlready) > 0) {
            XEvent event;
            XNextEvent(display, &event);
            XGenericEventCookie *cookie = &event.xcookie;
            if (cookie->type != GenericEvent || cookie->extension != m_xiOpcode || !XGetEventData(display, cookie))
                continue;
            if (cookie->evtype == XI_RawButtonPress) {
                const auto *raw = static_cast<const XIRawEvent *>(cookie->data);
                if (raw->detail == 1) {
                    ++presses;
                    lastPress = raw->time;
                }
            }
            XFreeEventData(display, cookie);
        }
        for (int i = 0; i < presses && self && m_connection == connection; ++i) {
            if (pointerIsOverOwnWindow()) {
                qCDebug(lcClicks) << "press on one of our own windows, not reported";
                continue;
            }
            // The server stamps events with its monotonic clock in milliseconds, as ours counts.
            timespec now{};
            clock_gettime(CLOCK_MONOTONIC, &now);
            qCDebug(lcClicks) << "press reported"
                              << quint32(quint64(now.tv_sec) * 1000 + quint64(now.tv_nsec) / 1000000 - lastPress)
                              << "ms after the server saw it";
            // Copy: a handler may add or remove listeners.
            const auto handlers = m_handlers;
            for (const auto &[token, handler] : handlers) {
                if (!self)
                    return;
                if (m_handlers.count(token))
                    handler();
            }
        }
    }
}

} // namespace dialwise
