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

} // namespace dialwise
