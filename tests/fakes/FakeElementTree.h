#pragma once

#include "detection/replay/ScriptedDesktop.h"

namespace dialwise::testing {

// Element trees from data: attributes, read errors, applications, hit-test rectangles, trust.
// The replay tool plays recorded situations on the same class, so it is not copied here.
using FakeElementTree = ScriptedElementTree;

} // namespace dialwise::testing
