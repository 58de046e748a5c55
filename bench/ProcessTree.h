#pragma once

// A process and everything it started, read from /proc: CPU time per thread, proportional set
// size, threads and open file descriptors. Shared by the window, idle and soak benchmarks.

#include <QByteArray>
#include <QList>
#include <QString>

#include <sys/types.h>

namespace dialwise::bench {

struct ThreadTicks
{
    pid_t pid = 0;
    pid_t tid = 0;
    QString name;        // the thread's comm
    qint64 cpuNs = 0;    // time on a CPU, in nanoseconds
};

struct ProcessInfo
{
    pid_t pid = 0;
    QString label;       // comm, plus Chromium's --type= when there is one
    double pssMiB = 0;
    double rssMiB = 0;
    // Anonymous memory (heap, stacks): unlike PSS and private pages it does not change when another
    // program maps the same libraries, so it is what shows growth.
    double anonMiB = 0;
    // PSS split by what backs the pages. Libraries and other mapped files move with whatever else
    // maps them (another program starting shares them, and this process's share drops); anonymous
    // pages and shared memory (Chromium's buffers between processes) are this tree's own.
    double pssAnonMiB = 0;
    double pssFileMiB = 0;
    double pssShmemMiB = 0;
    double ownPssMiB() const { return pssAnonMiB + pssShmemMiB; }
    int threads = 0;
    int fds = 0;
};

// The whole file, empty when it cannot be read (the process is gone).
QByteArray readProcFile(const QString &path);
// Fields of a /proc stat line after the "(comm)" part, which may itself hold spaces; [0] is the
// state, field 3 of proc(5).
QList<QByteArray> statFields(const QByteArray &stat, QString *comm = nullptr);
// root and every descendant, root first.
QList<pid_t> processTree(pid_t root);
// comm, plus Chromium's --type= when there is one.
QString processLabel(pid_t pid);
// utime + stime of a process, in seconds; negative when it is gone.
double processCpuSeconds(pid_t pid);
// CPU time of every thread of these processes.
QList<ThreadTicks> threadTicks(const QList<pid_t> &pids);
ProcessInfo processInfo(pid_t pid);

struct TreeTotals
{
    QList<ProcessInfo> processes;
    double pssMiB = 0;
    double anonMiB = 0;
    double ownPssMiB = 0; // PSS without mapped files: anonymous and shared memory
    int threads = 0;
    int fds = 0;
};

// The process and everything it started, each and summed.
TreeTotals treeTotals(pid_t root);

} // namespace dialwise::bench
