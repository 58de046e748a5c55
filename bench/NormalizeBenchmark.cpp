// Normalisation throughput, single thread, per kind of input. The corpus is generated here from
// a fixed seed, so every run and every machine measures the same 10,000 lines.
#include "calling/PhoneNumbers.h"

#include <benchmark/benchmark.h>

#include <QString>
#include <QStringList>

#include <array>
#include <cstdio>
#include <random>

namespace {

enum class InputClass { asciiPlain, asciiFormatted, telUrl, percentEncoded, nonAscii, count };

constexpr int kLines = 10'000;
constexpr int kClasses = int(InputClass::count);

QString digits(std::mt19937 &random, int n)
{
    QString out;
    for (int i = 0; i < n; ++i)
        out += QChar(u'0' + char16_t(random() % 10));
    return out;
}

// The same ten digits in another script: Arabic-Indic, Extended Arabic-Indic, full-width, Devanagari.
QString inScript(const QString &ascii, char16_t zero)
{
    QString out;
    for (QChar c : ascii)
        out += c.isDigit() ? QChar(char16_t(zero + (c.unicode() - u'0'))) : c;
    return out;
}

QString makeLine(InputClass kind, std::mt19937 &random)
{
    const QString area = digits(random, 3);
    const QString exchange = digits(random, 3);
    const QString line = digits(random, 4);
    switch (kind) {
    case InputClass::asciiPlain:
        return random() % 2 ? area + exchange + line : QStringLiteral("+1") + area + exchange + line;
    case InputClass::asciiFormatted:
        switch (random() % 3) {
        case 0: return QStringLiteral("(%1) %2-%3").arg(area, exchange, line);
        case 1: return QStringLiteral("  +1 %1-%2-%3\n").arg(area, exchange, line);
        default: return QStringLiteral("%1.%2.%3 ext. %4").arg(area, exchange, line, digits(random, 2));
        }
    case InputClass::telUrl:
        switch (random() % 3) {
        case 0: return QStringLiteral("tel:+1-%1-%2-%3").arg(area, exchange, line);
        case 1: return QStringLiteral("TEL://%1%2%3").arg(area, exchange, line);
        default: return QStringLiteral("callto:%1 %2 %3").arg(area, exchange, line);
        }
    case InputClass::percentEncoded:
        // Concatenated, not arg(): "%2B" would be taken for a placeholder.
        switch (random() % 3) {
        case 0: return QStringLiteral("tel:%2B1") + area + exchange + line;
        case 1: return QStringLiteral("tel:%2B1%20(") + area + QStringLiteral(")%20") + exchange + u'-' + line;
        default: return QStringLiteral("%2B") + area + QStringLiteral("%25") + exchange + line + QStringLiteral("%zz");
        }
    case InputClass::nonAscii: {
        static constexpr std::array<char16_t, 4> zeros{u'\u0660', u'\u06F0', u'\uFF10', u'\u0966'};
        const QString ascii = QStringLiteral("(%1) %2-%3").arg(area, exchange, line);
        const QString number = inScript(ascii, zeros[random() % zeros.size()]);
        return random() % 2 ? number : QStringLiteral("\u00A0\u260E ") + number + QStringLiteral("\u3000");
    }
    case InputClass::count:
        break;
    }
    return QString();
}

// 10,000 lines, 2,000 of each class, interleaved as a real mixed stream would be.
const std::array<QStringList, kClasses> &corpus()
{
    static const std::array<QStringList, kClasses> lines = [] {
        std::array<QStringList, kClasses> made;
        std::mt19937 random(20240301);
        for (int i = 0; i < kLines; ++i)
            made[i % kClasses].append(makeLine(InputClass(i % kClasses), random));
        return made;
    }();
    return lines;
}

void normalizeClass(benchmark::State &state, InputClass kind)
{
    const QStringList &lines = corpus()[int(kind)];
    qsizetype numbers = 0;
    for (auto _ : state) {
        for (const QString &line : lines) {
            auto result = dialwise::phone::normalize(line);
            numbers += result.has_value();
            benchmark::DoNotOptimize(result);
        }
    }
    state.SetItemsProcessed(state.iterations() * lines.size());
    // Every generated line is a number; a drop here means the benchmark measures the wrong path.
    if (numbers != state.iterations() * lines.size())
        state.SkipWithError("a corpus line did not normalise");
}

void BM_NormalizeMixed(benchmark::State &state)
{
    qsizetype lines = 0;
    for (auto _ : state) {
        for (const QStringList &group : corpus()) {
            for (const QString &line : group)
                benchmark::DoNotOptimize(dialwise::phone::normalize(line));
            lines += group.size();
        }
    }
    state.SetItemsProcessed(lines);
}

void BM_FormatForDisplay(benchmark::State &state)
{
    QStringList numbers;
    for (const QStringList &group : corpus()) {
        for (const QString &line : group)
            numbers.append(dialwise::phone::normalize(line).value_or(QString()));
    }
    for (auto _ : state) {
        for (const QString &number : numbers)
            benchmark::DoNotOptimize(dialwise::phone::formatForDisplay(number));
    }
    state.SetItemsProcessed(state.iterations() * numbers.size());
}

} // namespace

BENCHMARK_CAPTURE(normalizeClass, AsciiPlain, InputClass::asciiPlain);
BENCHMARK_CAPTURE(normalizeClass, AsciiFormatted, InputClass::asciiFormatted);
BENCHMARK_CAPTURE(normalizeClass, TelUrl, InputClass::telUrl);
BENCHMARK_CAPTURE(normalizeClass, PercentEncoded, InputClass::percentEncoded);
BENCHMARK_CAPTURE(normalizeClass, NonAscii, InputClass::nonAscii);
BENCHMARK(BM_NormalizeMixed);
BENCHMARK(BM_FormatForDisplay);

int main(int argc, char **argv)
{
    // --print-corpus shows the generated lines, to see what is being measured.
    for (int i = 1; i < argc; ++i) {
        if (QString::fromLocal8Bit(argv[i]) == QStringLiteral("--print-corpus")) {
            for (const QStringList &group : corpus()) {
                for (const QString &line : group)
                    std::printf("%s\n", line.toUtf8().constData());
            }
            return 0;
        }
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
