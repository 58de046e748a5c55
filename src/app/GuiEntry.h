#pragma once

#include "app/LaunchRequest.h"

// The one symbol the launcher looks up in the dialwise-gui module. Launcher and module are built
// together from the same sources, so the request travels as the C++ struct it already is.
extern "C" {
using DialwiseGuiMain = int (*)(int argc, char **argv, const dialwise::LaunchRequest *request);
int dialwise_gui_main(int argc, char **argv, const dialwise::LaunchRequest *request);
}

namespace dialwise {
inline constexpr char kGuiEntrySymbol[] = "dialwise_gui_main";
inline constexpr char kGuiModuleFileName[] = "dialwise-gui.so";
} // namespace dialwise
