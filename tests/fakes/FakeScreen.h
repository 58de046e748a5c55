#pragma once

#include "detection/replay/ScriptedDesktop.h"

namespace dialwise::testing {

// A main screen of the height the test sets (or none), and the pointer where it puts it.
// The replay tool plays recorded situations on the same class, so it is not copied here.
using FakeScreen = ScriptedScreen;

} // namespace dialwise::testing
