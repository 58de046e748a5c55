#pragma once

#include "calling/Scheduler.h"

namespace dialwise {

// The real scheduler: precise single-shot and repeating QTimers on the calling thread's event loop.
class QtScheduler final : public Scheduler
{
public:
    int activeTaskCount() const override;

protected:
    std::shared_ptr<ScheduledTask> schedule(Duration delay, bool repeating, QObject *target, Action action) override;

private:
    // Shared with every task so a count survives tasks outliving the scheduler and vice versa.
    std::shared_ptr<int> m_active = std::make_shared<int>(0);
};

} // namespace dialwise
