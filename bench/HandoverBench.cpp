// Hand-over latency: with a Dialwise already running, how long from starting `dialwise tel:...`
// until the web app's new-call address is requested from the stand-in. Beside it, the same for
// Chromium's own single-instance hand-over: `chromium --app=<new-call address>` while a
// `chromium --app` with the same profile runs. Run inside tests/run-in-desktop.
//   HandoverBench [runs] [--no-chromium]
#include "bench/HandoverColdStartTiming.h"
#include "tests/e2e/ShellRig.h"
#include "calling/VoiceAddress.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QElapsedTimer>
#include <QHash>
#include <QTemporaryDir>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <unistd.h>

using dialwise::testing::ShellRig;
using namespace dialwise::bench;

namespace {

constexpr int kTimeoutMs = 20000;

QString uniqueNumber(int run, int series)
{
    return QStringLiteral("1%1%2").arg(series, 3, 10, QChar(u'0')).arg(5550000 + run, 7, 10, QChar(u'0'));
}

// Times `start(digits)` until the new-call request for those digits arrives.
Figures measure(ArrivalClock &arrivals, int runs, int series,
                const std::function<pid_t(const QString &digits)> &start)
{
    Figures figures;
    const int warmUp = 3;
    for (int i = 0; i < runs + warmUp; ++i) {
        const QString digits = uniqueNumber(i, series);
        const QString target = QString::fromLatin1(dialwise::voice::kNewCallPathAndQuery) + digits;
        const qint64 started = arrivals.now();
        const pid_t pid = start(digits);
        const bool ok = ShellRig::waitUntil([&] { return arrivals.arrived(target); }, kTimeoutMs);
        ShellRig::waitProcess(pid, kTimeoutMs);
        if (i < warmUp)
            continue;
        if (ok)
            figures.ms.append(double(arrivals.arrival(target) - started) / 1e6);
        else
            ++figures.failures;
    }
    return figures;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments().mid(1);
    const int runs = arguments.isEmpty() || arguments.first().startsWith(u'-') ? 30 : arguments.first().toInt();
    const bool withChromium = !arguments.contains(QStringLiteral("--no-chromium"));

    ShellRig rig;
    if (!rig.startStandIn() || !rig.startPrimary()) {
        std::fprintf(stderr, "HandoverBench: could not start Dialwise: %s\n", rig.primaryErrors().constData());
        return 1;
    }
    ArrivalClock arrivals(rig.standIn());
    std::printf("hand-over, %d runs each after 3 warm-up runs\n", runs);

    const Figures dialwiseFigures = measure(arrivals, runs, 1, [&](const QString &digits) {
        return rig.startProcess({ShellRig::program().toLocal8Bit(), "tel:+" + digits.toLatin1()});
    });
    dialwiseFigures.print("dialwise tel:... (running Dialwise)");
    rig.stopPrimary();

    if (withChromium) {
        QTemporaryDir profile;
        const QByteArray base = rig.standIn().baseUrl().toString().toLatin1();
        QList<QByteArray> first = chromiumFlags(profile.path());
        first.append("--app=" + base + dialwise::voice::kCallsPath);
        const pid_t browser = rig.startProcess(first);
        if (!ShellRig::waitUntil([&] { return arrivals.arrived(QString::fromLatin1(dialwise::voice::kCallsPath)); }, 60000)) {
            std::printf("%-34s chromium did not start\n", "chromium --app (running Chromium)");
        } else {
            const Figures chromiumFigures = measure(arrivals, runs, 2, [&](const QString &digits) {
                QList<QByteArray> second = chromiumFlags(profile.path());
                second.append("--app=" + base + dialwise::voice::kNewCallPathAndQuery + digits.toLatin1());
                return rig.startProcess(second);
            });
            chromiumFigures.print("chromium --app=... (running Chromium)");
        }
        kill(browser, SIGTERM);
        if (ShellRig::waitProcess(browser, 15000) == -1) {
            kill(browser, SIGKILL);
            ShellRig::waitProcess(browser, 5000);
        }
        // Its helpers still write to the profile for a moment after the browser has gone.
        ShellRig::waitUntil([&] { return !QFile::exists(profile.path() + QStringLiteral("/SingletonLock")); }, 10000);
        ShellRig::pump(500);
    }
    return dialwiseFigures.ms.isEmpty() ? 1 : 0;
}
