#pragma once

#include "calling/VirtualScheduler.h"

namespace dialwise::testing {

// Deferred work that runs only when the test moves virtual time (advanceBy / advanceTo). The
// production VirtualScheduler is exactly that; the replay tool uses it too, so it is not copied.
using ManualScheduler = VirtualScheduler;

} // namespace dialwise::testing
