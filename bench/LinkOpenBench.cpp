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
#include "bench/Timing.h"
#include "tests/e2e/ShellRig.h"

#include <QCoreApplication>
#include <QFile>

#include <cstdio>

using namespace dialwise::bench;

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int runs = Arguments(argc, argv).number(0, 30);

    ShellRig rig;
    if (!rig.registerDesktopEntry() || !startDialwise(rig))
        return 1;
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
    std::printf("link opened with a running Dialwise, %d runs each after %d warm-up runs, alternating\n", runs, kHandOverWarmUp);
    for (int i = 0; i < runs + kHandOverWarmUp; ++i) {
        for (int s = 0; s < 3; ++s) {
            // The opener must exit cleanly too: a hand-over that reports failure does not count.
            const QString digits = handOverDigits(i, s + 1);
            QList<QByteArray> command = series[s].opener;
            command.append("tel:+" + digits.toLatin1());
            const HandOver handOver = timeHandOver(rig, arrivals, command, digits, kHandOverTimeoutMs);
            if (i >= kHandOverWarmUp)
                series[s].figures.add(handOver.succeeded() ? handOver.ms : -1);
        }
    }
    for (const Series &s : series)
        s.figures.print(s.name);
    rig.stopPrimary();
    return series[0].figures.ms.isEmpty() || series[1].figures.ms.isEmpty() ? 1 : 0;
}
