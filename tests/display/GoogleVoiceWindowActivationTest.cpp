// Closing only hides the window, and showing it brings it to the front: mapped, focused, and
// announced to the window manager as a user's request.
#include "tests/display/WindowTestRig.h"

#include <QApplication>
#include <QGuiApplication>
#include <QLineEdit>
#include <QTest>
#include <QWebEnginePage>
#include <QWebEngineView>

#include <gtest/gtest.h>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

using dialwise::testing::kLoadTimeoutMs;
using dialwise::testing::WindowRig;

namespace {

// How long "nothing arrives" is watched for: several times what a local reload takes.
constexpr int kQuietMs = 3000;

bool anyRequestBut(const QString &target)
{
    return target != u"/favicon.ico";
}

// A second X client listening on the root window the way a window manager's helpers do, to see
// the client messages sent there.
class RootWatcher
{
public:
    RootWatcher()
        : m_connection(xcb_connect(qgetenv("DISPLAY").constData(), nullptr))
    {
        if (xcb_connection_has_error(m_connection))
            return;
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        const quint32 mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(m_connection, m_root, XCB_CW_EVENT_MASK, &mask);
        static const char name[] = "_NET_ACTIVE_WINDOW";
        if (auto *reply = xcb_intern_atom_reply(m_connection, xcb_intern_atom(m_connection, 0, sizeof name - 1, name), nullptr)) {
            m_activeWindowAtom = reply->atom;
            std::free(reply);
        }
        xcb_flush(m_connection);
    }
    ~RootWatcher() { xcb_disconnect(m_connection); }

    bool ok() const { return !xcb_connection_has_error(m_connection) && m_activeWindowAtom != XCB_ATOM_NONE; }

    // The _NET_ACTIVE_WINDOW requests seen so far: (window, source indication).
    QList<QPair<quint32, quint32>> activeWindowRequests()
    {
        while (xcb_generic_event_t *event = xcb_poll_for_event(m_connection)) {
            if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE) {
                auto *message = reinterpret_cast<xcb_client_message_event_t *>(event);
                if (message->type == m_activeWindowAtom)
                    m_requests.append({message->window, message->data.data32[0]});
            }
            std::free(event);
        }
        return m_requests;
    }

    bool isViewable(quint32 window)
    {
        auto *attributes = xcb_get_window_attributes_reply(m_connection, xcb_get_window_attributes(m_connection, window), nullptr);
        const bool viewable = attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
        std::free(attributes);
        return viewable;
    }

private:
    xcb_connection_t *m_connection;
    xcb_window_t m_root = XCB_WINDOW_NONE;
    xcb_atom_t m_activeWindowAtom = XCB_ATOM_NONE;
    QList<QPair<quint32, quint32>> m_requests;
};

class GoogleVoiceWindowActivation : public ::testing::Test
{
protected:
    WindowRig rig;
};

TEST_F(GoogleVoiceWindowActivation, close_hidesWithoutReloadAndShowBringsSamePage)
{
    rig.window->showAndActivate();
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    rig.window->phoneField()->setText(QStringLiteral("202 555"));
    const QUrl url = rig.page()->url();
    const int before = static_cast<int>(rig.standIn.requestLines().size());

    EXPECT_FALSE(rig.window->close()); // refused: the window stays, only hidden
    EXPECT_FALSE(rig.window->isVisible());
    EXPECT_FALSE(rig.standIn.waitForTarget(anyRequestBut, kQuietMs, before));

    rig.window->showAndActivate();
    EXPECT_TRUE(rig.window->isVisible());
    EXPECT_EQ(rig.page()->url(), url);
    EXPECT_EQ(rig.window->phoneField()->text(), QStringLiteral("202 555"));
    EXPECT_FALSE(rig.standIn.waitForTarget(anyRequestBut, kQuietMs, before));
}

TEST_F(GoogleVoiceWindowActivation, showAndActivate_mapsFocusesAndAsksWindowManager)
{
    RootWatcher watcher;
    ASSERT_TRUE(watcher.ok());
    // Another window of ours has the focus first, as another program's would.
    QWidget other;
    other.resize(200, 200);
    other.show();
    other.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));

    rig.window->showAndActivate();

    EXPECT_TRUE(QTest::qWaitForWindowActive(rig.window.get()));
    EXPECT_EQ(QApplication::activeWindow(), rig.window.get());
    const auto windowId = static_cast<quint32>(rig.window->winId());
    EXPECT_TRUE(watcher.isViewable(windowId));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !watcher.activeWindowRequests().isEmpty(); }, 5000));
    const auto requests = watcher.activeWindowRequests();
    ASSERT_FALSE(requests.isEmpty());
    EXPECT_EQ(requests.last().first, windowId);
    EXPECT_EQ(requests.last().second, 2u) << "source indication should be a user's direct action";
}

TEST_F(GoogleVoiceWindowActivation, showAndActivate_restoresMinimisedWindow)
{
    rig.window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(rig.window.get()));
    rig.window->showMinimized();
    ASSERT_TRUE(QTest::qWaitFor([&] { return rig.window->isMinimized(); }, 5000));

    rig.window->showAndActivate();

    EXPECT_FALSE(rig.window->isMinimized());
    EXPECT_TRUE(QTest::qWaitForWindowActive(rig.window.get()));
}

TEST_F(GoogleVoiceWindowActivation, showAndCall_showsHiddenWindowAndFocusesIt)
{
    ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls")));
    ASSERT_FALSE(rig.window->isVisible());
    rig.window->showAndCall(QStringLiteral("+1 202 555 0123"));
    EXPECT_TRUE(rig.window->isVisible());
    EXPECT_TRUE(QTest::qWaitForWindowActive(rig.window.get()));
    EXPECT_TRUE(rig.standIn.waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B12025550123"), kLoadTimeoutMs));
}

} // namespace
