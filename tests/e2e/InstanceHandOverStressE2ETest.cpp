// A thousand hand-overs in a row to one running Dialwise, with links that are random, broken,
// huge, not UTF-8, option-like, or many at once. The running Dialwise must survive all of them,
// keep answering, and dial exactly what its own decision logic says, in order.
#include "app/CommandLine.h"
#include "app/InboundRequests.h"
#include "calling/PhoneNumbers.h"
#include "calling/VoiceAddress.h"
#include "tests/e2e/ShellRig.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <random>

using dialwise::testing::ShellRig;

namespace {

constexpr int kHandOvers = 1000;
// The suite must stay inside its ctest time-out even on a slow machine: the hand-overs stop at
// this time, however many were done. Each one is checked all the same; how fast they go is
// bench/HandoverBench.cpp's and bench/SoakBench.cpp's figure.
constexpr qint64 kTimeBoxMs = 170000;
// Fewer than this within the time would not mean much.
constexpr int kEnoughHandOvers = 100;
// The kernel's limit for one argument is 128 KiB; stay below it.
constexpr int kHugeBytes = 100000;

class LinkFactory
{
public:
    explicit LinkFactory(unsigned seed)
        : m_random(seed)
    {
    }

    QList<QByteArray> next()
    {
        switch (pick(0, 13)) {
        case 0:
        case 1:
            return {"tel:" + phoneText()};
        case 2:
            return {"callto://" + digits(pick(5, 12))};
        case 3:
            return {casing("dialwise") + "://dial?number=" + percentEncoded(phoneText())};
        case 4:
            return {"dialwise://dial?" + queryJunk()};
        case 5:
            return {printable(pick(0, 80))};
        case 6:
            return {anyBytes(pick(1, 60))};
        case 7:
            return {"tel:" + anyBytes(pick(1, 40))};
        case 8:
            return {"tel:+" + digits(kHugeBytes - 5)};
        case 9:
            return {printable(kHugeBytes)};
        case 10:
            return {"dialwise://dial?number=" + anyBytes(pick(1, 30)) + "&number=5551234567"};
        case 11: {
            // Many links in one start.
            QList<QByteArray> many;
            const int count = pick(2, 120);
            for (int i = 0; i < count; ++i)
                many.append(pick(0, 3) == 0 ? "tel:" + digits(pick(7, 11)) : printable(pick(1, 20)));
            return many;
        }
        case 12:
            return {"-" + printable(pick(0, 10))};
        default:
            return {"tel:" + digits(pick(0, 6))};
        }
    }

private:
    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_random); }

    QByteArray digits(int count)
    {
        QByteArray text;
        for (int i = 0; i < count; ++i)
            text.append(char('0' + pick(0, 9)));
        return text;
    }

    QByteArray phoneText()
    {
        static const char separators[] = " -.()/";
        QByteArray text = pick(0, 1) ? "+" : "";
        const int count = pick(3, 15);
        for (int i = 0; i < count; ++i) {
            text.append(char('0' + pick(0, 9)));
            if (pick(0, 3) == 0)
                text.append(separators[pick(0, 5)]);
        }
        return text;
    }

    QByteArray printable(int count)
    {
        QByteArray text;
        for (int i = 0; i < count; ++i)
            text.append(char(pick(0x20, 0x7e)));
        return text;
    }

    QByteArray anyBytes(int count)
    {
        QByteArray text;
        for (int i = 0; i < count; ++i)
            text.append(char(pick(1, 255)));
        return text;
    }

    QByteArray percentEncoded(const QByteArray &text) { return text.toPercentEncoding(); }

    QByteArray casing(const QByteArray &text)
    {
        QByteArray result = text;
        for (char &c : result)
            c = pick(0, 1) ? char(std::toupper(c)) : c;
        return result;
    }

    QByteArray queryJunk()
    {
        static const char *const names[] = {"number", "Number", "num", "number", ""};
        QByteArray query;
        const int items = pick(0, 4);
        for (int i = 0; i < items; ++i) {
            if (i)
                query.append('&');
            query.append(names[pick(0, 4)]);
            if (pick(0, 2))
                query.append("=" + (pick(0, 1) ? digits(pick(0, 12)) : printable(pick(0, 8))));
        }
        return query;
    }

    std::mt19937 m_random;
};

// What the running Dialwise must dial for these arguments, in order, by its own rules.
struct Expectation
{
    int exitCode = 0;
    QStringList targets;
};

