// Hand-over latency while a hostile neighbour keeps at it: with a Dialwise running, how long from
// starting `dialwise tel:...` until the web app's new-call address is requested from the
// stand-in, first on a quiet desktop, then while each load runs without pause:
//   70 MB texts      hostile-bus-client text 73400320, one after another
//   50,000-link Open hostile-bus-client open 50000, one after another
//   silent selection a program owns the X11 primary selection and never answers, while
//                    `dialwise --call-selection` is started again and again
//   hostile frame    the web app's page holds a foreign frame calling window.open() with data:,
//                    javascript: and foreign addresses every 10 ms
// Run inside tests/run-in-desktop with DIALWISE_E2E_PROGRAM, DIALWISE_E2E_HOSTILE_CLIENT and
// DIALWISE_E2E_SILENT_OWNER set (bench/HostileLoad.sh does):
//   HostileLoadBench [runs]
#include "bench/Timing.h"
#include "calling/VoiceAddress.h"
#include "tests/e2e/ShellRig.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

using namespace dialwise::bench;

namespace {

constexpr int kTimeoutMs = kHandOverTimeoutMs;

Figures measure(ShellRig &rig, ArrivalClock &arrivals, int runs, int series)
{
    return timeHandOvers(rig, arrivals, telLaunch, runs, kHandOverWarmUp, series, kTimeoutMs);
}

// A shell loop running the hostile client again and again until it is stopped.
pid_t startLoad(ShellRig &rig, const QByteArray &kind, const QByteArray &size)
{
    const QByteArray client = qgetenv("DIALWISE_E2E_HOSTILE_CLIENT");
    return rig.startProcess({"/bin/sh", "-c",
                             "trap 'kill $child 2>/dev/null; exit 0' TERM; while :; do \"" + client + "\" " + kind + " "
                                 + size + " >/dev/null 2>&1 & child=$!; wait $child; done"});
}

void stopLoad(pid_t pid)
{
    ::kill(pid, SIGTERM);
    ShellRig::waitProcess(pid, kTimeoutMs);
}

QByteArray hostileFramePage(const QString &foreign)
{
    return ("<!DOCTYPE html><html><body><script>setInterval(function(){"
            "window.open('data:text/html,<h1>Sign in</h1>');"
            "window.open('javascript:void(0)');"
            "window.open('" + foreign + "/evil');},10);</script></body></html>").toUtf8();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int runs = Arguments(argc, argv).number(0, 20);

    ShellRig rig;
    if (!startDialwise(rig))
        return 1;
    ArrivalClock arrivals(rig.standIn());
    std::printf("hand-over under load, %d runs each after %d warm-up runs\n", runs, kHandOverWarmUp);

    const Figures quiet = measure(rig, arrivals, runs, 1);
    quiet.print("quiet");

    pid_t load = startLoad(rig, "text", "73400320");
    const Figures huge = measure(rig, arrivals, runs, 2);
    stopLoad(load);
    huge.print("70 MB texts, back to back");

    load = startLoad(rig, "open", "50000");
    const Figures open = measure(rig, arrivals, runs, 3);
    stopLoad(load);
    open.print("50,000-link Opens, back to back");

    const pid_t owner = rig.startProcess({qgetenv("DIALWISE_E2E_SILENT_OWNER")});
    // The owner prints once it owns the selection; a moment for that is not timed.
    ShellRig::pump(500);
    load = rig.startProcess({"/bin/sh", "-c",
                             "trap 'kill $child 2>/dev/null; exit 0' TERM; while :; do \"" + ShellRig::program().toLocal8Bit()
                                 + "\" --call-selection >/dev/null 2>&1 & child=$!; wait $child; done"});
    const Figures selection = measure(rig, arrivals, runs, 5);
    stopLoad(load);
    ::kill(owner, SIGKILL);
    ShellRig::waitProcess(owner, kTimeoutMs);
    selection.print("silent selection owner");

    // The calling page itself now holds the hostile frame; the window is started again on it.
    rig.stopPrimary();
    const QString foreign = QStringLiteral("http://localhost:%1").arg(rig.standIn().port());
    rig.standIn().setPage(QStringLiteral("/hostile-frame"), hostileFramePage(foreign));
    rig.standIn().setPage(QString::fromLatin1(dialwise::voice::kCallsPath),
                          ("<!DOCTYPE html><html><body><h1>calls</h1><iframe src=\"" + foreign
                           + "/hostile-frame\"></iframe></body></html>").toUtf8());
    if (!rig.startPrimary()) {
        std::fprintf(stderr, "HostileLoadBench: could not start Dialwise again: %s\n", rig.primaryErrors().constData());
        return 1;
    }
    const Figures frame = measure(rig, arrivals, runs, 4);
    frame.print("hostile frame opening windows");
    rig.stopPrimary();

    return quiet.ms.isEmpty() ? 1 : 0;
}
