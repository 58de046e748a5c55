#pragma once

#include "calling/Scheduler.h"

#include <QString>
#include <QtGlobal>

#include <chrono>
#include <deque>
#include <functional>
#include <optional>

class QObject;

namespace dialwise {

// Decides which of the web app's notifications reach the desktop, and when. The page may raise
// as many as it likes; the desktop gets:
//  - a few at once, then one per `pace`: a page that raises a thousand in a second must not bury
//    the desktop or keep Dialwise busy talking to the notification server. What arrives while
//    the pace holds is coalesced: only the newest waits, the one it displaces is never shown;
//  - at most `onDesktop` at a time: showing one more takes the oldest away;
//  - one per tag: a notification with the tag of one already shown takes its place.
// The owner identifies notifications by keys of its own and carries out the answers. QtCore only,
// on the Scheduler, so the pace is tested in virtual time.
class NotificationGate final
{
public:
    using Key = quint64;

    struct Limits
    {
        int burst = 0;
        std::chrono::milliseconds pace{0};
        int onDesktop = 0;
    };
    // A call, a message and a voicemail arriving together all show at once; after that one every
    // second still tells the user more than they can read.
    static constexpr Limits kDefaultLimits{5, std::chrono::milliseconds(1000), 8};

    struct Handlers
    {
        // Put `key` on the desktop, in place of `replacing` when it has a value.
        std::function<void(Key key, std::optional<Key> replacing)> present;
        // `key` will never be shown: a newer notification took its turn.
        std::function<void(Key key)> discard;
        // `key`, on the desktop, is taken away to make room.
        std::function<void(Key key)> withdraw;
    };

    // target: the pace's timer lives as long as it does.
    NotificationGate(Scheduler &scheduler, QObject *target, Handlers handlers, Limits limits = kDefaultLimits);
    ~NotificationGate();
    NotificationGate(const NotificationGate &) = delete;
    NotificationGate &operator=(const NotificationGate &) = delete;

    // A notification the page raised.
    void offer(Key key, const QString &tag);
    // `key` is gone (closed on the desktop or by the page): it no longer counts, and if it was
    // still waiting it will not be shown.
    void forget(Key key);

    int shownCount() const { return int(m_shown.size()); }
    bool isWaiting(Key key) const { return m_waiting && m_waiting->key == key; }

private:
    struct Entry
    {
        Key key = 0;
        QString tag;
    };

    void present(const Entry &entry);
    void refill();

    Scheduler &m_scheduler;
    QObject *m_target;
    Handlers m_handlers;
    Limits m_limits;
    int m_tokens;
    std::deque<Entry> m_shown; // oldest first
    std::optional<Entry> m_waiting;
    std::shared_ptr<ScheduledTask> m_refill;
};

} // namespace dialwise
