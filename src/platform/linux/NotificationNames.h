#pragma once

// The desktop notification service (org.freedesktop.Notifications) as Dialwise uses it: the
// one place its names are spelled out.
namespace dialwise::notifications {

inline constexpr char kService[] = "org.freedesktop.Notifications";
inline constexpr char kPath[] = "/org/freedesktop/Notifications";
inline constexpr char kInterface[] = "org.freedesktop.Notifications";
inline constexpr char kNotifyMethod[] = "Notify";
inline constexpr char kGetCapabilitiesMethod[] = "GetCapabilities";
// The capability of servers that interpret markup in notification bodies.
inline constexpr char kBodyMarkupCapability[] = "body-markup";
// The application name every Dialwise notification carries.
inline constexpr char kAppName[] = "Dialwise";
// Let the server decide how long a notification stays, as the user configured it.
inline constexpr int kServerDefaultTimeout = -1;

} // namespace dialwise::notifications
