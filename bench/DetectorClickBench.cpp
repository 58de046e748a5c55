// The phone-link detector's figures with real processes: the time from an xdotool click on a
// fixture's number to the "Call with Dialwise" strip being mapped (AT-SPI, X11, the real
// `dialwise --detect-phone-links`), and the idle CPU cost of running with and without the
// detector. Run under tests/run-in-desktop tests/with-accessibility-bus (bench/detector.sh).
//   bench_detector_click [ITERATIONS=20] [IDLE_SECONDS=60] [qt|gtk] [SCALE=1]
// SCALE is Dialwise's QT_SCALE_FACTOR (a 2x desktop); the fixture keeps drawing at 1x.
#include "bench/ProcessTree.h"
#include "bench/Timing.h"
#include "tests/e2e/ShellRig.h"
#include "tests/support/PhoneLinkFixtureProcess.h"

#include <QElapsedTimer>
#include <QGuiApplication>

#include <algorithm>
#include <cstdio>
#include <vector>

using dialwise::testing::PhoneLinkFixtureProcess;
using namespace dialwise::bench;

namespace {

const QString kStripTitle = QStringLiteral("Call with Dialwise");

constexpr int kStartUpSettleMs = 30000;

double idleCpuPerMinute(ShellRig &rig, int seconds)
{
    const double before = processCpuSeconds(rig.primaryPid());
    ShellRig::pump(seconds * 1000);
    const double after = processCpuSeconds(rig.primaryPid());
    return (after - before) * 60.0 / seconds;
}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    const Arguments arguments(argc, argv);
    const int iterations = std::max(1, arguments.number(0, 20));
    const int idleSeconds = std::max(1, arguments.number(1, 60));
    const auto toolkit = PhoneLinkFixtureProcess::toolkitNamed(arguments.text(2, QStringLiteral("qt")));
    const QByteArray scale = arguments.text(3, QStringLiteral("1")).toLocal8Bit();

    double idleOn = -1, idleOff = -1;
    {
        ShellRig rig;
        if (scale != "1")
            qputenv("QT_SCALE_FACTOR", scale);
        const bool started = startDialwise(rig, {QStringLiteral("--detect-phone-links")});
        qunsetenv("QT_SCALE_FACTOR");
        if (!started)
            return 1;
        hideDialwiseWindows(rig);
        auto fixture = PhoneLinkFixtureProcess::start(toolkit);
        if (!fixture) {
            std::fprintf(stderr, "fixture did not start\n");
            return 1;
        }
        // An empty spot of the fixture's window: a click there closes its popup (and the strip).
        const QPoint away(650, 450);
        std::vector<double> samples;
        for (int i = 0; i < iterations; ++i) {
            QElapsedTimer timer;
            timer.start();
            click(fixture->numberCentre());
            // The GTK fixture's number is a label whose text the detector reads at the click: a
            // strip under the number is up before the popup, and the popup's own strip replaces it
            // at the first scan attempt. That one is timed: a strip window that was not there
            // when the popup opened.
            fixture->waitForPopup();
            const QList<unsigned long> before = ShellRig::viewableWindowsTitled(kStripTitle);
            const bool shown = ShellRig::waitUntil([&] {
                const QList<unsigned long> strips = ShellRig::viewableWindowsTitled(kStripTitle);
                return std::any_of(strips.begin(), strips.end(), [&](unsigned long id) { return !before.contains(id); });
            }, 3000);
            const double ms = double(timer.nsecsElapsed()) / 1e6;
            if (!shown) {
                std::fprintf(stderr, "iteration %d: no strip within 3 s\n", i);
                return 1;
            }
            samples.push_back(ms);
            click(away);
            fixture->waitForPopupClosed();
            ShellRig::waitUntil([] { return ShellRig::viewableWindowsTitled(kStripTitle).isEmpty(); }, 3000);
            // Let the previous click's remaining scan attempts (up to 1.5 s) run out before the next.
            ShellRig::pump(1600);
        }
        const Summary mapped = summarize(samples);
        std::printf("click to strip mapped (%s fixture, Dialwise at %sx, %d clicks): median %.1f ms, min %.1f ms, "
                    "max %.1f ms\n",
                    qPrintable(PhoneLinkFixtureProcess::toolkitName(toolkit)), scale.constData(), iterations,
                    mapped.median, mapped.min, mapped.max);
        fixture.reset();
        ShellRig::pump(2000);
        idleOn = idleCpuPerMinute(rig, idleSeconds);
    }
    {
        ShellRig rig;
        if (!startDialwise(rig))
            return 1;
        hideDialwiseWindows(rig);
        // The web engine finishes its start-up work (the first page load, its caches) within
        // the first half minute; the detector-on Dialwise above had been up longer than that.
        ShellRig::pump(kStartUpSettleMs);
        idleOff = idleCpuPerMinute(rig, idleSeconds);
    }
    std::printf("idle CPU over %d s, no clicks: detector on %.3f s/min, detector off %.3f s/min\n", idleSeconds, idleOn,
                idleOff);
    return 0;
}
