#pragma once

#include <QDateTime>

namespace dialwise {

// Where "now" comes from, so that history timestamps and relative times can be tested.
class Clock
{
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
};

class SystemClock final : public Clock
{
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
};

} // namespace dialwise
