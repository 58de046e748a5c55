// The web app's notifications, timed with the real program started hidden:
//  1. a page's `new Notification(...)` to Notify at the notification server: the page puts its
//     wall-clock time (performance.timeOrigin + performance.now()) in the body, the stand-in
//     server notes the wall-clock time the call arrived; one notification every 1.1 s, so that
//     the pace never holds one back;
//  2. hand-overs (`dialwise tel:...` to the new-call request at the stand-in), quiet and while
//     the page raises 1,000 notifications a second.
// Run inside tests/run-in-desktop:
//   NotificationBench [notifications, default 50] [hand-overs per case, default 10]
#include "bench/Timing.h"
#include "tests/e2e/NotifyingPage.h"
#include "tests/e2e/ShellRig.h"
#include "tests/support/NotificationServerStandIn.h"

#include <QCoreApplication>

#include <chrono>
#include <utility>
#include <cstdio>

using dialwise::testing::NotificationServerStandIn;
using dialwise::testing::NotifyingPage;
using dialwise::testing::ReceivedNotification;
using namespace dialwise::bench;

namespace {

constexpr int kStartMs = 60000;
constexpr int kStepMs = 30000;
// Apart by more than the pace (one a second after the first five), so none waits for its turn.
constexpr int kSpacingMs = 1100;

// `dialwise tel:+<digits>` to the new-call request at the stand-in, in ms; negative when it did
// not arrive or the launcher failed.
double handOver(ShellRig &rig, ArrivalClock &clock, const QString &digits)
{
    const HandOver run = timeHandOver(rig, clock, telLaunch(digits), digits, kStepMs);
    return run.succeeded() ? run.ms : -1;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const Arguments arguments(argc, argv);
    const int count = arguments.number(0, 50);
    const int handOvers = arguments.number(1, 10);

    NotificationServerStandIn server;
    ShellRig rig;
    NotifyingPage page(rig.standIn());
    if (!server.start() || !rig.startStandIn()) {
        std::fprintf(stderr, "NotificationBench: no notification server or stand-in\n");
        return 1;
    }
    page.install();
    ArrivalClock clock(rig.standIn());
    if (!rig.startPrimary({QStringLiteral("--hidden")}, kStartMs) || !page.waitForReport("permission/granted/granted", kStartMs)) {
        std::fprintf(stderr, "NotificationBench: could not start Dialwise: %s\n", rig.primaryErrors().constData());
        return 1;
    }

    // 1. new Notification to Notify.
    page.run(QStringLiteral("for (var i = 0; i < %1; ++i) (function (i) { setTimeout(function () {"
                            "  var n = new Notification('bench ' + i, {body: String(performance.timeOrigin + performance.now())});"
                            "  setTimeout(function () { n.close(); }, 300);"
                            "}, i * %2); })(i);")
                 .arg(count)
                 .arg(kSpacingMs));
    auto benchNotes = [&] {
        QList<ReceivedNotification> found;
        for (const ReceivedNotification &n : server.notifications()) {
            if (n.summary.startsWith(u"bench "))
                found.append(n);
        }
        return found;
    };
    ShellRig::waitUntil([&] { return benchNotes().size() >= count; }, count * kSpacingMs + kStartMs);
    Figures latency;
    for (const ReceivedNotification &n : benchNotes()) {
        const double arrivedMs = std::chrono::duration<double, std::milli>(n.arrived.time_since_epoch()).count();
        latency.ms.append(arrivedMs - n.body.toDouble());
    }
    latency.failures = count - int(latency.ms.size());
    latency.print("new Notification -> Notify (hidden)");

    // 2. Hand-overs, quiet and during a flood, hidden and then shown.
    auto quietRuns = [&](int first) {
        // Warm-up, not counted: the first hand-overs after a start or a state change pay for
        // loading and first paints.
        return timeSeries(handOvers, kHandOverWarmUp, [&](int run) {
            const int number = run < kHandOverWarmUp ? first + 900 + run : first + run - kHandOverWarmUp;
            const double ms = handOver(rig, clock, QStringLiteral("1202555%1").arg(number));
            ShellRig::pump(500);
            return ms;
        });
    };
    // script floods and reports "flood-on" as it starts a burst; the hand-over goes out then.
    int floodNotes = 0;
    auto floodRuns = [&](int first, const QString &script) {
        Figures flooded;
        for (int i = 0; i < handOvers; ++i) {
            const int before = int(server.notifications().size());
            const int from = int(rig.standIn().requestLines().size());
            page.run(script);
            if (!page.waitForReport(QStringLiteral("flood-on"), kStepMs, from)) {
                ++flooded.failures;
                continue;
            }
            flooded.add(handOver(rig, clock, QStringLiteral("1202555%1").arg(first + i)));
            floodNotes += int(server.notifications().size()) - before;
            // The hand-over's page load ends the flood; wait for the reloaded page.
            page.waitForReport(QStringLiteral("permission/granted/granted"), kStepMs, from);
            ShellRig::pump(500);
        }
        return flooded;
    };
    // Hidden, a page's timers run about once a second: 1,000 at each tick, the report just before.
    const QString hiddenFlood = QStringLiteral("var k = 0; var f = setInterval(function () {"
                                               "  if (k == 1) report('flood-on');"
                                               "  for (var j = 0; j < 1000; ++j) new Notification('flood ' + k + '/' + j, {body: 'x'});"
                                               "  if (++k >= 10) clearInterval(f);"
                                               "}, 1000);");
    // Shown, timers run at full pace: 10 every 10 ms, 1,000 a second without a pause.
    const QString shownFlood = QStringLiteral("var k = 0; var f = setInterval(function () {"
                                              "  for (var j = 0; j < 10; ++j) new Notification('flood ' + k + '/' + j, {body: 'x'});"
                                              "  if (++k == 50) report('flood-on');"
                                              "  if (k >= 1000) clearInterval(f);"
                                              "}, 10);");
    const Figures quietHidden = quietRuns(2000);
    const Figures floodHidden = floodRuns(3000, hiddenFlood);
    const int hiddenFloodNotes = std::exchange(floodNotes, 0);
    rig.run(QStringList{}); // shows the window
    if (!rig.waitForVisibleWindow(kStepMs))
        std::fprintf(stderr, "NotificationBench: the window did not show\n");
    ShellRig::pump(2000);
    const Figures quietShown = quietRuns(4000);
    const Figures floodShown = floodRuns(5000, shownFlood);
    quietHidden.print("hand-over, hidden, quiet");
    floodHidden.print("hand-over, hidden, 1000-bursts");
    quietShown.print("hand-over, shown, quiet");
    floodShown.print("hand-over, shown, 1000/s flood");
    std::printf("notifications reaching the server per flood run: hidden %.1f, shown %.1f on average\n",
                handOvers ? double(hiddenFloodNotes) / handOvers : 0.0, handOvers ? double(floodNotes) / handOvers : 0.0);
    rig.stopPrimary();
    return latency.ms.isEmpty() ? 1 : 0;
}
