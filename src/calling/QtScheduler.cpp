#include "calling/QtScheduler.h"

#include <QPointer>
#include <QTimer>

namespace dialwise {
namespace {

class TimerTask final : public ScheduledTask
{
public:
    TimerTask(std::shared_ptr<int> active, QObject *target)
        : m_active(std::move(active))
        , m_target(target)
    {
        ++*m_active;
    }
    ~TimerTask() override { finish(); }

    // The timer's connection holds the task strongly, so a caller may drop its handle and the
    // work still runs; finish() breaks that cycle.
    void start(Scheduler::Duration delay, bool repeating, const std::shared_ptr<TimerTask> &self,
               Scheduler::Action action)
    {
        m_timer = new QTimer();
        m_timer->setTimerType(Qt::PreciseTimer);
        m_timer->setSingleShot(!repeating);
        m_timer->setInterval(delay);
        // The connection context is the target itself, so Qt drops the call once it is gone.
        QObject::connect(m_timer, &QTimer::timeout, m_target.data(), [self, repeating, action] {
            const std::shared_ptr<TimerTask> task = self; // alive through the action, whatever it cancels
            if (!task->isActive())
                return;
            if (!repeating)
                task->finish();
            action();
        });
        // A target destroyed while the task waits ends the task at once, so the count stays true.
        const std::weak_ptr<TimerTask> weak = self;
        QObject::connect(m_target.data(), &QObject::destroyed, m_timer, [weak] {
            if (const std::shared_ptr<TimerTask> task = weak.lock())
                task->finish();
        });
        m_timer->start();
    }

    void cancel() override { finish(); }
    bool isActive() const override { return !m_finished && m_target; }

private:
    void finish()
    {
        if (m_finished)
            return;
        m_finished = true;
        --*m_active;
        if (QTimer *timer = m_timer) {
            m_timer = nullptr;
            timer->stop();
            // Later, not now: finish() may run inside this timer's own timeout emission.
            timer->deleteLater();
        }
    }

    std::shared_ptr<int> m_active;
    QPointer<QObject> m_target;
    QTimer *m_timer = nullptr;
    bool m_finished = false;
};

} // namespace

std::shared_ptr<ScheduledTask> QtScheduler::schedule(Duration delay, bool repeating, QObject *target, Action action)
{
    auto task = std::make_shared<TimerTask>(m_active, target);
    if (!target) {
        task->cancel();
        return task;
    }
    task->start(delay, repeating, task, std::move(action));
    return task;
}

int QtScheduler::activeTaskCount() const
{
    return *m_active;
}

} // namespace dialwise
