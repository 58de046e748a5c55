#include "calling/VirtualScheduler.h"

#include <optional>

namespace dialwise {

class VirtualScheduler::Task final : public ScheduledTask
{
public:
    Task(QObject *owner, Duration every, Action run)
        : target(owner)
        , interval(every)
        , action(std::move(run))
    {
    }

    void cancel() override { cancelled = true; }
    bool isActive() const override { return !cancelled && !fired && target; }

    QPointer<QObject> target;
    Duration interval; // zero for a one-shot task
    Action action;
    bool cancelled = false;
    bool fired = false;
};

std::shared_ptr<ScheduledTask> VirtualScheduler::schedule(Duration delay, bool repeating, QObject *target, Action action)
{
    // A zero interval would run for ever at one instant; one virtual millisecond is the least step.
    const Duration interval = repeating ? std::max(delay, Duration{1}) : Duration{0};
    auto task = std::make_shared<Task>(target, interval, std::move(action));
    if (!target)
        task->cancel();
    m_queue.emplace(std::make_pair(m_now + std::max(delay, Duration{0}), m_sequence++), task);
    return task;
}

void VirtualScheduler::prune() const
{
    for (auto it = m_queue.begin(); it != m_queue.end();) {
        if (it->second->isActive())
            ++it;
        else
            it = m_queue.erase(it);
    }
}

int VirtualScheduler::activeTaskCount() const
{
    prune();
    return int(m_queue.size());
}

std::optional<Scheduler::Duration> VirtualScheduler::nextDue() const
{
    prune();
    if (m_queue.empty())
        return std::nullopt;
    return m_queue.begin()->first.first;
}

void VirtualScheduler::advanceBy(Duration step)
{
    advanceTo(m_now + std::max(step, Duration{0}));
}

void VirtualScheduler::advanceTo(Duration time)
{
    const Duration end = std::max(time, m_now);
    for (;;) {
        prune();
        if (m_queue.empty() || m_queue.begin()->first.first > end)
            break;
        auto first = m_queue.begin();
        const Duration due = first->first.first;
        std::shared_ptr<Task> task = first->second;
        m_queue.erase(first);
        m_now = due;
        if (task->interval > Duration{0})
            m_queue.emplace(std::make_pair(due + task->interval, m_sequence++), task);
        else
            task->fired = true;
        task->action();
    }
    m_now = end;
}

} // namespace dialwise