Expectation expectationFor(const QList<QByteArray> &arguments, const QUrl &base)
{
    QStringList texts;
    for (const QByteArray &argument : arguments)
        texts.append(QString::fromLocal8Bit(argument));
    const dialwise::CommandLine line = dialwise::CommandLine::parse(texts);
    Expectation expected;
    if (line.action == dialwise::CommandLine::Action::usageError) {
        expected.exitCode = dialwise::CommandLine::kUsageExitCode;
        return expected;
    }
    if (line.action != dialwise::CommandLine::Action::run || line.request.kind != dialwise::LaunchRequest::Kind::openUris) {
        expected.exitCode = -1; // the generator never makes these
        return expected;
    }
    // Too many links, or one too long, is refused whole and unread, with the reason on stderr.
    if (dialwise::InboundRequests::checkOpen(line.request.uris)) {
        expected.exitCode = 1;
        return expected;
    }
    // A link of another scheme is refused, and the whole command with it.
    for (const QString &uri : line.request.uris) {
        if (dialwise::InboundRequests::linkOutcome(uri) == dialwise::LinkOutcome::otherScheme) {
            expected.exitCode = 1;
            return expected;
        }
    }
    for (const QString &uri : line.request.uris) {
        const dialwise::InboundAction action = dialwise::InboundRequests::forUrl(uri);
        if (action.kind != dialwise::InboundAction::Kind::call)
            continue;
        const std::optional<QUrl> address = dialwise::voice::newCallUrl(base, dialwise::phone::dialDigits(action.number));
        if (address)
            expected.targets.append(address->path(QUrl::FullyEncoded) + u'?' + address->query(QUrl::FullyEncoded));
    }
    // Links without any number are not handed over: the launcher says why and exits 1.
    bool anyNumber = false;
    for (const QString &uri : line.request.uris)
        anyNumber = anyNumber || dialwise::InboundRequests::linkOutcome(uri) == dialwise::LinkOutcome::call;
    if (!anyNumber)
        expected.exitCode = 1;
    return expected;
}

// True when `seen` is `expected` with possibly some entries left out, order kept: a start with
// many links places its calls one after another, and a later page load may cancel an earlier
// one before its request goes out.
bool isOrderedSubset(const QStringList &seen, const QStringList &expected)
{
    qsizetype at = 0;
    for (const QString &target : seen) {
        while (at < expected.size() && expected[at] != target)
            ++at;
        if (at == expected.size())
            return false;
        ++at;
    }
    return true;
}

TEST(InstanceHandOverStressE2ETest, thousandHostileHandOvers_primarySurvivesAndDialsOnlyValidOnes)
{
    const unsigned seed = qEnvironmentVariableIsSet("DIALWISE_E2E_SEED")
        ? qEnvironmentVariable("DIALWISE_E2E_SEED").toUInt()
        : 20261121u;
    SCOPED_TRACE("seed " + std::to_string(seed));

    ShellRig rig;
    ASSERT_TRUE(rig.startStandIn());
    ASSERT_TRUE(rig.startPrimary()) << rig.primaryErrors().toStdString();

    LinkFactory factory(seed);
    QElapsedTimer clock;
    clock.start();
    int dialled = 0;
    int failures = 0;
    int done = 0;
    for (int i = 0; i < kHandOvers && failures < 10 && clock.elapsed() < kTimeBoxMs; ++i) {
        ++done;
        const QList<QByteArray> arguments = factory.next();
        const Expectation expected = expectationFor(arguments, rig.standIn().baseUrl());
        const int before = int(rig.standIn().requestLines().size());

        const ShellRig::Run run = rig.run(arguments, 20000);
        const QString what = QStringLiteral("hand-over %1 (%2 argument(s), first %3 bytes: %4)")
                                 .arg(i)
                                 .arg(arguments.size())
                                 .arg(arguments.first().size())
                                 .arg(QString::fromLatin1(arguments.first().left(60).toPercentEncoding()));
        EXPECT_TRUE(run.finished) << what.toStdString();
        EXPECT_EQ(run.exitCode, expected.exitCode) << what.toStdString() << "\n" << run.err.toStdString();

        if (!expected.targets.isEmpty()) {
            // The last call of a start is never replaced by a later one of the same start.
            const bool arrived = rig.standIn().waitForTarget(expected.targets.last(), 20000, before);
            EXPECT_TRUE(arrived) << what.toStdString() << " expected " << expected.targets.last().left(80).toStdString();
            dialled += arrived ? 1 : 0;
        }
        const QStringList seen = rig.newCallTargets(before);
        const bool matches = arguments.size() == 1 ? seen == expected.targets : isOrderedSubset(seen, expected.targets);
        EXPECT_TRUE(matches) << what.toStdString() << "\n seen: " << seen.join(' ').left(300).toStdString()
                             << "\n expected: " << expected.targets.join(' ').left(300).toStdString();
        failures += (run.exitCode != expected.exitCode || !matches) ? 1 : 0;
        ASSERT_TRUE(rig.primaryRunning()) << "the primary died at " << what.toStdString() << "\n"
                                          << rig.primaryErrors().right(2000).toStdString();
    }

    // Nothing dialled late, and it still answers.
    const int settled = int(rig.standIn().requestLines().size());
    ShellRig::pump(1000);
    EXPECT_TRUE(rig.newCallTargets(settled).isEmpty()) << rig.newCallTargets(settled).join(' ').left(300).toStdString();
    const ShellRig::Run last = rig.run(QStringList{"--call-text", "call 555 123 4567 now"});
    EXPECT_EQ(last.exitCode, 0);
    EXPECT_TRUE(rig.standIn().waitForTarget("/u/0/calls?a=nc,%2B15551234567", 10000, settled));
    EXPECT_TRUE(rig.primaryRunning());
    EXPECT_GE(done, kEnoughHandOvers) << "only " << done << " hand-overs within the time";
    EXPECT_GT(dialled, done / 10) << "too few valid links to mean anything";
    std::printf("%d of %d hand-overs, %d dialled, %lld ms\n", done, kHandOvers, dialled, static_cast<long long>(clock.elapsed()));
}

} // namespace
