// A long day compressed: against one running Dialwise on the stand-in web app, thousands of
// hand-overs, the window closed to the tray and shown again, the render process killed, and the
// page reloading itself; memory (PSS), threads and open file descriptors of the whole process
// tree are taken before and after. Each reading comes after the page's garbage has been collected
// (V8 started with --expose-gc, the page calls gc()), so it shows what is kept, not where in its
// collection cycle the renderer happened to be. Every hand-over must reach the web app as its new-call
// address, the window must come back each time, the page after each renderer kill.
// Run inside tests/run-in-desktop.
//   SoakBench [hand-overs 2000] [show/hide cycles 200] [renderer kills 20] [reloads 100] [minutes 30]
//             [warm-up hand-overs 300]
#include "bench/ProcessTree.h"
#include "bench/Timing.h"
#include "calling/VoiceAddress.h"
#include "tests/e2e/ShellRig.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>

#include <cmath>
#include <csignal>
#include <cstdio>

using namespace dialwise::bench;

namespace {

constexpr int kStartMs = 60000;
constexpr int kStepMs = 20000; // any single step; a healthy one takes well under a second
// Before each memory reading: lets the last load, paint and favicon fetch end. Then the reading
// waits for memory to come to rest: V8 and Chromium's allocator give pages back some seconds after
// a burst of work, not at once, so a reading taken too early depends on how long ago the last
// call was. At rest = the tree's own memory moved less than kRestMiB over kRestStepMs.
constexpr int kSettleMs = 5000;
constexpr int kRestStepMs = 2000;
constexpr double kRestMiB = 0.25;
constexpr int kRestLimitMs = 40000;
// A number no other phase dials: the stand-in page reloads itself while it is shown.
constexpr char kReloadDigits[] = "19995550000";
// How often memory is read during the hand-overs.
constexpr int kSampleEvery = 250;
// Readings dial this prefix and a four-digit count (a new address each time, so the page loads
// even when the window still shows the previous reading): the stand-in page shown for it collects
// its garbage and reports.
constexpr char kCollectPrefix[] = "1999556";
constexpr char kCollectedPath[] = "/soak-collected";
// Collections the reading's page runs, half a second apart.
constexpr int kCollectPasses = 4;

struct Phase
{
    const char *name;
    int wanted = 0;
    int done = 0;
    int failed = 0;
    double seconds = 0;
};

void printTotals(const char *what, const TreeTotals &totals)
{
    std::printf("%s: PSS %.1f MiB (without mapped files %.1f MiB), anonymous %.1f MiB, %d threads, %d open fds, "
                "%lld processes\n",
                what, totals.pssMiB, totals.ownPssMiB, totals.anonMiB, totals.threads, totals.fds,
                static_cast<long long>(totals.processes.size()));
    for (const ProcessInfo &process : totals.processes)
        std::printf("  %-28s PSS %7.1f MiB (anon %6.1f, file %6.1f, shmem %5.1f)  anonymous %6.1f MiB  threads %3d  "
                    "fds %3d\n",
                    qPrintable(process.label), process.pssMiB, process.pssAnonMiB, process.pssFileMiB,
                    process.pssShmemMiB, process.anonMiB, process.threads, process.fds);
    std::fflush(stdout);
}

pid_t rendererOf(pid_t root)
{
    for (pid_t pid : processTree(root)) {
        if (processLabel(pid).endsWith(QLatin1String(" renderer")))
            return pid;
    }
    return -1;
}

QString windowId()
{
    const QList<unsigned long> windows = ShellRig::viewableWindowsTitled(QStringLiteral("Dialwise"));
    return windows.isEmpty() ? QString() : QString::number(windows.first());
}

} // namespace

