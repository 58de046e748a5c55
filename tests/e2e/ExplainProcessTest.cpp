// `dialwise --explain TEXT` run as a real process: what it prints, and its exit status.
#include "tests/unit/QtPrinting.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QProcess>
#include <QProcessEnvironment>

#include <functional>
#include <optional>
#include <string>

namespace {

// The program under test: DIALWISE_PROGRAM when set (to try another build), else the one this
// test was built with.
QString program()
{
    const QString overridden = qEnvironmentVariable("DIALWISE_PROGRAM");
    return overridden.isEmpty() ? QStringLiteral(DIALWISE_PROGRAM_PATH) : overridden;
}

struct ProcessResult
{
    QString out;
    QString err;
    int exitCode = -1;
};

ProcessResult runDialwise(const QStringList &arguments, std::optional<QString> voiceUrl,
                          const std::function<void(QProcessEnvironment &)> &adjust = {})
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("DIALWISE_VOICE_URL"));
    if (voiceUrl)
        environment.insert(QStringLiteral("DIALWISE_VOICE_URL"), *voiceUrl);
    if (adjust)
        adjust(environment);
    process.setProcessEnvironment(environment);
    process.start(program(), arguments);
    if (!process.waitForFinished(30'000)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    ProcessResult run;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return run;
}

struct ExplainRow
{
    const char *name;
    std::u16string_view text;
    std::optional<const char *> voiceUrl;
    std::u16string_view expectedOut;
    int expectedExit;
};

void PrintTo(const ExplainRow &row, std::ostream *os) { *os << row.name; }

const ExplainRow kExplainRows[] = {
    {"Formatted_AllFourLines", u"(202) 555-0123", std::nullopt,
     u"normalised: 2025550123\n"
     u"display: (202) 555-0123\n"
     u"dial digits: 12025550123\n"
     u"address: https://voice.google.com/u/0/calls?a=nc,%2B12025550123\n",
     0},
    // No number: nothing on stdout, the reason on stderr.
    {"Words_NoNumber", u"hello", std::nullopt, u"", 1},
    {"TwoWords_NoNumber", u"hello there", std::nullopt, u"", 1},
    {"LocalBase_AddressUsesIt", u"(202) 555-0123", "http://127.0.0.1:9",
     u"normalised: 2025550123\n"
     u"display: (202) 555-0123\n"
     u"dial digits: 12025550123\n"
     u"address: http://127.0.0.1:9/u/0/calls?a=nc,%2B12025550123\n",
     0},
    {"BadBase_DefaultAddress", u"(202) 555-0123", "ftp://127.0.0.1:9",
     u"normalised: 2025550123\n"
     u"display: (202) 555-0123\n"
     u"dial digits: 12025550123\n"
     u"address: https://voice.google.com/u/0/calls?a=nc,%2B12025550123\n",
     0},
    {"EncodedTelUrl_PlusKept", u"tel:%2B15551234567", std::nullopt,
     u"normalised: +15551234567\n"
     u"display: +1 (555) 123-4567\n"
     u"dial digits: 15551234567\n"
     u"address: https://voice.google.com/u/0/calls?a=nc,%2B15551234567\n",
     0},
    {"International_DisplayUnchanged", u"+44 20 7123 4567", std::nullopt,
     u"normalised: +442071234567\n"
     u"display: +442071234567\n"
     u"dial digits: 442071234567\n"
     u"address: https://voice.google.com/u/0/calls?a=nc,%2B442071234567\n",
     0},
    {"FullWidth_NoAddress", u"\uFF15\uFF15\uFF15\uFF11\uFF12\uFF13\uFF14\uFF15\uFF16\uFF17", std::nullopt,
     u"normalised: \uFF15\uFF15\uFF15\uFF11\uFF12\uFF13\uFF14\uFF15\uFF16\uFF17\n"
     u"display: (\uFF15\uFF15\uFF15) \uFF11\uFF12\uFF13-\uFF14\uFF15\uFF16\uFF17\n"
     u"dial digits: 1\uFF15\uFF15\uFF15\uFF11\uFF12\uFF13\uFF14\uFF15\uFF16\uFF17\n"
     u"address: (none)\n",
     0},
    {"SixDigits_NoNumber", u"123456", std::nullopt, u"", 1},
};

class ExplainProcessTest : public ::testing::TestWithParam<ExplainRow>
{
};

TEST_P(ExplainProcessTest, PrintsExpectedLinesAndExitStatus)
{
    const ExplainRow &row = GetParam();
    const ProcessResult run = runDialwise({QStringLiteral("--explain"), qs(row.text)},
                                row.voiceUrl ? std::optional(QString::fromUtf8(*row.voiceUrl)) : std::nullopt);
    EXPECT_EQ(run.out, qs(row.expectedOut)) << "stderr: " << run.err.toStdString();
    EXPECT_EQ(run.exitCode, row.expectedExit);
    if (row.expectedExit != 0) {
        EXPECT_EQ(run.err, QStringLiteral("dialwise: No valid phone number found\n"));
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, ExplainProcessTest, ::testing::ValuesIn(kExplainRows),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(ExplainProcess, NoText_ExitsTwoAndPrintsNothing)
{
    const ProcessResult run = runDialwise({QStringLiteral("--explain")}, std::nullopt);
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.out, QString());
    EXPECT_FALSE(run.err.isEmpty());
}

// Started where there is no display and no running Dialwise to hand the request to (a cron job,
// an ssh session): a clear error and exit 1, not an abort inside Qt's platform plugin loader.
TEST(LauncherProcess, NoDisplayNoInstance_ClearErrorExitsOne)
{
    for (const QStringList &arguments :
         {QStringList{}, QStringList{QStringLiteral("tel:+15551234567")}, QStringList{QStringLiteral("--call-text"), QStringLiteral("5551234567")}}) {
        const ProcessResult run = runDialwise(arguments, std::nullopt, [](QProcessEnvironment &environment) {
            for (const char *variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
                environment.remove(QString::fromLatin1(variable));
            // No bus either, so nothing could take the request instead.
            environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("disabled:"));
        });
        EXPECT_EQ(run.exitCode, 1) << arguments.join(u' ').toStdString();
        EXPECT_TRUE(run.err.contains(QStringLiteral("dialwise: no display to show Dialwise on")))
            << run.err.toStdString();
    }
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
