// Cold start: with nothing running, how long from starting `dialwise` until its window is mapped
// and the web app's page has been requested from the stand-in. Beside it, the same for
// `chromium --app=<page>` (a new window mapped and the page requested). Run inside
// tests/run-in-desktop. Both keep their profile between runs, as on a user's desktop.
//   ColdStartBench [runs] [--no-chromium]
#include "app/BusNames.h"
#include "bench/HandoverColdStartTiming.h"
#include "tests/e2e/ShellRig.h"
#include "calling/VoiceAddress.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QFile>
#include <QSet>
#include <QTemporaryDir>

#include <csignal>

using dialwise::testing::ShellRig;
using namespace dialwise::bench;

namespace {

constexpr int kTimeoutMs = 60000;

// Starts the program, waits for a new viewable window that `isOurs` accepts and for the page
// request; returns the later of the two in milliseconds, or a negative value on time-out.
double timeStart(ShellRig &rig, ArrivalClock &arrivals, const QList<QByteArray> &argv, const QString &pageTarget,
                 const std::function<bool(unsigned long)> &isOurs, pid_t *pid)
{
    const QList<unsigned long> before = ShellRig::viewableWindows();
    const QSet<unsigned long> existing(before.begin(), before.end());
    const int requestsBefore = int(rig.standIn().requestLines().size());
    const qint64 started = arrivals.now();
    *pid = rig.startProcess(argv);
    qint64 mapped = -1;
    qint64 requested = -1;
    ShellRig::waitUntil(
        [&] {
            if (mapped < 0) {
                for (unsigned long window : ShellRig::viewableWindows()) {
                    if (!existing.contains(window) && isOurs(window)) {
                        mapped = arrivals.now();
                        break;
                    }
                }
            }
            if (requested < 0 && rig.standIn().requestTargets().mid(requestsBefore).contains(pageTarget))
                requested = arrivals.now();
            return mapped >= 0 && requested >= 0;
        },
        kTimeoutMs);
    if (mapped < 0 || requested < 0)
        return -1;
    return double(std::max(mapped, requested) - started) / 1e6;
}

void stop(pid_t pid)
{
    kill(pid, SIGTERM);
    if (ShellRig::waitProcess(pid, 15000) == -1) {
        kill(pid, SIGKILL);
        ShellRig::waitProcess(pid, 5000);
    }
}

void quitDialwise(pid_t pid)
{
    QDBusMessage quit = QDBusMessage::createMethodCall(QString::fromLatin1(dialwise::bus::kServiceName),
                                                       QString::fromLatin1(dialwise::bus::kObjectPath),
                                                       QString::fromLatin1(dialwise::bus::kApplicationInterface),
                                                       QStringLiteral("ActivateAction"));
    quit << QStringLiteral("quit") << QVariantList() << QVariantMap();
    QDBusConnection::sessionBus().call(quit, QDBus::Block, 5000);
    if (ShellRig::waitProcess(pid, 15000) == -1)
        stop(pid);
    ShellRig::waitUntil([] { return !ShellRig::nameOwned(); }, 5000);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments().mid(1);
    const int runs = arguments.isEmpty() || arguments.first().startsWith(u'-') ? 15 : arguments.first().toInt();
    const bool withChromium = !arguments.contains(QStringLiteral("--no-chromium"));
    const int warmUp = 2;

    ShellRig rig;
    if (!rig.startStandIn())
        return 1;
    ArrivalClock arrivals(rig.standIn());
    const QString page = QString::fromLatin1(dialwise::voice::kCallsPath);
    std::printf("cold start, %d runs each after %d warm-up runs\n", runs, warmUp);

    Figures dialwiseFigures;
    for (int i = 0; i < runs + warmUp; ++i) {
        pid_t pid = -1;
        const double ms = timeStart(rig, arrivals, {ShellRig::program().toLocal8Bit()}, page,
                                    [](unsigned long window) {
                                        return ShellRig::viewableWindowsTitled(QStringLiteral("Dialwise")).contains(window);
                                    },
                                    &pid);
        quitDialwise(pid);
        if (i < warmUp)
            continue;
        if (ms >= 0)
            dialwiseFigures.ms.append(ms);
        else
            ++dialwiseFigures.failures;
    }
    dialwiseFigures.print("dialwise (nothing running)");

    if (withChromium) {
        QTemporaryDir profile;
        QList<QByteArray> chromiumArgv = chromiumFlags(profile.path());
        chromiumArgv.append("--app=" + rig.standIn().baseUrl().toString().toLatin1() + dialwise::voice::kCallsPath);
        Figures chromiumFigures;
        for (int i = 0; i < runs + warmUp; ++i) {
            pid_t pid = -1;
            const double ms = timeStart(rig, arrivals, chromiumArgv, page, [](unsigned long) { return true; }, &pid);
            stop(pid);
            // Chromium's helpers leave a moment after the browser; the next start must not find
            // the old instance and hand over to it.
            ShellRig::waitUntil([&] { return !QFile::exists(profile.path() + QStringLiteral("/SingletonLock")); }, 10000);
            if (i < warmUp)
                continue;
            if (ms >= 0)
                chromiumFigures.ms.append(ms);
            else
                ++chromiumFigures.failures;
        }
        chromiumFigures.print("chromium --app=... (nothing running)");
    }
    return dialwiseFigures.ms.isEmpty() ? 1 : 0;
}
