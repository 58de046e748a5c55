#pragma once

// Where the running Dialwise answers on the session bus. The name is also the desktop entry's
// name, as org.freedesktop.Application expects of D-Bus-activatable programs.
namespace dialwise::bus {

inline constexpr char kServiceName[] = DIALWISE_APP_ID;
inline constexpr char kObjectPath[] = "/app/dialwise/Dialwise";
inline constexpr char kApplicationInterface[] = "org.freedesktop.Application";
inline constexpr char kCallsInterface[] = "app.dialwise.Dialwise.Calls";
inline constexpr char kNoTextErrorName[] = "app.dialwise.Dialwise.Error.NoText";
inline constexpr char kNoNumberErrorName[] = "app.dialwise.Dialwise.Error.NoNumber";
// A request over the limits of IntakeLimits.h, refused unread.
inline constexpr char kTooLargeErrorName[] = "app.dialwise.Dialwise.Error.TooLarge";

} // namespace dialwise::bus
