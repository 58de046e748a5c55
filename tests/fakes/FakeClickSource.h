#pragma once

#include "detection/replay/ScriptedDesktop.h"

namespace dialwise::testing {

// Left mouse-downs on demand: click() runs every installed listener.
// The replay tool plays recorded situations on the same class, so it is not copied here.
using FakeClickSource = ScriptedClickSource;

} // namespace dialwise::testing
