#pragma once

#include "app/LaunchRequest.h"
#include "detection/DetectorPlatform.h"

#include <functional>

namespace dialwise {

class CallManager;
class SettingsStore;

// The running Dialwise's side of the phone-link click detector: whether to start it, with which
// desktop, and starting it. Off unless asked for, by `--detect-phone-links` or by
// detectPhoneLinks=true in dialwise.conf.
//
// The detector runs on a thread of its own: every accessibility, window-list and X request of a
// scan waits there for the other program, never on the GUI thread, so that calls, hand-overs and
// Dialwise's own window are served while a scan waits. Only the strip (a widget) and the calls
// cross to the GUI thread.
namespace phonelinks {

inline constexpr char kSettingKey[] = "detectPhoneLinks";

bool wanted(const LaunchRequest &request, const SettingsStore &settings);

// The desktop backends this build has. Pieces this desktop cannot offer yet stay empty.
DetectorPlatform platform(const CallManager &callManager);

// Starts DataDetectorMonitor::shared() on platform, on the detector's thread; call it on the GUI
// thread, which keeps the strip. Without a complete platform it only says that click detection
// is unavailable, and neither makes the monitor nor touches its log file. Returns at once: the
// monitor is made and starts on its own thread.
bool start(DetectorPlatform platform);

// Turns the running detector on or off, as `dialwise --detect-phone-links[=off]` handed to this
// Dialwise asks. The first time it is turned on it is started on makePlatform(); turning it on
// while it runs, or off while it does not, changes nothing.
void turn(bool on, const std::function<DetectorPlatform()> &makePlatform);

// Returns once everything handed to the detector's thread before the call has run there.
void waitForDetectorThread();

} // namespace phonelinks
} // namespace dialwise
