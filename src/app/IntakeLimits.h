#pragma once

#include "calling/PhoneNumbers.h"

#include <QtGlobal>

// How much one request from another program may carry. Anything larger is refused at once,
// before any of it is looked at: no normalising, no history entry. A phone number with a
// paragraph around it is a few hundred characters; nobody selects or links 64 KiB to make one
// call, while handing over megabytes only holds the main thread and fills the memory.
namespace dialwise::intake {

// One text (--call-text, the selection) or one link, in UTF-16 code units: 64 Ki characters.
inline constexpr qsizetype kMaxTextLength = 64 * 1024;
// Links in one Open. A desktop hands over what the user opened at once: a handful. Each link
// may place a call, so a thousand of them is never what anyone asked for.
inline constexpr qsizetype kMaxUrisPerOpen = 100;
// Longer normalised numbers are refused as no number at all (see phone::kMaximumNumberLength).
inline constexpr qsizetype kMaxNumberLength = phone::kMaximumNumberLength;

} // namespace dialwise::intake
