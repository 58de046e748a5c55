// Cold start: with nothing running, how long from starting `dialwise` until its window is mapped
// and the web app's page has been requested from the stand-in. Beside it, the same for
// `chromium --app=<page>` (a new window mapped and the page requested). Run inside
// tests/run-in-desktop. Both keep their profile between runs, as on a user's desktop.
//   ColdStartBench [runs] [--no-chromium]
#include "bench/Timing.h"
#include "calling/VoiceAddress.h"
#include "tests/e2e/ShellRig.h"

#include <QCoreApplication>
#include <QSet>

#include <cstdio>

using namespace dialwise::bench;

namespace {

constexpr int kTimeoutMs = 60000;
constexpr int kWarmUp = 2;

// Starts the program, waits for a new viewable window that `isOurs` accepts and for the page
// request; returns the later of the two in milliseconds, or a negative value on time-out.
double timeStart(ShellRig &rig, ArrivalClock &arrivals, const QList<QByteArray> &argv, const QString &pageTarget,
                 const std::function<bool(unsigned long)> &isOurs, pid_t *pid)
{
    const QList<unsigned long> before = ShellRig::viewableWindows();
    const QSet<unsigned long> existing(before.begin(), before.end());
    const int requestsBefore = int(rig.standIn().requestLines().size());
    const qint64 started = arrivals.now();
    *pid = rig.startProcess(argv);
    qint64 mapped = -1;
    qint64 requested = -1;
    ShellRig::waitUntil(
        [&] {
            if (mapped < 0) {
                for (unsigned long window : ShellRig::viewableWindows()) {
                    if (!existing.contains(window) && isOurs(window)) {
                        mapped = arrivals.now();
                        break;
                    }
                }
            }
            if (requested < 0 && rig.standIn().requestTargets().mid(requestsBefore).contains(pageTarget))
                requested = arrivals.now();
            return mapped >= 0 && requested >= 0;
        },
        kTimeoutMs);
    if (mapped < 0 || requested < 0)
        return -1;
    return double(std::max(mapped, requested) - started) / 1e6;
}

// Ends the Dialwise just started the way a user would, `dialwise --quit`, and waits until it
// has gone and given up its bus name, so that the next start is a cold one again.
void quitDialwise(ShellRig &rig, pid_t pid)
{
    rig.run(QStringList{QStringLiteral("--quit")});
    if (ShellRig::waitProcess(pid, 15000) == -1)
        stopProcess(pid);
    ShellRig::waitUntil([] { return !ShellRig::nameOwned(); }, 5000);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const Arguments arguments(argc, argv);
    const int runs = arguments.number(0, 15);

    ShellRig rig;
    if (!rig.startStandIn())
        return 1;
    ArrivalClock arrivals(rig.standIn());
    const QString page = QString::fromLatin1(dialwise::voice::kCallsPath);
    std::printf("cold start, %d runs each after %d warm-up runs\n", runs, kWarmUp);

    const auto isDialwise = [](unsigned long window) {
        return ShellRig::viewableWindowsTitled(QStringLiteral("Dialwise")).contains(window);
    };
    const Figures dialwiseFigures = timeSeries(runs, kWarmUp, [&](int) {
        pid_t pid = -1;
        const double ms = timeStart(rig, arrivals, {ShellRig::program().toLocal8Bit()}, page, isDialwise, &pid);
        quitDialwise(rig, pid);
        return ms;
    });
    dialwiseFigures.print("dialwise (nothing running)");

    if (!arguments.has("--no-chromium")) {
        const Chromium chromium;
        const QList<QByteArray> command =
            chromium.appCommand(rig.standIn().baseUrl().toString().toLatin1() + dialwise::voice::kCallsPath);
        const Figures chromiumFigures = timeSeries(runs, kWarmUp, [&](int) {
            pid_t pid = -1;
            const double ms = timeStart(rig, arrivals, command, page, [](unsigned long) { return true; }, &pid);
            // Chromium's helpers leave a moment after the browser; the next start must not find
            // the old instance and hand over to it.
            chromium.stop(pid);
            return ms;
        });
        chromiumFigures.print("chromium --app=... (nothing running)");
    }
    return dialwiseFigures.ms.isEmpty() ? 1 : 0;
}
