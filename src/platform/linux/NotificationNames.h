#pragma once

// The desktop notification service (org.freedesktop.Notifications) as Dialwise uses it: the
// one place its names are spelled out.
namespace dialwise::notifications {

inline constexpr char kService[] = "org.freedesktop.Notifications";
inline constexpr char kPath[] = "/org/freedesktop/Notifications";
inline constexpr char kInterface[] = "org.freedesktop.Notifications";
inline constexpr char kNotifyMethod[] = "Notify";
inline constexpr char kCloseMethod[] = "CloseNotification";
inline constexpr char kGetCapabilitiesMethod[] = "GetCapabilities";
inline constexpr char kActionInvokedSignal[] = "ActionInvoked";
inline constexpr char kClosedSignal[] = "NotificationClosed";
// The capability of servers that interpret markup in notification bodies.
inline constexpr char kBodyMarkupCapability[] = "body-markup";
// The capability of servers that show actions as buttons.
inline constexpr char kActionsCapability[] = "actions";
// The action a click on the notification itself invokes.
inline constexpr char kDefaultAction[] = "default";
// The "Show" button's action.
inline constexpr char kShowAction[] = "show";
// Hints: which application sent it (so the desktop groups it with Dialwise), and a picture
// sent as raw pixels (iiibiiay).
inline constexpr char kDesktopEntryHint[] = "desktop-entry";
inline constexpr char kImageDataHint[] = "image-data";
// The application name every Dialwise notification carries.
inline constexpr char kAppName[] = "Dialwise";
// Let the server decide how long a notification stays, as the user configured it.
inline constexpr int kServerDefaultTimeout = -1;

} // namespace dialwise::notifications
