#pragma once

#include "detection/replay/ScriptedDesktop.h"

namespace dialwise::testing {

// The window list and the frontmost program as the test sets them; windows = std::nullopt fails the query.
// The replay tool plays recorded situations on the same class, so it is not copied here.
using FakeWindowList = ScriptedWindowList;

} // namespace dialwise::testing
