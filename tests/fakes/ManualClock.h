#pragma once

#include "calling/Clock.h"

#include <QDateTime>
#include <QTimeZone>

namespace dialwise::testing {

// A clock that only moves when the test moves it.
class ManualClock final : public Clock
{
public:
    ManualClock()
        : current(QDate(2024, 3, 1), QTime(9, 30, 0), QTimeZone::utc())
    {
    }
    explicit ManualClock(QDateTime start)
        : current(std::move(start))
    {
    }

    QDateTime now() const override { return current; }
    void set(const QDateTime &value) { current = value; }
    void advanceSeconds(qint64 seconds) { current = current.addSecs(seconds); }

    QDateTime current;
};

} // namespace dialwise::testing
