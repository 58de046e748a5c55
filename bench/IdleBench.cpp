// Idle CPU and memory of a running Dialwise beside `chromium --app` on the same stand-in page:
// each sits idle with its window shown, then hidden (Dialwise closed to the tray; Chromium's
// window unmapped, as nearest to hidden it has), for the same number of seconds, and the CPU
// time of every thread of every process of its tree is read from /proc before and after.
// Then the PSS, threads and open files of each process. Run inside tests/run-in-desktop.
//   IdleBench [seconds per window state, default 60] [--no-chromium] [--open-connection]
// --open-connection: the calls page asks for notification permission and keeps a request open
// that the stand-in never answers, as the web app keeps its connection for incoming calls.
#include "bench/ProcessTree.h"
#include "bench/Timing.h"
#include "calling/VoiceAddress.h"
#include "tests/e2e/ShellRig.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMap>

#include <algorithm>
#include <cstdio>

using namespace dialwise::bench;

namespace {

constexpr int kStartMs = 60000;
// After the page has loaded (or the window changed state), time for the first paints, the style
// script and the favicon fetch to end, so that the window measures idle and not settling.
constexpr int kSettleMs = 5000;
// Threads below this share of a core are summed, not listed one by one.
constexpr double kListThreadPercent = 0.005;

// CPU share of one core, per process of the tree and per thread, over `seconds` of idling.
double measureIdle(const char *what, pid_t root, int seconds)
{
    const QList<pid_t> pids = processTree(root);
    const QList<ThreadTicks> before = threadTicks(pids);
    QElapsedTimer wall;
    wall.start();
    ShellRig::pump(seconds * 1000);
    const QList<ThreadTicks> after = threadTicks(processTree(root));
    const double wallNs = double(wall.nsecsElapsed());

    QHash<pid_t, qint64> start;
    for (const ThreadTicks &thread : before)
        start.insert(thread.tid, thread.cpuNs);
    QMap<pid_t, double> perProcess;
    QMap<pid_t, QList<QPair<double, QString>>> threads;
    double total = 0;
    for (const ThreadTicks &thread : after) {
        const double percent = 100.0 * double(thread.cpuNs - start.value(thread.tid, 0)) / wallNs;
        perProcess[thread.pid] += percent;
        total += percent;
        threads[thread.pid].append({percent, QStringLiteral("%1 %2").arg(thread.name).arg(thread.tid)});
    }
    std::printf("%s: %.3f %% of a core over %.1f s\n", what, total, wallNs / 1e9);
    for (auto it = perProcess.cbegin(); it != perProcess.cend(); ++it) {
        std::printf("  %-28s pid %-7d %7.3f %%\n", qPrintable(processLabel(it.key())), int(it.key()), it.value());
        QList<QPair<double, QString>> list = threads.value(it.key());
        std::sort(list.begin(), list.end(), [](const auto &a, const auto &b) { return a.first > b.first; });
        double rest = 0;
        int restCount = 0;
        for (const auto &[percent, name] : list) {
            if (percent >= kListThreadPercent) {
                std::printf("      %-30s %7.3f %%\n", qPrintable(name), percent);
            } else {
                rest += percent;
                ++restCount;
            }
        }
        if (restCount)
            std::printf("      %d other threads           %7.3f %%\n", restCount, rest);
    }
    std::fflush(stdout);
    return total;
}

void printMemory(const char *what, pid_t root)
{
    const TreeTotals totals = treeTotals(root);
    // PSS splits shared pages among every process mapping them, so it drops when other programs
    // using the same libraries run; anonymous memory (heap, stacks) does not depend on them.
    std::printf("%s memory: PSS %.1f MiB (anonymous %.1f MiB), %d threads, %d open fds\n", what, totals.pssMiB,
                totals.anonMiB, totals.threads, totals.fds);
    for (const ProcessInfo &process : totals.processes)
        std::printf("  %-28s pid %-7d PSS %7.1f MiB  anon %7.1f MiB  RSS %7.1f MiB  threads %3d  fds %3d\n",
                    qPrintable(process.label), int(process.pid), process.pssMiB, process.anonMiB, process.rssMiB,
                    process.threads, process.fds);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const Arguments arguments(argc, argv);
    const int seconds = arguments.number(0, 60);

    ShellRig rig;
    if (arguments.has("--open-connection")) {
        rig.standIn().setPage(QString::fromLatin1(dialwise::voice::kCallsPath),
                              "<!DOCTYPE html><html><head><title>Voice</title></head><body><h1>Voice stand-in</h1>"
                              "<script>Notification.requestPermission();"
                              "fetch('/events', {cache: 'no-store'});</script></body></html>");
        rig.standIn().setStall(QStringLiteral("/events"), dialwise::testing::VoiceStandIn::Stall::noAnswer);
    }
    if (!startDialwise(rig, {}, kStartMs))
        return 1;
    if (!rig.waitForVisibleWindow(kStartMs)) {
        std::fprintf(stderr, "IdleBench: the window did not show\n");
        return 1;
    }
    ShellRig::pump(kSettleMs);
    const pid_t dialwise = rig.primaryPid();
    const double shown = measureIdle("dialwise, window shown", dialwise, seconds);
    const QStringList windows = rig.visibleWindows();
    if (windows.isEmpty() || !rig.closeWindow(windows.first())
        || !ShellRig::waitUntil([&] { return rig.visibleWindows().isEmpty(); }, kStartMs)) {
        std::fprintf(stderr, "IdleBench: the window did not close to the tray\n");
        return 1;
    }
    ShellRig::pump(kSettleMs);
    const double hidden = measureIdle("dialwise, window hidden", dialwise, seconds);
    printMemory("dialwise (window hidden)", dialwise);
    // Whatever the log said about the renderer, for the record.
    for (const QByteArray &line : rig.primaryErrors().split('\n')) {
        if (line.startsWith("dialwise.renderer"))
            std::printf("%s\n", line.constData());
    }
    const int requests = int(rig.standIn().requestLines().size());
    rig.stopPrimary();

    double chromiumShown = -1;
    double chromiumHidden = -1;
    if (!arguments.has("--no-chromium")) {
        const Chromium chromium;
        const QByteArray base = rig.standIn().baseUrl().toString().toLatin1();
        const int windowsBefore = int(ShellRig::viewableWindows().size());
        const pid_t browser = rig.startProcess(chromium.appCommand(base + dialwise::voice::kCallsPath));
        const bool up = rig.standIn().waitForTarget(QString::fromLatin1(dialwise::voice::kCallsPath), kStartMs, requests)
            && ShellRig::waitUntil([&] { return ShellRig::viewableWindows().size() > windowsBefore; }, kStartMs);
        if (!up) {
            std::printf("chromium --app did not start\n");
        } else {
            ShellRig::pump(kSettleMs);
            chromiumShown = measureIdle("chromium --app, window shown", browser, seconds);
            const QList<unsigned long> chromiumWindows = ShellRig::viewableWindows();
            for (unsigned long window : chromiumWindows)
                rig.runTool(QStringLiteral("xdotool"), {QStringLiteral("windowunmap"), QString::number(window)});
            ShellRig::pump(kSettleMs);
            chromiumHidden = measureIdle("chromium --app, window unmapped", browser, seconds);
            printMemory("chromium --app", browser);
        }
        chromium.stop(browser);
    }

    std::printf("summary (%% of a core over %d s): dialwise shown %.3f, hidden %.3f", seconds, shown, hidden);
    if (chromiumShown >= 0)
        std::printf("; chromium --app shown %.3f, unmapped %.3f", chromiumShown, chromiumHidden);
    std::printf("\n");
    return 0;
}
