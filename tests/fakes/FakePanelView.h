#pragma once

#include "detection/replay/ScriptedDesktop.h"

namespace dialwise::testing {

// Records every strip asked for (frame, number, closed or not) and clicks the open one on demand.
// The replay tool uses the same class, so it is not copied here.
using FakePanelView = RecordingPanelView;

} // namespace dialwise::testing
