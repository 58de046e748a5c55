#pragma once

// What the hand-over and cold-start benchmarks share: figures, the arrival clock on the stand-in
// and the Chromium command line they compare against.

#include "tests/support/VoiceStandIn.h"

#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QObject>
#include <QString>

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace dialwise::bench {

struct Figures
{
    QList<double> ms;
    int failures = 0;

    void print(const char *what) const
    {
        if (ms.isEmpty()) {
            std::printf("%-34s no successful run (%d failed)\n", what, failures);
            return;
        }
        QList<double> sorted = ms;
        std::sort(sorted.begin(), sorted.end());
        const double median = sorted.size() % 2 ? sorted[sorted.size() / 2]
                                                : (sorted[sorted.size() / 2 - 1] + sorted[sorted.size() / 2]) / 2;
        std::printf("%-34s median %7.1f ms  min %7.1f  max %7.1f  (n=%lld, failed %d)\n", what, median, sorted.first(),
                    sorted.last(), static_cast<long long>(sorted.size()), failures);
    }
};

// When each request target first arrived, on one clock.
class ArrivalClock
{
public:
    explicit ArrivalClock(dialwise::testing::VoiceStandIn &standIn)
    {
        m_clock.start();
        QObject::connect(&standIn, &dialwise::testing::VoiceStandIn::requestReceived, &standIn,
                         [this](const QString &line) {
                             const QString target = line.section(u' ', 1, 1);
                             if (!m_arrivals.contains(target))
                                 m_arrivals.insert(target, m_clock.nsecsElapsed());
                         });
    }
    qint64 now() const { return m_clock.nsecsElapsed(); }
    bool arrived(const QString &target) const { return m_arrivals.contains(target); }
    qint64 arrival(const QString &target) const { return m_arrivals.value(target); }

private:
    QElapsedTimer m_clock;
    QHash<QString, qint64> m_arrivals;
};

inline QList<QByteArray> chromiumFlags(const QString &profile)
{
    QList<QByteArray> flags{"chromium"};
    if (geteuid() == 0)
        flags.append("--no-sandbox"); // Chromium refuses root with its sandbox
    flags.append("--user-data-dir=" + profile.toLocal8Bit());
    flags.append({"--no-first-run", "--disable-background-networking", "--disable-component-update", "--disable-sync",
                  "--disable-gpu"});
    return flags;
}

} // namespace dialwise::bench
