// Clicks on numbers in real programs' text, measured: the time from an xdotool click on the
// number to the "Call with Dialwise" strip being mapped (the real `dialwise --detect-phone-links`),
// and what a click on a word beside the number costs: Dialwise's whole CPU per click (the text path
// and the popup path's four attempts) and the text path's own thread CPU, run in this process
// through the same monitor and backends. Run under tests/run-in-desktop
// tests/with-accessibility-bus (bench/text-click.sh).
//   bench_text_click [ITERATIONS=20] [gtk-label|gtk-editor|qt-editor|firefox ...]
#include "bench/ProcessTree.h"
#include "bench/Timing.h"
#include "detection/DataDetectorMonitor.h"
#include "detection/TextNumberFinder.h"
#include "detection/replay/ScriptedDesktop.h"
#include "platform/linux/LinuxDetectionBackends.h"
#include "tests/e2e/ShellRig.h"
#include "tests/fakes/CallManagerRig.h"
#include "tests/fakes/ManualScheduler.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QRect>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

using namespace dialwise::bench;

namespace {

const QString kStripTitle = QStringLiteral("Call with Dialwise");
const QString kNumber = QStringLiteral("+1 555 010 4477");

QStringList commandFor(const QString &name, const QString &scratch)
{
    if (name == u"gtk-label")
        return {QStringLiteral("zenity"), QStringLiteral("--info"), QStringLiteral("--no-wrap"), QStringLiteral("--text"),
                QStringLiteral("Front desk: %1 today").arg(kNumber)};
    if (name == u"gtk-editor") {
        QFile text(scratch + QStringLiteral("/office-hours.txt"));
        if (!text.open(QIODevice::WriteOnly))
            return {};
        text.write(QStringLiteral("Office hours: 9 to 5\nCall the desk at %1 today\nThanks\n").arg(kNumber).toUtf8());
        return {QStringLiteral("mousepad"), text.fileName()};
    }
    if (name == u"qt-editor")
        return {qEnvironmentVariable("DIALWISE_BENCH_TEXT_FIXTURE_QT"), QStringLiteral("--label"), QStringLiteral("No number"),
                QStringLiteral("--edit"), QStringLiteral("Office hours\nCall the desk at %1 today\nThanks").arg(kNumber)};
    QFile html(scratch + QStringLiteral("/contact.html"));
    if (!html.open(QIODevice::WriteOnly))
        return {};
    html.write(QStringLiteral("<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><title>Contact</title></head>"
                              "<body style=\"font: 16px sans-serif; margin: 40px\"><h1>Contact</h1>"
                              "<p>Call the desk at %1 today, or write to us.</p></body></html>")
                   .arg(kNumber)
                   .toUtf8());
    QDir().mkpath(scratch + QStringLiteral("/firefox"));
    return {QStringLiteral("firefox-esr"), QStringLiteral("--no-remote"), QStringLiteral("--new-instance"),
            QStringLiteral("--profile"), scratch + QStringLiteral("/firefox"), QStringLiteral("file://") + html.fileName()};
}

// The number's and a word's rectangles as the program's own tree tells them.
bool readRects(ShellRig &rig, qint64 pid, QRect &number, QRect &word)
{
    QProcess reader;
    reader.setProcessEnvironment(rig.environment());
    reader.start(QStringLiteral("/usr/bin/python3"),
                 {qEnvironmentVariable("DIALWISE_BENCH_TEXT_EXTENTS"), QString::number(pid), QStringLiteral("90"), kNumber,
                  QStringLiteral("desk")});
    if (!reader.waitForFinished(120000))
        return false;
    const QStringList lines = QString::fromUtf8(reader.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
    auto rect = [](const QString &line) {
        const QStringList v = line.split(u' ');
        return v.size() == 4 ? QRect(v[0].toInt(), v[1].toInt(), v[2].toInt(), v[3].toInt()) : QRect();
    };
    if (lines.size() != 2)
        return false;
    number = rect(lines[0]);
    word = rect(lines[1]);
    return !number.isEmpty() && !word.isEmpty();
}

// The text path alone, in this process: the monitor's own scanTextAtClick() over the real AT-SPI
// and X11 backends at a point, its thread CPU per call.
struct TextPathCost
{
    double cpuMs;  // thread CPU, median
    double wallMs; // wall time, median
};

TextPathCost textPathCost(const QPoint &at, int iterations)
{
    using namespace dialwise;
    LinuxDetectionBackends backends = LinuxDetectionBackends::create();
    dialwise::testing::CallManagerRig callRig;
    std::unique_ptr<CallManager> callManager = callRig.makeManager();
    DataDetectorMonitor::Services services;
    services.platform = {backends.elementTree, backends.windowList, backends.screen, backends.clickSource,
                         std::make_shared<RecordingPanelView>()};
    services.scheduler = std::make_shared<dialwise::testing::ManualScheduler>();
    services.textNumberFinder = std::make_shared<const TextNumberFinder>();
    services.logToStandardError = false;
    DataDetectorMonitor monitor(std::move(services), *callManager);
    monitor.lastClickPosition = QPointF(at);
    monitor.scanTextAtClick(); // the first call meets libatspi's caches cold
    std::vector<double> cpu, wall;
    for (int i = 0; i < iterations; ++i) {
        QElapsedTimer timer;
        timer.start();
        const double before = threadCpuMs();
        monitor.scanTextAtClick();
        cpu.push_back(threadCpuMs() - before);
        wall.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    return {summarize(cpu).median, summarize(wall).median};
}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    const Arguments arguments(argc, argv);
    const int iterations = std::max(1, arguments.number(0, 20));
    QStringList programs = arguments.from(1);
    if (programs.isEmpty())
        programs = {QStringLiteral("gtk-label"), QStringLiteral("gtk-editor"), QStringLiteral("firefox")};

    ShellRig rig;
    if (!startDialwise(rig, {QStringLiteral("--detect-phone-links")}))
        return 1;
    hideDialwiseWindows(rig);

    for (const QString &name : std::as_const(programs)) {
        QTemporaryDir scratch;
        QStringList command = commandFor(name, scratch.path());
        if (command.isEmpty())
            return 1;
        QProcess program;
        program.setProcessEnvironment(rig.environment());
        program.setStandardOutputFile(QProcess::nullDevice());
        program.setStandardErrorFile(QProcess::nullDevice());
        program.start(command.takeFirst(), command);
        QRect number, word;
        if (!program.waitForStarted(10000) || !readRects(rig, program.processId(), number, word)) {
            std::fprintf(stderr, "%s: the number is not on its accessibility tree\n", qPrintable(name));
            return 1;
        }

        std::vector<double> mapped;
        for (int i = 0; i < iterations; ++i) {
            // xdotool presses at once but takes about 100 ms more to move on and exit (the release
            // and its own waits): the strip is watched for while it runs, not after.
            QProcess xdotool;
            QElapsedTimer timer;
            timer.start();
            xdotool.start(QStringLiteral("xdotool"),
                          {QStringLiteral("mousemove"), QString::number(number.center().x()),
                           QString::number(number.center().y()), QStringLiteral("click"), QStringLiteral("1")});
            const bool shown = ShellRig::waitUntil([] { return !ShellRig::viewableWindowsTitled(kStripTitle).isEmpty(); }, 3000);
            const double ms = double(timer.nsecsElapsed()) / 1e6;
            xdotool.waitForFinished(5000);
            if (!shown) {
                std::fprintf(stderr, "%s, click %d: no strip within 3 s\n", qPrintable(name), i);
                return 1;
            }
            mapped.push_back(ms);
            click(word.center());
            ShellRig::waitUntil([] { return ShellRig::viewableWindowsTitled(kStripTitle).isEmpty(); }, 3000);
            // The clicks' remaining popup attempts (up to 1.5 s) run out before the next click.
            ShellRig::pump(1700);
        }
        const Summary toStrip = summarize(mapped);
        std::printf("%s: click on the number to strip mapped, %d clicks: median %.1f ms, min %.1f ms, max %.1f ms\n",
                    qPrintable(name), iterations, toStrip.median, toStrip.min, toStrip.max);

        // Clicks beside the number: Dialwise's whole CPU per click, popup attempts included.
        const double before = processCpuSeconds(rig.primaryPid());
        for (int i = 0; i < iterations; ++i) {
            click(word.center());
            ShellRig::pump(1700);
        }
        const double perClick = (processCpuSeconds(rig.primaryPid()) - before) * 1000.0 / iterations;
        std::printf("%s: click on a word beside it, Dialwise's CPU per click (text path and the four popup attempts): "
                    "%.1f ms\n",
                    qPrintable(name), perClick);
        const TextPathCost beside = textPathCost(word.center(), iterations);
        std::printf("%s: the text path alone at that word (median of %d): thread CPU %.2f ms, wall %.2f ms\n",
                    qPrintable(name), iterations, beside.cpuMs, beside.wallMs);
        const TextPathCost onNumber = textPathCost(number.center(), iterations);
        std::printf("%s: the text path alone on the number, to the strip asked for (median of %d): thread CPU %.2f ms, "
                    "wall %.2f ms\n",
                    qPrintable(name), iterations, onNumber.cpuMs, onNumber.wallMs);
        std::fflush(stdout);
        program.kill();
        program.waitForFinished(5000);
    }
    return 0;
}