int main(int argc, char **argv)
{
    // Lets the stand-in page collect its garbage before each reading. Dialwise appends its own
    // switches to these.
    qputenv("QTWEBENGINE_CHROMIUM_FLAGS", qgetenv("QTWEBENGINE_CHROMIUM_FLAGS") + " --js-flags=--expose-gc");
    QCoreApplication app(argc, argv);
    const Arguments arguments(argc, argv);
    Phase handovers{"hand-overs", arguments.number(0, 2000)};
    Phase showHides{"show/hide cycles", arguments.number(1, 200)};
    Phase kills{"renderer kills", arguments.number(2, 20)};
    Phase reloads{"page reloads", arguments.number(3, 100)};
    QDeadlineTimer deadline(std::chrono::minutes(arguments.number(4, 30)));

    ShellRig rig;
    if (!startDialwise(rig, {}, kStartMs))
        return 1;
    if (!rig.waitForVisibleWindow(kStartMs)) {
        std::fprintf(stderr, "SoakBench: the window did not show\n");
        return 1;
    }
    const pid_t dialwise = rig.primaryPid();
    ArrivalClock arrivals(rig.standIn());
    QElapsedTimer clock;
    int series = 0; // keeps every hand-over's number unique across rounds

    // A reading: a call to a collecting number, whose page runs the garbage collector kCollectPasses
    // times (a later pass takes what an earlier one's finalisers let go) and then asks for
    // kCollectedPath; then the settle and the wait for rest. "no-gc" in that request means V8 did
    // not get --expose-gc.
    int readings = 0;
    int uncollected = 0;
    auto collectedReading = [&]() -> TreeTotals {
        ++readings;
        const QString calls = QString::fromLatin1(dialwise::voice::kCallsPath);
        rig.standIn().setPage(calls,
                              "<!DOCTYPE html><html><head><title>Voice stand-in</title></head><body>"
                              "<div data-upgrade-banner>Upgrade banner</div><h1 id=\"where\">collecting</h1><script>"
                              "if (location.search.indexOf('" + QByteArray(kCollectPrefix) + "') >= 0) {"
                              " addEventListener('load', function() {"
                              "  var how = typeof gc === 'function' ? 'gc' : 'no-gc', passes = 0;"
                              "  (function collect() {"
                              "   if (how === 'gc') gc();"
                              "   if (++passes < " + QByteArray::number(kCollectPasses) + ") setTimeout(collect, 500);"
                              "   else fetch('" + QByteArray(kCollectedPath) + "?" + QByteArray::number(readings) + "-' + how);"
                              "  })(); }); }"
                              "</script></body></html>");
        const int from = int(rig.standIn().requestLines().size());
        const QByteArray digits = kCollectPrefix + QByteArray::number(readings).rightJustified(4, '0');
        const pid_t pid = rig.startProcess({ShellRig::program().toLocal8Bit(), "tel:+" + digits});
        const QString reported = QString::fromLatin1(kCollectedPath) + QLatin1Char('?') + QString::number(readings);
        QString seen;
        rig.standIn().waitForTarget(
            [&](const QString &target) {
                if (target.startsWith(reported + QLatin1Char('-')))
                    seen = target;
                return !seen.isEmpty();
            },
            kStepMs, from);
        const bool collected = seen == reported + QLatin1String("-gc");
        ShellRig::waitProcess(pid, kStepMs);
        rig.standIn().removePage(calls);
        if (!collected)
            ++uncollected;
        ShellRig::pump(kSettleMs);
        QElapsedTimer resting;
        resting.start();
        TreeTotals now = treeTotals(dialwise);
        for (;;) {
            ShellRig::pump(kRestStepMs);
            const TreeTotals next = treeTotals(dialwise);
            const bool still = std::abs(next.ownPssMiB - now.ownPssMiB) < kRestMiB;
            now = next;
            if (still || resting.elapsed() >= kRestLimitMs)
                break;
        }
        std::printf("  (reading %d at rest after %.0f s more)\n", readings, resting.elapsed() / 1000.0);
        return now;
    };

    // Hand-overs: `dialwise tel:+1...` must exit 0 and its new-call address must be requested.
    auto runHandovers = [&](Phase &phase) {
        clock.start();
        ++series;
        for (; phase.done < phase.wanted && !deadline.hasExpired(); ++phase.done) {
            const QString digits = QStringLiteral("12%1%2").arg(series, 2, 10, QChar(u'0')).arg(5000000 + phase.done, 7, 10, QChar(u'0'));
            if (!timeHandOver(rig, arrivals, telLaunch(digits), digits, kStepMs).succeeded())
                ++phase.failed;
            // Memory along the way: a leak keeps climbing, a cache levels off.
            if ((phase.done + 1) % kSampleEvery == 0) {
                const TreeTotals now = collectedReading();
                std::printf("  after %4d %s: PSS %.1f MiB, without mapped files %.1f MiB, anonymous %.1f MiB (",
                            phase.done + 1, phase.name, now.pssMiB, now.ownPssMiB, now.anonMiB);
                for (const ProcessInfo &process : now.processes)
                    std::printf(" %s %.1f/%.1f", qPrintable(process.label), process.ownPssMiB(), process.anonMiB);
                std::printf(" )\n");
                std::fflush(stdout);
            }
        }
        phase.seconds = clock.elapsed() / 1000.0;
    };

    // Show and hide: closed the way a window manager's close button does, shown again by a
    // second `dialwise` without arguments.
    auto runShowHides = [&](Phase &phase) {
        clock.restart();
        for (; phase.done < phase.wanted && !deadline.hasExpired(); ++phase.done) {
            const QString id = windowId();
            bool ok = !id.isEmpty() && rig.closeWindow(id)
                && ShellRig::waitUntil([] { return windowId().isEmpty(); }, kStepMs);
            const ShellRig::Run run = rig.run(QStringList{}, kStepMs);
            ok = ok && run.finished && run.exitCode == 0
                && ShellRig::waitUntil([] { return !windowId().isEmpty(); }, kStepMs);
            if (!ok)
                ++phase.failed;
        }
        phase.seconds = clock.elapsed() / 1000.0;
    };

    // Renderer kills: the window must bring the page back in a new render process.
    auto runKills = [&](Phase &phase) {
        clock.restart();
        for (; phase.done < phase.wanted && !deadline.hasExpired(); ++phase.done) {
            const pid_t renderer = rendererOf(dialwise);
            const int from = int(rig.standIn().requestLines().size());
            bool ok = renderer > 0 && kill(renderer, SIGKILL) == 0;
            ok = ok && rig.standIn().waitForTarget(QString::fromLatin1(dialwise::voice::kCallsPath), kStepMs, from)
                && ShellRig::waitUntil(
                    [&] {
                        const pid_t now = rendererOf(dialwise);
                        return now > 0 && now != renderer;
                    },
                    kStepMs);
            if (!ok)
                ++phase.failed;
        }
        phase.seconds = clock.elapsed() / 1000.0;
    };

    // Reloads: the calls page, shown at the one number no other phase dials, reloads itself once
    // loaded, `wanted` times in a row (counted in the page's session storage).
    const QString reloadTarget = QString::fromLatin1(dialwise::voice::kNewCallPathAndQuery) + QLatin1String(kReloadDigits);
    auto runReloads = [&](Phase &phase) {
        clock.restart();
        rig.standIn().setPage(QString::fromLatin1(dialwise::voice::kCallsPath),
                              "<!DOCTYPE html><html><head><title>Voice stand-in</title></head><body>"
                              "<div data-upgrade-banner>Upgrade banner</div><h1 id=\"where\">reloading</h1><script>"
                              "if (location.search.indexOf('" + QByteArray(kReloadDigits) + "') >= 0) {"
                              " addEventListener('load', function() {"
                              "  var n = Number(sessionStorage.getItem('reloads') || 0);"
                              "  if (n < " + QByteArray::number(phase.wanted) + ") {"
                              "   sessionStorage.setItem('reloads', n + 1); setTimeout(function() { location.reload(); }, 0); }"
                              "  else sessionStorage.removeItem('reloads'); }); }"
                              "</script></body></html>");
        const int from = int(rig.standIn().requestLines().size());
        const pid_t start = rig.startProcess({ShellRig::program().toLocal8Bit(), QByteArray("tel:+") + kReloadDigits});
        ShellRig::waitProcess(start, kStepMs);
        auto seen = [&] {
            int requests = 0;
            for (const QString &target : rig.standIn().requestTargets().mid(from))
                requests += target == reloadTarget ? 1 : 0;
            return requests - 1; // the first request is the call itself
        };
        // Waits while the chain goes on: a reload that has not come kStepMs after the one before
        // is a stalled chain, not a slow one.
        for (int last = -2; seen() < phase.wanted && !deadline.hasExpired();) {
            const int now = seen();
            if (now == last)
                break;
            last = now;
            ShellRig::waitUntil([&] { return seen() != now || seen() >= phase.wanted; }, kStepMs);
        }
        phase.done = std::max(0, seen());
        phase.failed = phase.wanted - phase.done;
        if (phase.failed > 0) {
            const QStringList targets = rig.standIn().requestTargets().mid(from);
            std::printf("  reloads stopped after %d; the stand-in saw %lld requests since: %s\n", phase.done,
                        static_cast<long long>(targets.size()), qPrintable(targets.mid(std::max<qsizetype>(0, targets.size() - 6)).join(u' ')));
        }
        phase.seconds = clock.elapsed() / 1000.0;
        // The next call's page must not reload.
        rig.standIn().removePage(QString::fromLatin1(dialwise::voice::kCallsPath));
    };

    // A warm-up round, not counted. A new render process keeps more after each of its first few
    // hundred calls (V8's and Blink's caches, Chromium's allocator pools) and then stays level, as
    // the main process does once the window's back/forward list is full (50 entries); a leak is
    // what grows after that. The
    // renderer is killed first so the one measured has had its warm-up hand-overs.
    const TreeTotals atStart = collectedReading();
    printTotals("at start", atStart);
    Phase warmKills{"warm-up kills", 1};
    Phase warmShowHides{"warm-up show/hide", 2};
    Phase warmReloads{"warm-up reloads", 2};
    Phase warmHandovers{"warm-up hand-overs", arguments.number(5, 300)};
    runKills(warmKills);
    runShowHides(warmShowHides);
    runReloads(warmReloads);
    runHandovers(warmHandovers);
    const TreeTotals before = collectedReading();
    printTotals("before (after the warm-up)", before);

    // Each phase ends with a reading, so growth can be put down to what caused it. The same order
    // as the warm-up: the renderer read at the end has, like the one read before, been through
    // hand-overs since it started.
    runKills(kills);
    printTotals("after the renderer kills", collectedReading());
    runShowHides(showHides);
    printTotals("after the show/hide cycles", collectedReading());
    runReloads(reloads);
    printTotals("after the reloads", collectedReading());
    runHandovers(handovers);

    const bool alive = rig.primaryRunning();
    const TreeTotals after = alive ? collectedReading() : TreeTotals{};
    printTotals("after (the hand-overs last)", after);

    bool pass = alive;
    for (const Phase &phase : {warmKills, warmShowHides, warmReloads, warmHandovers, kills, showHides, reloads, handovers}) {
        std::printf("%-18s %5d of %5d done, %d failed, %.1f s\n", phase.name, phase.done, phase.wanted, phase.failed,
                    phase.seconds);
        pass = pass && phase.done == phase.wanted && phase.failed == 0;
    }
    // A reading taken in the middle of a collection cycle says little, so it counts as a failure.
    pass = pass && uncollected == 0;
    auto growth = [](double a, double b) { return a > 0 ? 100.0 * (b - a) / a : 0.0; };
    std::printf("readings: %d, %d of them without a confirmed garbage collection\n", readings, uncollected);
    std::printf("growth: PSS without mapped files %+.1f %% (%.1f -> %.1f MiB), PSS %+.1f %% (%.1f -> %.1f MiB), anonymous %+.1f %% (%.1f -> %.1f MiB), threads %+.1f %% (%d -> %d), "
                "fds %+.1f %% (%d -> %d)\n",
                growth(before.ownPssMiB, after.ownPssMiB), before.ownPssMiB, after.ownPssMiB, growth(before.pssMiB, after.pssMiB),
                before.pssMiB, after.pssMiB, growth(before.anonMiB, after.anonMiB),
                before.anonMiB, after.anonMiB, growth(before.threads, after.threads), before.threads, after.threads,
                growth(before.fds, after.fds), before.fds, after.fds);
    std::printf("growth from the very start (warm-up included): PSS without mapped files %+.1f %% (%.1f -> %.1f MiB), "
                "PSS %+.1f %% (%.1f -> %.1f MiB)\n",
                growth(atStart.ownPssMiB, after.ownPssMiB), atStart.ownPssMiB, after.ownPssMiB,
                growth(atStart.pssMiB, after.pssMiB), atStart.pssMiB, after.pssMiB);
    std::printf("Dialwise %s; %s\n", alive ? "still running" : "GONE", pass ? "no failure" : "FAILURES");
    if (!alive)
        std::printf("its stderr:\n%s\n", rig.primaryErrors().constData());
    return pass ? 0 : 1;
}
