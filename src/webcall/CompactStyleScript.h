#pragma once

#include <QString>

namespace dialwise {

// The page script that trims the Google Voice page for a narrow window: it appends, once per
// document, a <style id="dialwise-style"> that hides the upgrade banner. A document that
// already holds that element is left alone, so running it after every load is harmless.
QString compactStyleScript();

} // namespace dialwise
