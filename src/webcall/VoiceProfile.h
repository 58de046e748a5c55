#pragma once

class QObject;
class QWebEngineProfile;

namespace dialwise {

// The browser identity the Google Voice web app gets served for: it supports Safari on a Mac,
// and answers other engines with an "unsupported browser" page.
inline constexpr char kVoiceUserAgent[] =
    "Mozilla/5.0 (Macintosh; Intel Mac OS X 14_0) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/17.0 Safari/605.1.15";

// The disk-backed "Dialwise" profile: storage under the application's data directory, cache
// under its cache directory, every cookie kept on disk, so the Google Voice sign-in survives a
// restart.
QWebEngineProfile *createPersistentVoiceProfile(QObject *parent);

// What the window needs of any profile it is given: the user agent above.
void prepareVoiceProfile(QWebEngineProfile *profile);

// Keeps a page that has been hidden for long as awake as one hidden for a minute. Chromium's
// intensive throttling lets a page hidden for five minutes wake its timers only once a minute;
// Dialwise is hidden for hours, and the web app's timers keep its call signalling going. Plain
// background throttling (at most one wake-up a second) stays: that is what keeps a hidden
// Dialwise cheap. Call before the application object exists: Chromium reads its flags once.
void keepHiddenPagesAwake();

} // namespace dialwise
