#pragma once

#include "app/RequestFailure.h"

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
// The org.freedesktop.Application action that turns the phone-link detector on (parameter true)
// or off (false).
inline constexpr char kDetectPhoneLinksAction[] = "detect-phone-links";
inline constexpr char kNoTextErrorName[] = "app.dialwise.Dialwise.Error.NoText";
inline constexpr char kNoNumberErrorName[] = "app.dialwise.Dialwise.Error.NoNumber";
// Requests over the limits of IntakeLimits.h, refused unread.
inline constexpr char kTooLargeErrorName[] = "app.dialwise.Dialwise.Error.TooLarge";
inline constexpr char kTooManyLinksErrorName[] = "app.dialwise.Dialwise.Error.TooManyLinks";

// The D-Bus error name each failure travels under, and back.
inline QString errorName(RequestFailure failure)
{
    switch (failure) {
    case RequestFailure::noText:
        return QString::fromLatin1(kNoTextErrorName);
    case RequestFailure::tooLarge:
        return QString::fromLatin1(kTooLargeErrorName);
    case RequestFailure::tooManyLinks:
        return QString::fromLatin1(kTooManyLinksErrorName);
    case RequestFailure::noNumber:
        break;
    }
    return QString::fromLatin1(kNoNumberErrorName);
}
inline std::optional<RequestFailure> failureFromErrorName(const QString &name)
{
    if (name == QLatin1String(kNoTextErrorName))
        return RequestFailure::noText;
    if (name == QLatin1String(kNoNumberErrorName))
        return RequestFailure::noNumber;
    if (name == QLatin1String(kTooLargeErrorName))
        return RequestFailure::tooLarge;
    if (name == QLatin1String(kTooManyLinksErrorName))
        return RequestFailure::tooManyLinks;
    return std::nullopt;
}

} // namespace dialwise::bus
