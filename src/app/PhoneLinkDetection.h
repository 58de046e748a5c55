#pragma once

#include "DetectorPlatform.h"
#include "LaunchRequest.h"

namespace dialwise {

class CallManager;
class SettingsStore;

// The running Dialwise's side of the phone-link click detector: whether to start it, with which
// desktop, and starting it. Off unless asked for, by `--detect-phone-links` or by
// detectPhoneLinks=true in dialwise.conf.
namespace phonelinks {

inline constexpr char kSettingKey[] = "detectPhoneLinks";

bool wanted(const LaunchRequest &request, const SettingsStore &settings);

// The desktop backends this build has. Pieces this desktop cannot offer yet stay empty.
DetectorPlatform platform(const CallManager &callManager);

// Starts DataDetectorMonitor::shared() on platform. Without a complete platform it only says that
// click detection is unavailable, and neither makes the monitor nor touches its log file.
bool start(DetectorPlatform platform);

} // namespace phonelinks
} // namespace dialwise
