#pragma once

#include <QObject>

#include <chrono>
#include <functional>
#include <memory>

namespace dialwise {

// What runOnce and runRepeating hand out, declared below.
class ScheduledTask;

// Deferred work on the thread that owns the state, in place of bare timers, so that every timing
// rule (the placeholder's 2 s, the 60 s load time-out, the detector's 0.3/0.6/1.0/1.5 s attempts,
// its 0.5 s poll and 20 s dismissal) runs in virtual time under test and asserts exact instants.
//
// Both operations hold their target weakly: once the target QObject is destroyed the action never
// runs, so a pending task can neither keep its owner alive nor touch it after it is gone.
class Scheduler
{
public:
    using Duration = std::chrono::milliseconds;
    using Action = std::function<void()>;

    virtual ~Scheduler() = default;

    // Runs action once, delay from now, unless cancelled or target is destroyed first.
    std::shared_ptr<ScheduledTask> runOnce(Duration delay, QObject *target, Action action)
    {
        return schedule(delay, false, target, std::move(action));
    }
    // Runs action every interval until cancelled or target is destroyed.
    std::shared_ptr<ScheduledTask> runRepeating(Duration interval, QObject *target, Action action)
    {
        return schedule(interval, true, target, std::move(action));
    }
    // Tasks that may still run. An idle Dialwise has none of its own.
    virtual int activeTaskCount() const = 0;

protected:
    // What each scheduler does its own way: run action delay from now and, when repeating, every
    // delay after that. A task for a target that is already gone is handed out inactive.
    virtual std::shared_ptr<ScheduledTask> schedule(Duration delay, bool repeating, QObject *target, Action action) = 0;
};

// One piece of deferred work handed out by a Scheduler. Dropping the handle does not cancel
// the work: fire-and-forget callers (the detector's scan attempts) simply ignore it.
class ScheduledTask
{
public:
    virtual ~ScheduledTask() = default;
    // No further runs. Harmless when the task already ran, was cancelled or lost its target.
    virtual void cancel() = 0;
    // True while the task may still run: a one-shot that has not fired, a repeating timer that
    // has not been cancelled, and in both cases a target that still exists.
    virtual bool isActive() const = 0;
};

} // namespace dialwise
