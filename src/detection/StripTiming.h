#pragma once

#include <chrono>

// What the two strips, under a popup and under a number in text, share: they are one control to
// the user, so they look and go away alike.
namespace dialwise::strip {


// One row of a popup's own height.
inline constexpr double kHeight = 30;
// Twice a second is quick enough that a strip never visibly outlives what it stands under.
inline constexpr std::chrono::milliseconds kPollInterval{500};
// A strip nobody used is in the way after this long.
inline constexpr std::chrono::milliseconds kDismissAfter{20000};

} // namespace dialwise::strip
