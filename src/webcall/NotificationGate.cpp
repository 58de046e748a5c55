#include "webcall/NotificationGate.h"

#include <algorithm>
#include <utility>

namespace dialwise {

NotificationGate::NotificationGate(Scheduler &scheduler, QObject *target, Handlers handlers, Limits limits)
    : m_scheduler(scheduler)
    , m_target(target)
    , m_handlers(std::move(handlers))
    , m_limits(limits)
    , m_tokens(limits.burst)
{
}

NotificationGate::~NotificationGate()
{
    if (m_refill)
        m_refill->cancel();
}

void NotificationGate::offer(Key key, const QString &tag)
{
    if (m_tokens > 0) {
        --m_tokens;
        present({key, tag});
    } else {
        // Coalesced: the newest is what the user needs to see; the one it displaces never is.
        std::optional<Entry> displaced = std::exchange(m_waiting, Entry{key, tag});
        if (displaced)
            m_handlers.discard(displaced->key);
    }
    // Refilled only while short, so an idle Dialwise has no timer running.
    if (m_tokens < m_limits.burst && !(m_refill && m_refill->isActive()))
        m_refill = m_scheduler.runOnce(m_limits.pace, m_target, [this] { refill(); });
}

void NotificationGate::refill()
{
    ++m_tokens;
    if (m_waiting) {
        --m_tokens;
        present(*std::exchange(m_waiting, std::nullopt));
    }
    if (m_tokens < m_limits.burst)
        m_refill = m_scheduler.runOnce(m_limits.pace, m_target, [this] { refill(); });
}

void NotificationGate::present(const Entry &entry)
{
    std::optional<Key> replacing;
    const auto sameTag = std::find_if(m_shown.begin(), m_shown.end(), [&entry](const Entry &shown) {
        return !entry.tag.isEmpty() && shown.tag == entry.tag;
    });
    std::optional<Key> withdrawn;
    if (sameTag != m_shown.end()) {
        replacing = sameTag->key;
        m_shown.erase(sameTag);
    } else if (int(m_shown.size()) >= m_limits.onDesktop) {
        withdrawn = m_shown.front().key;
        m_shown.pop_front();
    }
    m_shown.push_back(entry);
    // State first: the handlers may come straight back with forget().
    if (withdrawn)
        m_handlers.withdraw(*withdrawn);
    m_handlers.present(entry.key, replacing);
}

void NotificationGate::forget(Key key)
{
    if (m_waiting && m_waiting->key == key) {
        m_waiting.reset();
        return;
    }
    const auto found = std::find_if(m_shown.begin(), m_shown.end(), [key](const Entry &shown) { return shown.key == key; });
    if (found != m_shown.end())
        m_shown.erase(found);
}

} // namespace dialwise
