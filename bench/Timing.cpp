#include "bench/Timing.h"

#include "calling/VoiceAddress.h"

#include <QCoreApplication>
#include <QFile>
#include <QObject>
#include <QProcess>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <unistd.h>

namespace dialwise::bench {

Summary summarize(std::vector<double> samples)
{
    if (samples.empty())
        return {};
    std::sort(samples.begin(), samples.end());
    const std::size_t n = samples.size();
    return {(samples[(n - 1) / 2] + samples[n / 2]) / 2, samples.front(), samples.back(), qsizetype(n)};
}

Summary summarize(const QList<double> &samples)
{
    return summarize(std::vector<double>(samples.begin(), samples.end()));
}

void Figures::add(double milliseconds)
{
    if (milliseconds >= 0)
        ms.append(milliseconds);
    else
        ++failures;
}

void Figures::print(const char *what) const
{
    if (ms.isEmpty()) {
        std::printf("%-34s no successful run (%d failed)\n", what, failures);
        return;
    }
    const Summary s = summarize(ms);
    std::printf("%-34s median %7.1f ms  min %7.1f  max %7.1f  (n=%lld, failed %d)\n", what, s.median, s.min, s.max,
                static_cast<long long>(s.count), failures);
}

Figures timeSeries(int runs, int warmUp, const std::function<double(int run)> &timeOne)
{
    Figures figures;
    for (int i = 0; i < runs + warmUp; ++i) {
        const double ms = timeOne(i);
        if (i >= warmUp)
            figures.add(ms);
    }
    return figures;
}

Arguments::Arguments(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i)
        m_arguments.append(QString::fromLocal8Bit(argv[i]));
}

int Arguments::number(int index, int fallback) const
{
    bool ok = false;
    const int value = m_arguments.value(index).toInt(&ok);
    return ok ? value : fallback;
}

QString Arguments::text(int index, const QString &fallback) const
{
    return index < m_arguments.size() ? m_arguments[index] : fallback;
}

bool Arguments::has(const char *option) const
{
    return m_arguments.contains(QLatin1String(option));
}

QStringList Arguments::from(int index) const
{
    return m_arguments.mid(index);
}

ArrivalClock::ArrivalClock(dialwise::testing::VoiceStandIn &standIn)
{
    m_clock.start();
    QObject::connect(&standIn, &dialwise::testing::VoiceStandIn::requestReceived, &standIn, [this](const QString &line) {
        const QString target = line.section(u' ', 1, 1);
        if (!m_arrivals.contains(target))
            m_arrivals.insert(target, m_clock.nsecsElapsed());
    });
}

QString handOverDigits(int run, int series)
{
    return QStringLiteral("1%1%2").arg(series, 3, 10, QChar(u'0')).arg(5550000 + run, 7, 10, QChar(u'0'));
}

QString newCallTarget(const QString &digits)
{
    return QString::fromLatin1(dialwise::voice::kNewCallPathAndQuery) + digits;
}

HandOver timeHandOver(ShellRig &rig, ArrivalClock &arrivals, const QList<QByteArray> &argv, const QString &digits,
                      int timeoutMs)
{
    const QString target = newCallTarget(digits);
    HandOver result;
    const qint64 started = arrivals.now();
    const pid_t pid = rig.startProcess(argv);
    const bool arrived = ShellRig::waitUntil([&] { return arrivals.arrived(target); }, timeoutMs);
    result.exitStatus = ShellRig::waitProcess(pid, timeoutMs);
    if (arrived)
        result.ms = double(arrivals.arrival(target) - started) / 1e6;
    return result;
}

bool startDialwise(ShellRig &rig, const QStringList &options, int timeoutMs)
{
    if (rig.startStandIn() && rig.startPrimary(options, timeoutMs))
        return true;
    std::fprintf(stderr, "%s: could not start Dialwise: %s\n", qPrintable(QCoreApplication::applicationName()),
                 rig.primaryErrors().constData());
    return false;
}

QList<QByteArray> telLaunch(const QString &digits)
{
    return {ShellRig::program().toLocal8Bit(), "tel:+" + digits.toLatin1()};
}

Figures timeHandOvers(ShellRig &rig, ArrivalClock &arrivals, const Launch &launch, int runs, int warmUp, int series,
                      int timeoutMs)
{
    return timeSeries(runs, warmUp, [&](int run) {
        const QString digits = handOverDigits(run, series);
        return timeHandOver(rig, arrivals, launch(digits), digits, timeoutMs).ms;
    });
}

void hideDialwiseWindows(ShellRig &rig)
{
    for (const QString &window : rig.visibleWindows())
        rig.closeWindow(window);
    ShellRig::waitUntil([] { return ShellRig::viewableWindowsTitled(QStringLiteral("Dialwise")).isEmpty(); }, 10000);
}

void stopProcess(pid_t pid)
{
    kill(pid, SIGTERM);
    if (ShellRig::waitProcess(pid, 15000) == -1) {
        kill(pid, SIGKILL);
        ShellRig::waitProcess(pid, 5000);
    }
}

double threadCpuMs()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

bool click(const QPoint &at)
{
    QProcess xdotool;
    xdotool.start(QStringLiteral("xdotool"), {QStringLiteral("mousemove"), QString::number(at.x()),
                                              QString::number(at.y()), QStringLiteral("click"), QStringLiteral("1")});
    return xdotool.waitForFinished(10000) && xdotool.exitStatus() == QProcess::NormalExit && xdotool.exitCode() == 0;
}

QList<QByteArray> Chromium::appCommand(const QByteArray &address) const
{
    QList<QByteArray> command{"chromium"};
    if (geteuid() == 0)
        command.append("--no-sandbox"); // Chromium refuses root with its sandbox
    command.append("--user-data-dir=" + m_profile.path().toLocal8Bit());
    command.append({"--no-first-run", "--disable-background-networking", "--disable-component-update",
                    "--disable-sync", "--disable-gpu", "--app=" + address});
    return command;
}

void Chromium::stop(pid_t browser) const
{
    stopProcess(browser);
    ShellRig::waitUntil([&] { return !QFile::exists(m_profile.path() + QStringLiteral("/SingletonLock")); }, 10000);
}

} // namespace dialwise::bench
