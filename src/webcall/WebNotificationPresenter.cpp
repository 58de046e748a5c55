#include "webcall/WebNotificationPresenter.h"

#include "platform/linux/DesktopNotifications.h"
#include "platform/linux/NotificationNames.h"
#include "webcall/NavigationPolicy.h"

#include <QLoggingCategory>
#include <QPointer>
#include <QWebEngineNotification>
#include <QWebEngineProfile>

// Refusals are policy decisions, logged where the page's other refusals are.
Q_LOGGING_CATEGORY(lcNotificationPolicy, "dialwise.webcall.policy")

namespace dialwise {

WebNotificationPresenter::WebNotificationPresenter(Scheduler &scheduler, std::function<bool(const QUrl &)> mayNotify,
                                                   DesktopNotifications &desktop, QObject *parent)
    : QObject(parent)
    , m_scheduler(scheduler)
    , m_mayNotify(std::move(mayNotify))
    , m_desktop(desktop)
    , m_gate(scheduler, this,
             {[this](Key key, std::optional<Key> replacing) { onPresent(key, replacing); },
              // Never shown: the page hears that it closed, so it does not count on it.
              [this](Key key) {
                  if (auto page = take(key))
                      closeLater(std::move(page));
              },
              [this](Key key) {
                  const uint desktopId = m_live.count(key) ? m_live[key].desktopId : 0;
                  if (auto page = take(key))
                      page->close();
                  m_desktop.close(desktopId);
              }})
{
    connect(&m_desktop, &DesktopNotifications::actionInvoked, this, &WebNotificationPresenter::onAction);
    connect(&m_desktop, &DesktopNotifications::closed, this, &WebNotificationPresenter::onDesktopClosed);
    connect(&m_desktop, &DesktopNotifications::serverLost, this, &WebNotificationPresenter::onServerLost);
}

WebNotificationPresenter::~WebNotificationPresenter()
{
    if (m_closing)
        m_closing->cancel();
    for (const auto &page : m_toClose)
        page->close();
    // Ours go with us: nothing would answer their clicks any more.
    for (auto &[key, live] : m_live)
        m_desktop.close(live.desktopId);
}

void WebNotificationPresenter::install(QWebEngineProfile *profile)
{
    // The profile may outlive this presenter (a profile shared between windows).
    QPointer<WebNotificationPresenter> self(this);
    profile->setNotificationPresenter([self](std::unique_ptr<QWebEngineNotification> notification) {
        if (self)
            self->present(std::move(notification));
    });
}

void WebNotificationPresenter::present(std::unique_ptr<QWebEngineNotification> notification)
{
    if (!m_mayNotify(notification->origin())) {
        qCWarning(lcNotificationPolicy).noquote()
            << "refused a notification from" << NavigationPolicy::shortened(notification->origin());
        notification->close();
        return;
    }
    const Key key = m_nextKey++;
    // Queued: closing a notification ourselves also ends up here, and must not re-enter.
    connect(notification.get(), &QWebEngineNotification::closed, this, [this, key] { onPageClosed(key); },
            Qt::QueuedConnection);
    const QString tag = notification->tag();
    m_live[key].page = std::move(notification);
    m_gate.offer(key, tag);
}

void WebNotificationPresenter::onPresent(Key key, std::optional<Key> replacing)
{
    uint replacesId = 0;
    if (replacing) {
        // Replaced in place on the desktop; the page hears nothing of the old one, as in a browser.
        replacesId = m_live.count(*replacing) ? m_live[*replacing].desktopId : 0;
        take(*replacing);
    }
    Live &live = m_live[key];
    live.page->show();
    DesktopNotifications::Notice notice{live.page->title(), live.page->message(), live.page->icon(), replacesId};
    m_desktop.post(notice, [this, key](uint desktopId) { onPosted(key, desktopId); });
}

void WebNotificationPresenter::closeLater(std::unique_ptr<QWebEngineNotification> page)
{
    m_toClose.push_back(std::move(page));
    if (!(m_closing && m_closing->isActive()))
        m_closing = m_scheduler.runOnce(std::chrono::milliseconds(0), this, [this] { closeSome(); });
}

void WebNotificationPresenter::closeSome()
{
    for (int i = 0; i < kClosesPerTurn && !m_toClose.empty(); ++i) {
        m_toClose.front()->close();
        m_toClose.pop_front();
    }
    if (!m_toClose.empty())
        m_closing = m_scheduler.runOnce(std::chrono::milliseconds(0), this, [this] { closeSome(); });
}

void WebNotificationPresenter::onPosted(Key key, uint desktopId)
{
    const auto live = m_live.find(key);
    if (live == m_live.end()) {
        // Closed, replaced or withdrawn while on its way: take it off again.
        m_desktop.close(desktopId);
        return;
    }
    // 0: no server took it. It stays the page's until the page or the gate lets it go.
    live->second.desktopId = desktopId;
    if (desktopId != 0)
        m_byDesktopId.insert(desktopId, key);
}

std::unique_ptr<QWebEngineNotification> WebNotificationPresenter::take(Key key)
{
    const auto live = m_live.find(key);
    if (live == m_live.end())
        return nullptr;
    std::unique_ptr<QWebEngineNotification> page = std::move(live->second.page);
    const uint desktopId = live->second.desktopId;
    if (desktopId != 0 && m_byDesktopId.value(desktopId) == key)
        m_byDesktopId.remove(desktopId);
    m_live.erase(live);
    m_gate.forget(key);
    if (page)
        page->disconnect(this);
    return page;
}

void WebNotificationPresenter::onPageClosed(Key key)
{
    const uint desktopId = m_live.count(key) ? m_live[key].desktopId : 0;
    if (take(key))
        m_desktop.close(desktopId);
}

void WebNotificationPresenter::onDesktopClosed(uint desktopId)
{
    const auto found = m_byDesktopId.constFind(desktopId);
    if (found == m_byDesktopId.constEnd())
        return;
    if (auto page = take(*found))
        page->close();
}

void WebNotificationPresenter::onAction(uint desktopId, const QString &action)
{
    if (action != QLatin1String(notifications::kDefaultAction) && action != QLatin1String(notifications::kShowAction))
        return;
    const auto found = m_byDesktopId.constFind(desktopId);
    if (found == m_byDesktopId.constEnd())
        return;
    const Key key = *found;
    Q_EMIT activated();
    // After the window is up: the page's onclick usually opens the call or conversation and may
    // focus itself.
    if (const auto live = m_live.find(key); live != m_live.end())
        live->second.page->click();
}

void WebNotificationPresenter::onServerLost()
{
    // Whatever the old server showed is gone with it.
    const QList<uint> ids = m_byDesktopId.keys();
    for (uint desktopId : ids)
        onDesktopClosed(desktopId);
}

} // namespace dialwise
