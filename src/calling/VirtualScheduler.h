#pragma once

#include "calling/Scheduler.h"

#include <QPointer>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

namespace dialwise {

// A scheduler on a virtual clock that moves only when told to. Tasks due at the same instant run
// in the order they were scheduled. The tests use it to assert exact instants, and
// `dialwise --replay-detector` uses it to play a recorded desktop situation without waiting.
class VirtualScheduler final : public Scheduler
{
public:
    int activeTaskCount() const override;

    // Virtual time since this scheduler was made.
    Duration now() const { return m_now; }
    // Runs, in order, every task due up to and including now() + step, then stands at that time.
    void advanceBy(Duration step);
    // As advanceBy, to an absolute virtual time; a time in the past only runs what is due now.
    void advanceTo(Duration time);
    // The instant of the next task that may still run, if any.
    std::optional<Duration> nextDue() const;

protected:
    std::shared_ptr<ScheduledTask> schedule(Duration delay, bool repeating, QObject *target, Action action) override;

private:
    class Task;
    using Queue = std::multimap<std::pair<Duration, std::uint64_t>, std::shared_ptr<Task>>;

    void prune() const;

    Duration m_now{0};
    std::uint64_t m_sequence = 0;
    mutable Queue m_queue;
};

} // namespace dialwise
