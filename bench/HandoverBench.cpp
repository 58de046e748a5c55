// Hand-over latency: with a Dialwise already running, how long from starting `dialwise tel:...`
// until the web app's new-call address is requested from the stand-in. Beside it, the same for
// Chromium's own single-instance hand-over: `chromium --app=<new-call address>` while a
// `chromium --app` with the same profile runs. Run inside tests/run-in-desktop.
//   HandoverBench [runs] [--no-chromium]
#include "bench/Timing.h"
#include "calling/VoiceAddress.h"
#include "tests/e2e/ShellRig.h"

#include <QCoreApplication>

#include <cstdio>

using namespace dialwise::bench;

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const Arguments arguments(argc, argv);
    const int runs = arguments.number(0, 30);

    ShellRig rig;
    if (!startDialwise(rig))
        return 1;
    ArrivalClock arrivals(rig.standIn());
    std::printf("hand-over, %d runs each after %d warm-up runs\n", runs, kHandOverWarmUp);

    const Figures dialwiseFigures = timeHandOvers(rig, arrivals, telLaunch, runs, kHandOverWarmUp, 1, kHandOverTimeoutMs);
    dialwiseFigures.print("dialwise tel:... (running Dialwise)");
    rig.stopPrimary();

    if (!arguments.has("--no-chromium")) {
        const Chromium chromium;
        const QByteArray base = rig.standIn().baseUrl().toString().toLatin1();
        const pid_t browser = rig.startProcess(chromium.appCommand(base + dialwise::voice::kCallsPath));
        if (!ShellRig::waitUntil([&] { return arrivals.arrived(QString::fromLatin1(dialwise::voice::kCallsPath)); }, 60000)) {
            std::printf("%-34s chromium did not start\n", "chromium --app (running Chromium)");
        } else {
            const Figures chromiumFigures = timeHandOvers(
                rig, arrivals,
                [&](const QString &digits) {
                    return chromium.appCommand(base + dialwise::voice::kNewCallPathAndQuery + digits.toLatin1());
                },
                runs, kHandOverWarmUp, 2, kHandOverTimeoutMs);
            chromiumFigures.print("chromium --app=... (running Chromium)");
        }
        chromium.stop(browser);
    }
    return dialwiseFigures.ms.isEmpty() ? 1 : 0;
}
