#pragma once

#include "webcall/NotificationGate.h"

#include <QHash>
#include <QObject>
#include <QUrl>

#include <deque>
#include <functional>
#include <map>
#include <memory>

class QWebEngineNotification;
class QWebEngineProfile;

namespace dialwise {

class DesktopNotifications;
class ScheduledTask;
class Scheduler;

// The web app's notifications on the desktop. Each one the page raises is checked against the
// policy, paced and coalesced by the NotificationGate, and posted to the notification server;
// from then on the two stay tied: a click on the desktop brings the window forward and reaches
// the page's onclick, a close on either side closes the other, and a notification with the tag
// of one already shown takes its place. Nothing here waits for the server.
class WebNotificationPresenter final : public QObject
{
    Q_OBJECT

public:
    // Closing a notification costs Chromium tens of microseconds on the GUI thread; the ones a
    // flood leaves unshown are closed this many at a time, a turn of the event loop apart, so a
    // thousand of them never hold up a hand-over or a click.
    static constexpr int kClosesPerTurn = 20;

    // mayNotify: whether notifications from this origin may reach the desktop now.
    WebNotificationPresenter(Scheduler &scheduler, std::function<bool(const QUrl &origin)> mayNotify,
                             DesktopNotifications &desktop, QObject *parent = nullptr);
    ~WebNotificationPresenter() override;

    // Takes over the profile's notifications, for as long as this presenter lives.
    void install(QWebEngineProfile *profile);
    void present(std::unique_ptr<QWebEngineNotification> notification);

    // The page's notifications that are on the desktop or on their way there.
    int shownCount() const { return m_gate.shownCount(); }

Q_SIGNALS:
    // The user clicked one of them: the window should come forward before the page hears it.
    void activated();

private:
    using Key = NotificationGate::Key;
    struct Live
    {
        std::unique_ptr<QWebEngineNotification> page;
        uint desktopId = 0;
    };

    void onPresent(Key key, std::optional<Key> replacing);
    void onPosted(Key key, uint desktopId);
    void closeLater(std::unique_ptr<QWebEngineNotification> page);
    void closeSome();
    std::unique_ptr<QWebEngineNotification> take(Key key);
    void onPageClosed(Key key);
    void onDesktopClosed(uint desktopId);
    void onAction(uint desktopId, const QString &action);
    void onServerLost();

    Scheduler &m_scheduler;
    std::function<bool(const QUrl &)> m_mayNotify;
    DesktopNotifications &m_desktop;
    NotificationGate m_gate;
    std::map<Key, Live> m_live;
    QHash<uint, Key> m_byDesktopId;
    Key m_nextKey = 1;
    std::deque<std::unique_ptr<QWebEngineNotification>> m_toClose;
    std::shared_ptr<ScheduledTask> m_closing;
};

} // namespace dialwise
