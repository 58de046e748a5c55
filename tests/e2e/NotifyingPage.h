#pragma once

#include "tests/support/VoiceStandIn.h"

#include <QString>

namespace dialwise::testing {

// The stand-in web app as a page that raises notifications when told, for a Dialwise running in
// another process. Served at the calls page, it asks for notification permission on load and
// then fetches /command a few times a second, running each new command once (commands are
// numbered; the number survives the page's reloads, so a hand-over does not run one again).
// What the page sees comes back as requests to /report/<what>, which the stand-in records:
//   permission/<answer>/<Notification.permission>   after the request on load
//   show|click|close|error/<name>                   events of a notification raised by raise()
// Commands may call raise(name, title, options), which keeps the notification as notes[name].
class NotifyingPage final
{
public:
    explicit NotifyingPage(VoiceStandIn &standIn);

    // Serves the page for every calls-page address, new-call addresses included.
    void install();
    // Has the page run `script` (JavaScript) at its next fetch of /command.
    void run(const QString &script);
    // Waits until the page reported `what` ("click/a"), counting only reports from request
    // number `fromIndex` on.
    bool waitForReport(const QString &what, int timeoutMs, int fromIndex = 0);
    bool hasReported(const QString &what, int fromIndex = 0) const;
    // "http://localhost:<port>": the same stand-in seen from another origin.
    QString otherOrigin() const;

private:
    VoiceStandIn &m_standIn;
    int m_nextCommand = 1;
};

} // namespace dialwise::testing
