#pragma once

#include "RequestFailure.h"

#include <QLatin1String>
#include <QString>

#include <optional>

// Where the running Dialwise answers on the session bus. The name is also the desktop entry's
// name, as org.freedesktop.Application expects of D-Bus-activatable programs.
namespace dialwise::bus {

inline constexpr char kServiceName[] = DIALWISE_APP_ID;
inline constexpr char kObjectPath[] = "/app/dialwise/Dialwise";
inline constexpr char kApplicationInterface[] = "org.freedesktop.Application";
inline constexpr char kCallsInterface[] = "app.dialwise.Dialwise.Calls";
inline constexpr char kNoTextErrorName[] = "app.dialwise.Dialwise.Error.NoText";
inline constexpr char kNoNumberErrorName[] = "app.dialwise.Dialwise.Error.NoNumber";

// The D-Bus error name each failure travels under, and back.
inline QString errorName(RequestFailure failure)
{
    return QString::fromLatin1(failure == RequestFailure::noText ? kNoTextErrorName : kNoNumberErrorName);
}
inline std::optional<RequestFailure> failureFromErrorName(const QString &name)
{
    if (name == QLatin1String(kNoTextErrorName))
        return RequestFailure::noText;
    if (name == QLatin1String(kNoNumberErrorName))
        return RequestFailure::noNumber;
    return std::nullopt;
}

} // namespace dialwise::bus
