// What the phone-link detector costs other requests while it scans: a `dialwise tel:` hand-over
// and a `dialwise --call-selection`, each started 0.25 s after a click on an empty spot of a
// fixture with 1,000 more accessible elements (so every scan attempt walks and probes the big
// window), timed from the launcher's start to its exit, with the detector on and then off.
// Run under tests/run-in-desktop tests/with-accessibility-bus (bench/detector.sh).
//   bench_detector_handover [ITERATIONS=10] [qt|gtk]
#include "bench/Timing.h"
#include "tests/e2e/ShellRig.h"
#include "tests/support/PhoneLinkFixtureProcess.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>

#include <algorithm>
#include <cstdio>
#include <vector>

using dialwise::testing::PhoneLinkFixtureProcess;
using namespace dialwise::bench;

namespace {

// After the first scan attempt is due (0.3 s) in a real click's time, as a user who clicks in
// an editor and then uses a shortcut would be.
constexpr int kAfterClickMs = 250;
// A click's four scan attempts end 1.5 s after it; the next round starts after them.
constexpr int kScanBurstMs = 1600;

struct Samples
{
    std::vector<double> handOver;
    std::vector<double> callSelection;
};

QString median(const std::vector<double> &samples)
{
    if (samples.empty())
        return QStringLiteral("none");
    const Summary s = summarize(samples);
    return QStringLiteral("median %1 ms (min %2, max %3, %4 runs)")
        .arg(s.median, 0, 'f', 1)
        .arg(s.min, 0, 'f', 1)
        .arg(s.max, 0, 'f', 1)
        .arg(s.count);
}

// One timed launcher run; -1 when it failed.
double timedRun(ShellRig &rig, const QStringList &arguments)
{
    QElapsedTimer timer;
    timer.start();
    const ShellRig::Run run = rig.run(arguments, 10000);
    const double ms = double(timer.nsecsElapsed()) / 1e6;
    if (!run.finished || run.exitCode != 0) {
        std::fprintf(stderr, "dialwise %s failed: %s\n", qPrintable(arguments.join(u' ')), run.err.constData());
        return -1;
    }
    return ms;
}

bool measure(bool detectorOn, PhoneLinkFixtureProcess::Toolkit toolkit, int iterations, Samples &figures)
{
    ShellRig rig;
    const QStringList options = detectorOn ? QStringList{QStringLiteral("--detect-phone-links")} : QStringList{};
    if (!startDialwise(rig, options))
        return false;
    hideDialwiseWindows(rig);
    auto fixture = PhoneLinkFixtureProcess::start(toolkit, {QStringLiteral("--elements"), QStringLiteral("1000")});
    if (!fixture) {
        std::fprintf(stderr, "fixture did not start\n");
        return false;
    }
    const QPoint emptySpot(650, 450);
    // One untimed round first: the web engine's first page load is not what is measured.
    timedRun(rig, {QStringLiteral("tel:+12025550100")});
    hideDialwiseWindows(rig);
    for (int i = 0; i < iterations; ++i) {
        click(emptySpot);
        ShellRig::pump(kAfterClickMs);
        const double handOver = timedRun(rig, {QStringLiteral("tel:+1202555%1").arg(1000 + i)});
        if (handOver < 0)
            return false;
        figures.handOver.push_back(handOver);
        ShellRig::pump(kScanBurstMs);
        hideDialwiseWindows(rig);

        QGuiApplication::clipboard()->setText(QStringLiteral("Call me at (202) 555-%1").arg(2000 + i),
                                              QClipboard::Selection);
        click(emptySpot);
        ShellRig::pump(kAfterClickMs);
        const double selection = timedRun(rig, {QStringLiteral("--call-selection")});
        if (selection < 0)
            return false;
        figures.callSelection.push_back(selection);
        ShellRig::pump(kScanBurstMs);
        hideDialwiseWindows(rig);
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    const Arguments arguments(argc, argv);
    const int iterations = std::max(1, arguments.number(0, 10));
    const auto toolkit = PhoneLinkFixtureProcess::toolkitNamed(arguments.text(1, QStringLiteral("qt")));
    Samples on, off;
    if (!measure(true, toolkit, iterations, on) || !measure(false, toolkit, iterations, off))
        return 1;
    const QString fixture = PhoneLinkFixtureProcess::toolkitName(toolkit);
    std::printf("hand-over 0.25 s after a click (%s fixture, 1,000 elements): detector on %s; off %s\n",
                qPrintable(fixture), qPrintable(median(on.handOver)), qPrintable(median(off.handOver)));
    std::printf("--call-selection 0.25 s after a click (%s fixture, 1,000 elements): detector on %s; off %s\n",
                qPrintable(fixture), qPrintable(median(on.callSelection)), qPrintable(median(off.callSelection)));
    return 0;
}
