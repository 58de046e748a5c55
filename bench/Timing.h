#pragma once

// What every benchmark that prints figures shares: the summary of a series of timings, reading
// its arguments, the clock on the stand-in's arrivals, the timed hand-over (start a launch, stop
// the clock when the stand-in records the new-call address) and Chromium as the comparison.

#include "tests/e2e/ShellRig.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QPoint>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <sys/types.h>
#include <vector>

namespace dialwise::bench {

// Every benchmark of the real program drives it through the end-to-end tests' rig.
using dialwise::testing::ShellRig;

// A hand-over takes well under a second; one that has not arrived after this has failed.
constexpr int kHandOverTimeoutMs = 20000;
// The first hand-overs after a start pay for the web app's first loads and paints.
constexpr int kHandOverWarmUp = 3;

// Median, smallest and largest of a series; all zero when it is empty.
struct Summary
{
    double median = 0;
    double min = 0;
    double max = 0;
    qsizetype count = 0;
};
Summary summarize(std::vector<double> samples);
Summary summarize(const QList<double> &samples);

// Timings in milliseconds, and how many runs gave none.
struct Figures
{
    QList<double> ms;
    int failures = 0;

    // A negative time is a run that failed.
    void add(double milliseconds);
    // One line: the label, then median, min, max and counts.
    void print(const char *what) const;
};

// `warmUp + runs` runs of `timeOne(i)` (a time in ms, negative on failure); the warm-up runs pay
// for first loads and are not counted.
Figures timeSeries(int runs, int warmUp, const std::function<double(int run)> &timeOne);

// The program's arguments after its name: an optional count first, then switches.
class Arguments final
{
public:
    Arguments(int argc, char **argv);
    // The number at `index`, or `fallback` when there is none there (or it is a switch).
    int number(int index, int fallback) const;
    QString text(int index, const QString &fallback) const;
    bool has(const char *option) const;
    // Everything from `index` on.
    QStringList from(int index) const;

private:
    QStringList m_arguments;
};

// When each request target first arrived at the stand-in, on one clock.
class ArrivalClock final
{
public:
    explicit ArrivalClock(dialwise::testing::VoiceStandIn &standIn);
    qint64 now() const { return m_clock.nsecsElapsed(); }
    bool arrived(const QString &target) const { return m_arrivals.contains(target); }
    qint64 arrival(const QString &target) const { return m_arrivals.value(target); }

private:
    QElapsedTimer m_clock;
    QHash<QString, qint64> m_arrivals;
};

// An eleven-digit North American number unique to (series, run), so that every hand-over of a
// benchmark asks for an address the stand-in has not seen yet.
QString handOverDigits(int run, int series);
// The stand-in's request target for a new call to `digits`.
QString newCallTarget(const QString &digits);

// One timed hand-over: from starting `argv` to the stand-in's first request for the new-call
// address of `digits`; then the started process is waited for.
struct HandOver
{
    double ms = -1;     // negative: the address never arrived
    int exitStatus = -1; // of the started process; -1 when it did not end in time
    bool succeeded() const { return ms >= 0 && exitStatus == 0; }
};
HandOver timeHandOver(ShellRig &rig, ArrivalClock &arrivals, const QList<QByteArray> &argv,
                      const QString &digits, int timeoutMs);
// Starts the stand-in web app and the primary Dialwise with `options`; when either fails, says
// why on stderr under this benchmark's name.
bool startDialwise(ShellRig &rig, const QStringList &options = {}, int timeoutMs = 30000);

// What starts a hand-over to `digits`.
using Launch = std::function<QList<QByteArray>(const QString &digits)>;
// `dialwise tel:+<digits>`.
QList<QByteArray> telLaunch(const QString &digits);
// `runs` timed hand-overs after `warmUp` untimed ones, each to a new number of `series`.
Figures timeHandOvers(ShellRig &rig, ArrivalClock &arrivals, const Launch &launch, int runs,
                      int warmUp, int series, int timeoutMs);

// Closes Dialwise's web window to the tray and waits until none titled "Dialwise" is viewable,
// so that the figures after it are those of a Dialwise out of sight.
void hideDialwiseWindows(ShellRig &rig);

// SIGTERM, and SIGKILL when that is not enough; waits for the end either way.
void stopProcess(pid_t pid);

// CPU time of the calling thread, in milliseconds.
double threadCpuMs();

// A left click at a screen position, through xdotool.
bool click(const QPoint &at);

// Debian's Chromium in app mode, the comparison for Dialwise's window, with its own profile.
class Chromium final
{
public:
    // Its helpers still write to the profile for a moment after the browser has gone.
    ~Chromium() { ShellRig::pump(500); }
    // The command line for `chromium --app=<address>` with this profile.
    QList<QByteArray> appCommand(const QByteArray &address) const;
    // Ends a browser started from appCommand() and waits until its helpers let go of the
    // profile, so that the next start does not hand over to the old instance.
    void stop(pid_t browser) const;

private:
    QTemporaryDir m_profile;
};

} // namespace dialwise::bench
