// A long day compressed: against one running Dialwise on the stand-in web app, thousands of
// hand-overs, the window closed to the tray and shown again, the render process killed, and the
// page reloading itself; memory (PSS), threads and open file descriptors of the whole process
// tree are taken before and after. Each reading comes after the page's garbage has been collected
// (V8 started with --expose-gc, the page calls gc()), so it shows what is kept, not where in its
// collection cycle the renderer happened to be. Every hand-over must reach the web app as its new-call
// address, the window must come back each time, the page after each renderer kill.
// Run inside tests/run-in-desktop.
//   SoakBench [hand-overs 2000] [show/hide cycles 200] [renderer kills 20] [reloads 100] [minutes 30]
#include "ProcessTree.h"
#include "ShellRig.h"
#include "VoiceAddress.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>

#include <csignal>
#include <cstdio>

using dialwise::testing::ShellRig;
using namespace dialwise::bench;

namespace {

constexpr int kStartMs = 60000;
constexpr int kStepMs = 20000; // any single step; a healthy one takes well under a second
// Before each memory reading: lets the last load, paint and favicon fetch end.
constexpr int kSettleMs = 5000;
// A number no other phase dials: the stand-in page reloads itself while it is shown.
constexpr char kReloadDigits[] = "19995550000";
// How often memory is read during the hand-overs.
constexpr int kSampleEvery = 250;
// Readings dial this prefix and a four-digit count (a new address each time, so the page loads
// even when the window still shows the previous reading): the stand-in page shown for it collects
// its garbage and reports.
constexpr char kCollectPrefix[] = "1999556";
constexpr char kCollectedPath[] = "/soak-collected";

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
    const QStringList arguments = app.arguments().mid(1);
    auto count = [&](int index, int fallback) { return arguments.size() > index ? arguments[index].toInt() : fallback; };
    Phase handovers{"hand-overs", count(0, 2000)};
    Phase showHides{"show/hide cycles", count(1, 200)};
    Phase kills{"renderer kills", count(2, 20)};
    Phase reloads{"page reloads", count(3, 100)};
    QDeadlineTimer deadline(std::chrono::minutes(count(4, 30)));

    ShellRig rig;
    if (!rig.startStandIn() || !rig.startPrimary({}, kStartMs) || !rig.waitForVisibleWindow(kStartMs)) {
        std::fprintf(stderr, "SoakBench: could not start Dialwise: %s\n", rig.primaryErrors().constData());
        return 1;
    }
    const pid_t dialwise = rig.primaryPid();
    QElapsedTimer clock;
    int series = 0; // keeps every hand-over's number unique across rounds

    // A reading: a call to the collecting number, whose page runs the garbage collector twice (the
    // second pass takes what the first one's finalisers let go) and then asks for kCollectedPath;
    // then the usual settle. "no-gc" in that request means V8 did not get --expose-gc.
    int readings = 0;
    int uncollected = 0;
    auto collectedReading = [&]() -> TreeTotals {
        ++readings;
        const QString calls = QString::fromLatin1(dialwise::voice::kCallsPath);
        rig.standIn().setPage(calls,
                              "<!DOCTYPE html><html><head><title>Voice stand-in</title></head><body>"
                              "<div data-upgrade-banner>Upgrade banner</div><h1 id=\"where\">collecting</h1><script>"
                              "if (location.search.indexOf('" + QByteArray(kCollectPrefix) + "') >= 0) {"
                              " addEventListener('load', function() { setTimeout(function() {"
                              "  var how = typeof gc === 'function' ? 'gc' : 'no-gc';"
                              "  if (how === 'gc') gc();"
                              "  setTimeout(function() { if (how === 'gc') gc();"
                              "   fetch('" + QByteArray(kCollectedPath) + "?" + QByteArray::number(readings) + "-' + how); }, 200);"
                              " }, 200); }); }"
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
        return treeTotals(dialwise);
    };

    // Hand-overs: `dialwise tel:+1...` must exit 0 and its new-call address must be requested.
    auto runHandovers = [&](Phase &phase) {
        clock.start();
        ++series;
        for (; phase.done < phase.wanted && !deadline.hasExpired(); ++phase.done) {
            const QString digits = QStringLiteral("12%1%2").arg(series, 2, 10, QChar(u'0')).arg(5000000 + phase.done, 7, 10, QChar(u'0'));
            const int from = int(rig.standIn().requestLines().size());
            const pid_t pid = rig.startProcess({ShellRig::program().toLocal8Bit(), "tel:+" + digits.toLatin1()});
            const bool arrived = rig.standIn().waitForTarget(
                QString::fromLatin1(dialwise::voice::kNewCallPathAndQuery) + digits, kStepMs, from);
            const int status = ShellRig::waitProcess(pid, kStepMs);
            if (!arrived || status != 0)
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
            int count = 0;
            for (const QString &target : rig.standIn().requestTargets().mid(from))
                count += target == reloadTarget ? 1 : 0;
            return count - 1; // the first request is the call itself
        };
        const int budgetMs = int(std::min<qint64>(deadline.remainingTime(), qint64(kStepMs) * (phase.wanted + 1)));
        ShellRig::waitUntil([&] { return seen() >= phase.wanted; }, budgetMs);
        phase.done = std::max(0, seen());
        phase.failed = phase.wanted - phase.done;
        phase.seconds = clock.elapsed() / 1000.0;
        // The next call's page must not reload.
        rig.standIn().removePage(QString::fromLatin1(dialwise::voice::kCallsPath));
    };

    // A warm-up round, not counted: the first hand-over, show, renderer and reload each grow
    // caches once (V8's heap, fonts, Chromium's pools); a leak is what grows after that.
    Phase warmHandovers{"warm-up hand-overs", 20};
    Phase warmShowHides{"warm-up show/hide", 2};
    Phase warmKills{"warm-up kills", 1};
    Phase warmReloads{"warm-up reloads", 2};
    runHandovers(warmHandovers);
    runShowHides(warmShowHides);
    runKills(warmKills);
    runReloads(warmReloads);
    Phase warmLastCall{"warm-up closing hand-over", 1};
    runHandovers(warmLastCall);
    const TreeTotals before = collectedReading();
    printTotals("before (after the warm-up)", before);

    // Each phase ends with a reading, so growth can be put down to what caused it.
    runHandovers(handovers);
    printTotals("after the hand-overs", collectedReading());
    runShowHides(showHides);
    printTotals("after the show/hide cycles", collectedReading());
    runKills(kills);
    printTotals("after the renderer kills", collectedReading());
    runReloads(reloads);
    // Ends as the warm-up ended: a call placed, its ordinary page shown.
    Phase lastCall{"closing hand-over", 1};
    runHandovers(lastCall);

    const bool alive = rig.primaryRunning();
    const TreeTotals after = alive ? collectedReading() : TreeTotals{};
    printTotals("after", after);

    bool pass = alive;
    for (const Phase &phase : {warmHandovers, warmShowHides, warmKills, warmReloads, warmLastCall, handovers, showHides,
                               kills, reloads, lastCall}) {
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
    std::printf("Dialwise %s; %s\n", alive ? "still running" : "GONE", pass ? "no failure" : "FAILURES");
    if (!alive)
        std::printf("its stderr:\n%s\n", rig.primaryErrors().constData());
    return pass ? 0 : 1;
}
