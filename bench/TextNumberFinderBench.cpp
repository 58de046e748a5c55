// What the number finder costs per click on a program's text: the read around the click (513
// characters, as spanToRead gives it inside a long document) with the clicked number in it, with
// words only, and with digits that make no number; in code points and in Qt's UTF-16 units.
#include "detection/TextNumberFinder.h"

#include <benchmark/benchmark.h>

#include <QString>

namespace {

using dialwise::OffsetUnit;
using dialwise::TextNumberFinder;

// A read of 2 * kReadRadius + 1 characters with `middle` at its centre, as in a long document.
QString readAround(const QString &middle, const QString &filler)
{
    QString side;
    while (side.size() < TextNumberFinder::kReadRadius)
        side += filler;
    side.truncate(TextNumberFinder::kReadRadius - middle.size() / 2);
    QString out = side + middle + side;
    out.truncate(2 * TextNumberFinder::kReadRadius + 1);
    return out;
}

void run(benchmark::State &state, const QString &text, OffsetUnit unit)
{
    const TextNumberFinder finder(QStringLiteral("US"));
    const int count = static_cast<int>(TextNumberFinder::length(text, unit));
    const int click = count / 2;
    // The read sits inside a longer document: both its edges are cuts.
    const int documentLength = 100000;
    const int excerptStart = 40000;
    int found = 0;
    for (auto _ : state) {
        const auto answer = finder.numberAt(text, excerptStart, documentLength, excerptStart + click, unit);
        found += answer.has_value();
        benchmark::DoNotOptimize(answer);
    }
    state.counters["found"] = benchmark::Counter(found, benchmark::Counter::kAvgIterations);
}

const QString kWords = QStringLiteral("the office hours are nine to five on weekdays \U0001F600 ");
const QString kDigits = QStringLiteral("page 12 of 40, item 7, room 3B, 2026-11-23 ");

void numberClicked(benchmark::State &state)
{
    run(state, readAround(QStringLiteral("+1 (555) 010-0000"), kWords), OffsetUnit::CodePoints);
}
void wordsOnly(benchmark::State &state) { run(state, readAround(QStringLiteral("desk"), kWords), OffsetUnit::CodePoints); }
void digitsNoNumber(benchmark::State &state)
{
    run(state, readAround(QStringLiteral("room"), kDigits), OffsetUnit::CodePoints);
}
void numberClickedUtf16(benchmark::State &state)
{
    run(state, readAround(QStringLiteral("+1 (555) 010-0000"), kWords), OffsetUnit::Utf16Units);
}

BENCHMARK(numberClicked);
BENCHMARK(wordsOnly);
BENCHMARK(digitsNoNumber);
BENCHMARK(numberClickedUtf16);

} // namespace

BENCHMARK_MAIN();
