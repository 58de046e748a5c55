#pragma once

#include <QDBusConnection>
#include <QImage>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <deque>
#include <functional>
#include <optional>

class QDBusPendingCallWatcher;

namespace dialwise {

// The session bus's notification server, for notifications that live on: posted, replaced,
// closed from either side, clicked. Every call is asynchronous; the GUI thread never waits for
// the server, and a server that is missing or never answers only means that nothing is shown.
// Names and the escaping rule are the ones every Dialwise notification uses.
class DesktopNotifications final : public QObject
{
    Q_OBJECT

public:
    struct Notice
    {
        QString summary; // plain text
        QString body;    // plain text; escaped here where the server renders markup
        QImage image;    // none: Dialwise's own icon
        uint replacesId = 0;
    };
    // Called once per post: the server's id for the notification, or 0 when no server took it.
    using Posted = std::function<void(uint id)>;

    // How long an answer from the server may take before the post counts as lost. A healthy
    // server answers in milliseconds; the bus's own 25 s would keep dead calls around.
    static constexpr int kAnswerTimeoutMs = 5000;
    // Posts held while the server's capabilities are being asked, at most: a server that never
    // answers must not make them pile up.
    static constexpr int kMaxHeld = 16;
    // Sent pictures are at most this many pixels wide and high: servers show icons small, and a
    // page's picture must not make a message of megabytes.
    static constexpr int kMaxImageSide = 128;

    explicit DesktopNotifications(QDBusConnection bus = QDBusConnection::sessionBus(), QObject *parent = nullptr);

    void post(const Notice &notice, Posted posted);
    void close(uint id);

    // What the server said it can do, once it has answered.
    std::optional<QStringList> capabilities() const { return m_capabilities; }

Q_SIGNALS:
    // A click: kDefaultAction for the notification itself, kShowAction for the "Show" button.
    void actionInvoked(uint id, const QString &action);
    void closed(uint id);
    // The server went away or was replaced: the ids it gave mean nothing now.
    void serverLost();

private Q_SLOTS:
    void onActionInvoked(uint id, const QString &action);
    void onClosed(uint id, uint reason);

private:
    struct Held
    {
        Notice notice;
        Posted posted;
    };

    void askCapabilities();
    void send(const Notice &notice, Posted posted);

    QDBusConnection m_bus;
    std::optional<QStringList> m_capabilities;
    QPointer<QDBusPendingCallWatcher> m_asking;
    std::deque<Held> m_held;
    // How many were held when the running question went out: they have waited all of it.
    int m_heldAtAsk = 0;
};

} // namespace dialwise
