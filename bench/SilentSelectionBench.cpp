// `dialwise --call-selection` while the program owning the X11 primary selection never answers
// (tests/support/SilentSelectionOwner.cpp): how long a request takes to give up with "No text
// provided", alone and with four more queued beside it, and a `--call-text` hand-over while they
// wait. HostileSelectionE2ETest checks that all of this happens; this times it. Run inside
// tests/run-in-desktop with DIALWISE_E2E_PROGRAM and DIALWISE_E2E_SILENT_OWNER set:
//   SilentSelectionBench [ROUNDS=10]
#include "bench/Timing.h"
#include "tests/e2e/ShellRig.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QList>

#include <csignal>
#include <cstdio>
#include <cstdlib>

using namespace dialwise::bench;
using dialwise::testing::ShellRig;

// A request that has not ended by then counts as failed.
static constexpr int kWaitMs = 20000;
static constexpr int kQueued = 5;

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 10;
    ShellRig rig;
    if (!rig.startStandIn() || !rig.startPrimary()) {
        std::fprintf(stderr, "dialwise did not start: %s\n", rig.primaryErrors().constData());
        return 1;
    }
    const pid_t owner = rig.startProcess({qgetenv("DIALWISE_E2E_SILENT_OWNER")});
    ShellRig::pump(1000);

    Figures alone, queued, handOver;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer timer;
        timer.start();
        const ShellRig::Run run = rig.run(QStringList{QStringLiteral("--call-selection")}, kWaitMs);
        if (run.finished && run.exitCode == 1 && run.err == "dialwise: No text provided\n")
            alone.ms.append(double(timer.nsecsElapsed()) / 1e6);
        else
            ++alone.failures;

        QList<pid_t> requests;
        timer.start();
        for (int r = 0; r < kQueued; ++r)
            requests.append(rig.startProcess({ShellRig::program().toLocal8Bit(), "--call-selection"}));
        QElapsedTimer handOverTimer;
        handOverTimer.start();
        if (rig.callTextDials(QStringLiteral("%1").arg(300 + i, 4, 10, QChar(u'0')), kWaitMs))
            handOver.ms.append(double(handOverTimer.nsecsElapsed()) / 1e6);
        else
            ++handOver.failures;
        bool allGaveUp = true;
        for (pid_t request : requests)
            allGaveUp = ShellRig::waitProcess(request, kWaitMs) == 1 && allGaveUp;
        if (allGaveUp)
            queued.ms.append(double(timer.nsecsElapsed()) / 1e6);
        else
            ++queued.failures;
    }
    if (owner > 0) {
        ::kill(owner, SIGKILL);
        ShellRig::waitProcess(owner, 5000);
    }
    std::printf("silent selection owner, %d rounds\n", rounds);
    alone.print("--call-selection gives up");
    queued.print("5 queued --call-selection all end");
    handOver.print("--call-text while 5 are queued");
    return 0;
}
