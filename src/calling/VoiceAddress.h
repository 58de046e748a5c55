#pragma once

#include <QString>
#include <QStringView>
#include <QUrl>
#include <optional>

// Where the Google Voice web app lives, and the addresses Dialwise builds under it. The base
// address is fixed in code; the environment variable DIALWISE_VOICE_URL (scheme, host and
// optional port, such as http://127.0.0.1:8123) replaces it so that tests can point Dialwise at a
// local stand-in. The entry points read it once, at start, and hand the result down: nothing
// else looks at the environment.
namespace dialwise::voice {

// The base address, and what replaces it.
inline constexpr char kDefaultBaseUrl[] = "https://voice.google.com";
inline constexpr char kBaseUrlVariable[] = "DIALWISE_VOICE_URL";
// https://voice.google.com
QUrl defaultBaseUrl();
// The web app's origin for this run: DIALWISE_VOICE_URL when it is a usable http(s) origin,
// else the default. Called once by each entry point.
QUrl baseUrlFromEnvironment();
// Parses an origin as DIALWISE_VOICE_URL would be; no value when it is not scheme://host[:port].
std::optional<QUrl> parseBaseUrl(QStringView text);

// The page the calling window opens: base + "/u/0/calls".
inline constexpr char kCallsPath[] = "/u/0/calls";
std::optional<QUrl> callsPageUrl(const QUrl &base);

// Text between the base address and the dial digits of a new call: a=nc, then an encoded "+".
inline constexpr char kNewCallPathAndQuery[] = "/u/0/calls?a=nc,%2B";
// base + "/u/0/calls?a=nc,%2B" + digits. No value when the digits cannot stand in a URL as
// they are (any character outside ASCII): the address is never rewritten behind the user's back.
std::optional<QUrl> newCallUrl(const QUrl &base, QStringView dialDigits);
// True for an address that places a call when it loads (the calls page with "a=nc,"), under
// any base: loading it again would dial the number a second time.
bool isNewCallAddress(const QUrl &url);

} // namespace dialwise::voice
