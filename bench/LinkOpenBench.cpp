// Opening a tel: link through the desktop's openers, with a Dialwise already running: how long
// from starting the opener until the stand-in web app receives the new-call address.
//   gio open tel:...   GIO sees DBusActivatable=true in the desktop entry and calls
//                      org.freedesktop.Application.Open on the running Dialwise itself
//   xdg-open tel:...   (no desktop named, as in a bare session) runs the entry's Exec line,
//                      which starts `dialwise tel:...`, which hands the link over D-Bus
//   dialwise tel:...   the launcher alone, for reference
// The series alternate run by run, so that a busy moment of the machine hits all three alike.
// Run inside tests/run-in-desktop (bench/link-open.sh does).
//   LinkOpenBench [runs]
#include "bench/HandoverColdStartTiming.h"
#include "tests/e2e/ShellRig.h"
#include "calling/VoiceAddress.h"

#include <QCoreApplication>
#include <QFile>

#include <cstdio>

using dialwise::testing::ShellRig;
using namespace dialwise::bench;

namespace {

constexpr int kTimeoutMs = 20000;
constexpr int kWarmUp = 3;

QString uniqueNumber(int run, int series)
{
    return QStringLiteral("1%1%2").arg(series, 3, 10, QChar(u'0')).arg(5550000 + run, 7, 10, QChar(u'0'));
}

// Starts the opener for `digits` and waits for both its new-call request and its exit.
bool timeOne(ShellRig &rig, ArrivalClock &arrivals, const QList<QByteArray> &opener, const QString &digits, double *ms)
{
    const QString target = QString::fromLatin1(dialwise::voice::kNewCallPathAndQuery) + digits;
    QList<QByteArray> argv = opener;
    argv.append("tel:+" + digits.toLatin1());
    const qint64 started = arrivals.now();
    const pid_t pid = rig.startProcess(argv);
    const bool ok = ShellRig::waitUntil([&] { return arrivals.arrived(target); }, kTimeoutMs);
    const int status = ShellRig::waitProcess(pid, kTimeoutMs);
    if (!ok || status != 0)
        return false;
    *ms = double(arrivals.arrival(target) - started) / 1e6;
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments().mid(1);
    const int runs = arguments.isEmpty() ? 30 : arguments.first().toInt();

    ShellRig rig;
    if (!rig.startStandIn() || !rig.registerDesktopEntry() || !rig.startPrimary()) {
        std::fprintf(stderr, "LinkOpenBench: could not start Dialwise: %s\n", rig.primaryErrors().constData());
        return 1;
    }
    // Without DBusActivatable=true GIO would spawn the program too, and the comparison would
    // measure nothing.
    QFile entry(qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/applications/app.dialwise.Dialwise.desktop"));
    if (!entry.open(QIODevice::ReadOnly) || !entry.readAll().contains("\nDBusActivatable=true\n")) {
        std::fprintf(stderr, "LinkOpenBench: the registered desktop entry is not D-Bus activatable\n");
        return 1;
    }
    ArrivalClock arrivals(rig.standIn());

    struct Series
    {
        const char *name;
        QList<QByteArray> opener;
        Figures figures;
    };
    Series series[] = {
        {"gio open tel:... (D-Bus activation)", {"gio", "open"}, {}},
        {"xdg-open tel:... (spawns dialwise)", {"xdg-open"}, {}},
        {"dialwise tel:... (launcher alone)", {ShellRig::program().toLocal8Bit()}, {}},
    };
    std::printf("link opened with a running Dialwise, %d runs each after %d warm-up runs, alternating\n", runs, kWarmUp);
    for (int i = 0; i < runs + kWarmUp; ++i) {
        for (int s = 0; s < 3; ++s) {
            double ms = 0;
            const bool ok = timeOne(rig, arrivals, series[s].opener, uniqueNumber(i, s + 1), &ms);
            if (i < kWarmUp)
                continue;
            if (ok)
                series[s].figures.ms.append(ms);
            else
                ++series[s].figures.failures;
        }
    }
    for (const Series &s : series)
        s.figures.print(s.name);
    rig.stopPrimary();
    return series[0].figures.ms.isEmpty() || series[1].figures.ms.isEmpty() ? 1 : 0;
}
