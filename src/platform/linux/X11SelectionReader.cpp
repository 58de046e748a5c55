#include "platform/linux/X11SelectionReader.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <QSocketNotifier>
#include <QTimer>

#include <cstdlib>
#include <cstring>
#include <xcb/xcb.h>

Q_LOGGING_CATEGORY(lcSelection, "dialwise.selection")

namespace dialwise {
namespace {

xcb_atom_t internAtom(xcb_connection_t *connection, const char *name)
{
    // A round trip to the X server, not to the selection owner: the server always answers.
    xcb_intern_atom_reply_t *reply =
        xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, uint16_t(std::strlen(name)), name), nullptr);
    const xcb_atom_t atom = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(reply);
    return atom;
}

// One request: its own connection and window, alive until the answer or the time-out.
class SelectionRequest final : public QObject
{
public:
    SelectionRequest(qsizetype maxLength, X11SelectionReader::Done done)
        : m_maxLength(maxLength)
        , m_done(std::move(done))
    {
    }

    ~SelectionRequest() override
    {
        delete m_notifier;
        if (m_connection) {
            if (m_window)
                xcb_destroy_window(m_connection, m_window);
            xcb_disconnect(m_connection);
        }
    }

    void start()
    {
        m_connection = xcb_connect(nullptr, nullptr);
        if (xcb_connection_has_error(m_connection)) {
            finish(std::nullopt);
            return;
        }
        const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
        m_window = xcb_generate_id(m_connection);
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_window, screen->root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, screen->root_visual, 0, nullptr);
        m_utf8 = internAtom(m_connection, "UTF8_STRING");
        m_incr = internAtom(m_connection, "INCR");
        m_property = internAtom(m_connection, "DIALWISE_SELECTION");

        xcb_get_selection_owner_reply_t *owner = xcb_get_selection_owner_reply(
            m_connection, xcb_get_selection_owner(m_connection, XCB_ATOM_PRIMARY), nullptr);
        const bool owned = owner && owner->owner != XCB_NONE;
        std::free(owner);
        if (!owned) {
            finish(std::nullopt);
            return;
        }

        m_notifier = new QSocketNotifier(xcb_get_file_descriptor(m_connection), QSocketNotifier::Read);
        QObject::connect(m_notifier, &QSocketNotifier::activated, this, [this] { onReadable(); });
        QTimer::singleShot(X11SelectionReader::kAnswerTimeoutMs, this, [this] {
            qCWarning(lcSelection) << "the selection owner did not answer within" << X11SelectionReader::kAnswerTimeoutMs
                                   << "ms";
            finish(std::nullopt);
        });
        ask(m_utf8);
    }

private:
    void ask(xcb_atom_t target)
    {
        m_target = target;
        xcb_convert_selection(m_connection, m_window, XCB_ATOM_PRIMARY, target, m_property, XCB_CURRENT_TIME);
        xcb_flush(m_connection);
    }

    void onReadable()
    {
        while (xcb_generic_event_t *event = xcb_poll_for_event(m_connection)) {
            const bool notify = (event->response_type & ~0x80) == XCB_SELECTION_NOTIFY;
            const xcb_atom_t property = notify ? reinterpret_cast<xcb_selection_notify_event_t *>(event)->property : 0;
            std::free(event);
            if (!notify)
                continue;
            if (property == XCB_NONE) {
                // Older programs offer only Latin-1 STRING.
                if (m_target == m_utf8) {
                    ask(XCB_ATOM_STRING);
                    continue;
                }
                finish(std::nullopt);
            } else {
                readProperty();
            }
            return;
        }
        if (xcb_connection_has_error(m_connection))
            finish(std::nullopt);
    }

    void readProperty()
    {
        // UTF-8 takes at most three bytes per UTF-16 unit; one more than that tells "too long".
        const uint32_t wantedBytes = uint32_t(m_maxLength) * 3 + 4;
        xcb_get_property_reply_t *reply = xcb_get_property_reply(
            m_connection,
            xcb_get_property(m_connection, 1, m_window, m_property, XCB_GET_PROPERTY_TYPE_ANY, 0, (wantedBytes + 3) / 4),
            nullptr);
        if (!reply) {
            finish(std::nullopt);
            return;
        }
        const int length = xcb_get_property_value_length(reply);
        const QByteArray bytes(static_cast<const char *>(xcb_get_property_value(reply)), length);
        const bool incremental = reply->type == m_incr;
        const bool more = reply->bytes_after > 0;
        const bool latin1 = reply->type == XCB_ATOM_STRING;
        std::free(reply);
        if (incremental) {
            // Owners send in pieces only what is too large for one request: far beyond the limit.
            finish(QString(m_maxLength + 1, u' '));
            return;
        }
        QString text = latin1 ? QString::fromLatin1(bytes) : QString::fromUtf8(bytes);
        if (more || text.size() > m_maxLength)
            text = text.left(m_maxLength + 1).leftJustified(m_maxLength + 1, u' ');
        finish(text.isEmpty() ? std::nullopt : std::optional<QString>(text));
    }

    void finish(std::optional<QString> text)
    {
        if (m_finished)
            return;
        m_finished = true;
        if (m_notifier)
            m_notifier->setEnabled(false);
        X11SelectionReader::Done done = std::move(m_done);
        deleteLater();
        // Queued so that `done` never runs inside read(), whatever happened.
        QTimer::singleShot(0, qApp, [done = std::move(done), text = std::move(text)] { done(text); });
    }

    qsizetype m_maxLength;
    X11SelectionReader::Done m_done;
    xcb_connection_t *m_connection = nullptr;
    xcb_window_t m_window = 0;
    xcb_atom_t m_utf8 = XCB_ATOM_NONE;
    xcb_atom_t m_incr = XCB_ATOM_NONE;
    xcb_atom_t m_property = XCB_ATOM_NONE;
    xcb_atom_t m_target = XCB_ATOM_NONE;
    QSocketNotifier *m_notifier = nullptr;
    bool m_finished = false;
};

} // namespace

bool X11SelectionReader::available()
{
    return QGuiApplication::platformName() == u"xcb" && !qEnvironmentVariableIsEmpty("DISPLAY");
}

void X11SelectionReader::read(qsizetype maxLength, Done done)
{
    auto *request = new SelectionRequest(maxLength, std::move(done));
    request->start();
}

} // namespace dialwise
