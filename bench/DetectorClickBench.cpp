// The phone-link detector's figures with real processes: the time from an xdotool click on a
// fixture's number to the "Call with Dialwise" strip being mapped (AT-SPI, X11, the real
// `dialwise --detect-phone-links`), and the idle CPU cost of running with and without the
// detector. Run under tests/run-in-desktop tests/with-accessibility-bus (bench/detector.sh).
//   bench_detector_click [ITERATIONS=20] [IDLE_SECONDS=60] [qt|gtk] [SCALE=1]
// SCALE is Dialwise's QT_SCALE_FACTOR (a 2x desktop); the fixture keeps drawing at 1x.
#include "tests/support/PhoneLinkFixtureProcess.h"
#include "tests/e2e/ShellRig.h"

#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>

#include <algorithm>
#include <cstdio>
#include <unistd.h>

using dialwise::testing::PhoneLinkFixtureProcess;
using dialwise::testing::ShellRig;

namespace {

const QString kStripTitle = QStringLiteral("Call with Dialwise");

bool click(const QPoint &at)
{
    return dialwise::testing::xdotool({QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y()),
                                       QStringLiteral("click"), QStringLiteral("1")});
}

// utime + stime of a process, in seconds.
double cpuSeconds(pid_t pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray text = stat.readAll();
    // Fields after the parenthesised command name; utime and stime are fields 14 and 15.
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    return (fields.value(11).toDouble() + fields.value(12).toDouble()) / double(sysconf(_SC_CLK_TCK));
}

constexpr int kStartUpSettleMs = 30000;

double idleCpuPerMinute(ShellRig &rig, int seconds)
{
    const double before = cpuSeconds(rig.primaryPid());
    ShellRig::pump(seconds * 1000);
    const double after = cpuSeconds(rig.primaryPid());
    return (after - before) * 60.0 / seconds;
}

void hideWebWindow(ShellRig &rig)
{
    for (const QString &window : rig.visibleWindows())
        rig.closeWindow(window);
    ShellRig::waitUntil([] { return ShellRig::viewableWindowsTitled(QStringLiteral("Dialwise")).isEmpty(); }, 10000);
}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    const int iterations = argc > 1 ? std::max(1, atoi(argv[1])) : 20;
    const int idleSeconds = argc > 2 ? std::max(1, atoi(argv[2])) : 60;
    const auto toolkit = (argc > 3 && QByteArray(argv[3]) == "gtk") ? PhoneLinkFixtureProcess::Toolkit::gtk
                                                                    : PhoneLinkFixtureProcess::Toolkit::qt;

    const QByteArray scale = argc > 4 ? QByteArray(argv[4]) : QByteArray("1");

    double idleOn = -1, idleOff = -1;
    {
        ShellRig rig;
        if (scale != "1")
            qputenv("QT_SCALE_FACTOR", scale);
        const bool started = rig.startStandIn() && rig.startPrimary({QStringLiteral("--detect-phone-links")});
        qunsetenv("QT_SCALE_FACTOR");
        if (!started) {
            std::fprintf(stderr, "dialwise did not start: %s\n", rig.primaryErrors().constData());
            return 1;
        }
        hideWebWindow(rig);
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
        std::vector<double> sorted = samples;
        std::sort(sorted.begin(), sorted.end());
        const double median = (sorted[(sorted.size() - 1) / 2] + sorted[sorted.size() / 2]) / 2;
        std::printf("click to strip mapped (%s fixture, Dialwise at %sx, %d clicks): median %.1f ms, min %.1f ms, "
                    "max %.1f ms\n",
                    qPrintable(PhoneLinkFixtureProcess::toolkitName(toolkit)), scale.constData(), iterations, median,
                    sorted.front(), sorted.back());
        fixture.reset();
        ShellRig::pump(2000);
        idleOn = idleCpuPerMinute(rig, idleSeconds);
    }
    {
        ShellRig rig;
        if (!rig.startStandIn() || !rig.startPrimary()) {
            std::fprintf(stderr, "dialwise did not start: %s\n", rig.primaryErrors().constData());
            return 1;
        }
        hideWebWindow(rig);
        // The web engine finishes its start-up work (the first page load, its caches) within
        // the first half minute; the detector-on Dialwise above had been up longer than that.
        ShellRig::pump(kStartUpSettleMs);
        idleOff = idleCpuPerMinute(rig, idleSeconds);
    }
    std::printf("idle CPU over %d s, no clicks: detector on %.3f s/min, detector off %.3f s/min\n", idleSeconds, idleOn,
                idleOff);
    return 0;
}
