#include "bench/ProcessTree.h"

#include <QDir>
#include <QFile>
#include <QHash>

#include <unistd.h>

namespace dialwise::bench {

QByteArray readProcFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QList<QByteArray> statFields(const QByteArray &stat, QString *comm)
{
    const int open = stat.indexOf('(');
    const int close = stat.lastIndexOf(')');
    if (open < 0 || close < open)
        return {};
    if (comm)
        *comm = QString::fromLocal8Bit(stat.mid(open + 1, close - open - 1));
    return stat.mid(close + 2).split(' '); // [0] is state, field 3 of proc(5)
}

QList<pid_t> processTree(pid_t root)
{
    QHash<pid_t, QList<pid_t>> children;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &entry : entries) {
        bool number = false;
        const pid_t pid = entry.toInt(&number);
        if (!number)
            continue;
        const QList<QByteArray> fields = statFields(readProcFile(QStringLiteral("/proc/%1/stat").arg(pid)));
        if (fields.size() > 1)
            children[pid_t(fields[1].toInt())].append(pid);
    }
    QList<pid_t> tree{root};
    for (int i = 0; i < tree.size(); ++i)
        tree += children.value(tree[i]);
    return tree;
}

QString processLabel(pid_t pid)
{
    QString comm;
    statFields(readProcFile(QStringLiteral("/proc/%1/stat").arg(pid)), &comm);
    // Chromium rewrites its helpers' command lines into one space-separated string, so the
    // switch is looked for anywhere in it.
    QByteArray cmdline = readProcFile(QStringLiteral("/proc/%1/cmdline").arg(pid));
    cmdline.replace('\0', ' ');
    const int at = cmdline.indexOf(" --type=");
    if (at < 0)
        return comm;
    const int end = cmdline.indexOf(' ', at + 8);
    return comm + QLatin1Char(' ') + QString::fromLatin1(cmdline.mid(at + 8, end < 0 ? -1 : end - at - 8));
}

static double ticksPerSecond()
{
    return double(sysconf(_SC_CLK_TCK));
}

double processCpuSeconds(pid_t pid)
{
    const QList<QByteArray> fields = statFields(readProcFile(QStringLiteral("/proc/%1/stat").arg(pid)));
    if (fields.size() < 13)
        return -1;
    return (fields[11].toDouble() + fields[12].toDouble()) / ticksPerSecond(); // utime + stime
}

QList<ThreadTicks> threadTicks(const QList<pid_t> &pids)
{
    QList<ThreadTicks> all;
    for (pid_t pid : pids) {
        const QStringList tasks = QDir(QStringLiteral("/proc/%1/task").arg(pid)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        for (const QString &task : tasks) {
            ThreadTicks thread;
            thread.pid = pid;
            thread.tid = task.toInt();
            const QList<QByteArray> fields =
                statFields(readProcFile(QStringLiteral("/proc/%1/task/%2/stat").arg(pid).arg(task)), &thread.name);
            if (fields.size() < 13)
                continue;
            // schedstat counts in nanoseconds; stat's utime + stime only in 10 ms ticks, too
            // coarse for a thread that wakes for microseconds now and then.
            const QByteArray schedstat = readProcFile(QStringLiteral("/proc/%1/task/%2/schedstat").arg(pid).arg(task));
            if (!schedstat.isEmpty())
                thread.cpuNs = schedstat.split(' ').first().toLongLong();
            else
                thread.cpuNs = qint64((fields[11].toLongLong() + fields[12].toLongLong()) * 1e9 / ticksPerSecond());
            all.append(thread);
        }
    }
    return all;
}

ProcessInfo processInfo(pid_t pid)
{
    ProcessInfo info;
    info.pid = pid;
    info.label = processLabel(pid);
    const QList<QByteArray> rollup = readProcFile(QStringLiteral("/proc/%1/smaps_rollup").arg(pid)).split('\n');
    for (const QByteArray &line : rollup) {
        const auto kib = [&](int prefix) { return line.mid(prefix).trimmed().split(' ').first().toDouble() / 1024.0; };
        if (line.startsWith("Pss:"))
            info.pssMiB = kib(4);
        else if (line.startsWith("Rss:"))
            info.rssMiB = kib(4);
        else if (line.startsWith("Anonymous:"))
            info.anonMiB = kib(10);
        else if (line.startsWith("Pss_Anon:"))
            info.pssAnonMiB = kib(9);
        else if (line.startsWith("Pss_File:"))
            info.pssFileMiB = kib(9);
        else if (line.startsWith("Pss_Shmem:"))
            info.pssShmemMiB = kib(10);
    }
    info.threads = int(QDir(QStringLiteral("/proc/%1/task").arg(pid)).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size());
    info.fds = int(QDir(QStringLiteral("/proc/%1/fd").arg(pid)).entryList(QDir::Files | QDir::System | QDir::NoDotAndDotDot).size());
    return info;
}


TreeTotals treeTotals(pid_t root)
{
    TreeTotals totals;
    for (pid_t pid : processTree(root)) {
        const ProcessInfo info = processInfo(pid);
        totals.processes.append(info);
        totals.pssMiB += info.pssMiB;
        totals.anonMiB += info.anonMiB;
        totals.ownPssMiB += info.ownPssMiB();
        totals.threads += info.threads;
        totals.fds += info.fds;
    }
    return totals;
}

} // namespace dialwise::bench
