#pragma once

// The one symbol the launcher looks up in the dialwise-replay module.
extern "C" {
using DialwiseReplayMain = int (*)(const char *scenarioPath);
int dialwise_replay_main(const char *scenarioPath);
}

namespace dialwise {
inline constexpr char kReplayEntrySymbol[] = "dialwise_replay_main";
inline constexpr char kReplayModuleFileName[] = "dialwise-replay.so";
} // namespace dialwise
