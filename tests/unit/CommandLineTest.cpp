#include "CommandLine.h"
#include "QtPrinting.h"

#include <gtest/gtest.h>

using dialwise::CommandLine;
using dialwise::LaunchRequest;

namespace {

CommandLine parse(std::initializer_list<const char *> arguments)
{
    QStringList list;
    for (const char *argument : arguments)
        list.append(QString::fromUtf8(argument));
    return CommandLine::parse(list);
}

TEST(CommandLineTest, noArguments_activates)
{
    const CommandLine line = parse({});
    EXPECT_EQ(line.action, CommandLine::Action::run);
    EXPECT_EQ(line.request.kind, LaunchRequest::Kind::activate);
    EXPECT_TRUE(line.request.uris.isEmpty());
}

TEST(CommandLineTest, help_printsUsage)
{
    EXPECT_EQ(parse({"--help"}).action, CommandLine::Action::help);
    EXPECT_EQ(parse({"tel:5551234567", "-h"}).action, CommandLine::Action::help);
    EXPECT_TRUE(CommandLine::helpText().startsWith("Usage: dialwise"));
}

TEST(CommandLineTest, version_namesProgramAndVersion)
{
    EXPECT_EQ(parse({"--version"}).action, CommandLine::Action::version);
    EXPECT_EQ(CommandLine::versionText(), QString("dialwise " DIALWISE_VERSION "\n"));
    EXPECT_EQ(CommandLine::versionText(), QString("dialwise 0.1.0\n"));
}

TEST(CommandLineTest, unknownOption_isUsageErrorWithExitTwo)
{
    const CommandLine line = parse({"--frobnicate"});
    EXPECT_EQ(line.action, CommandLine::Action::usageError);
    EXPECT_TRUE(line.error.contains("--frobnicate")) << line.error.toStdString();
    EXPECT_EQ(CommandLine::kUsageExitCode, 2);
}

TEST(CommandLineTest, links_areKeptInOrder)
{
    const CommandLine line = parse({"tel:1", "callto://2", "dialwise://dial?number=3"});
    EXPECT_EQ(line.action, CommandLine::Action::run);
    EXPECT_EQ(line.request.kind, LaunchRequest::Kind::openUris);
    EXPECT_EQ(line.request.uris, QStringList({"tel:1", "callto://2", "dialwise://dial?number=3"}));
}

TEST(CommandLineTest, doubleDash_letsLinksStartWithDash)
{
    const CommandLine line = parse({"--", "-5551234567", "--help"});
    EXPECT_EQ(line.action, CommandLine::Action::run);
    EXPECT_EQ(line.request.uris, QStringList({"-5551234567", "--help"}));
}

TEST(CommandLineTest, callText_carriesText)
{
    const CommandLine line = parse({"--call-text", "call 555 123 4567 now"});
    EXPECT_EQ(line.action, CommandLine::Action::run);
    EXPECT_EQ(line.request.kind, LaunchRequest::Kind::callText);
    EXPECT_EQ(line.request.text, QString("call 555 123 4567 now"));
}

TEST(CommandLineTest, callTextEmpty_isStillARequest)
{
    const CommandLine line = parse({"--call-text", ""});
    EXPECT_EQ(line.action, CommandLine::Action::run);
    EXPECT_EQ(line.request.kind, LaunchRequest::Kind::callText);
    EXPECT_TRUE(line.request.text.isEmpty());
}

TEST(CommandLineTest, callTextWithoutText_isUsageError)
{
    const CommandLine line = parse({"--call-text"});
    EXPECT_EQ(line.action, CommandLine::Action::usageError);
    EXPECT_EQ(line.error, QString("--call-text needs a text"));
}

TEST(CommandLineTest, callSelection_isItsOwnRequest)
{
    const CommandLine line = parse({"--call-selection"});
    EXPECT_EQ(line.action, CommandLine::Action::run);
    EXPECT_EQ(line.request.kind, LaunchRequest::Kind::callSelection);
}

TEST(CommandLineTest, mixedRequests_areUsageError)
{
    EXPECT_EQ(parse({"--call-selection", "tel:5551234567"}).action, CommandLine::Action::usageError);
    EXPECT_EQ(parse({"--call-text", "x", "--call-selection"}).action, CommandLine::Action::usageError);
}

TEST(CommandLineTest, explain_takesNextArgument)
{
    const CommandLine line = parse({"--explain", "tel:+1-555-123-4567"});
    EXPECT_EQ(line.action, CommandLine::Action::explain);
    EXPECT_EQ(line.explainText, QString("tel:+1-555-123-4567"));
    EXPECT_EQ(parse({"--explain"}).action, CommandLine::Action::usageError);
    EXPECT_EQ(parse({"--explain"}).error, QString("--explain needs a text"));
}

TEST(CommandLineTest, replacementCharacters_stayLinks)
{
    // Bytes that are not valid UTF-8 arrive as U+FFFD; they are still a link, not an option.
    const CommandLine line = CommandLine::parse({QString::fromUtf16(u"tel:\uFFFD5551234567")});
    EXPECT_EQ(line.request.kind, LaunchRequest::Kind::openUris);
    EXPECT_EQ(line.request.uris.size(), 1);
}

TEST(CommandLineTest, hidden_isActivateThatShowsNothing)
{
    const CommandLine line = parse({"--hidden"});
    EXPECT_EQ(line.action, CommandLine::Action::run);
    EXPECT_EQ(line.request.kind, LaunchRequest::Kind::activate);
    EXPECT_TRUE(line.request.hidden);
    EXPECT_FALSE(parse({}).request.hidden);
    EXPECT_FALSE(parse({"tel:5551234567"}).request.hidden);
}

TEST(CommandLineTest, hiddenWithRequest_isUsageError)
{
    for (const CommandLine &line : {parse({"--hidden", "tel:5551234567"}), parse({"--call-text", "x", "--hidden"}),
                                    parse({"--hidden", "--call-selection"})}) {
        EXPECT_EQ(line.action, CommandLine::Action::usageError);
        EXPECT_EQ(line.error, QString("--hidden goes alone: it starts Dialwise without a window"));
    }
}

struct AutostartRow
{
    std::vector<const char *> arguments;
    CommandLine::Action action;
    CommandLine::AutostartChange change;
    const char *error;
};

class CommandLineAutostartTest : public ::testing::TestWithParam<AutostartRow>
{
};

TEST_P(CommandLineAutostartTest, autostart_parsesOnOffOrQuery)
{
    const AutostartRow &row = GetParam();
    QStringList arguments;
    for (const char *argument : row.arguments)
        arguments.append(QString::fromUtf8(argument));
    const CommandLine line = CommandLine::parse(arguments);
    EXPECT_EQ(line.action, row.action) << arguments.join(' ').toStdString();
    if (row.action == CommandLine::Action::autostart) {
        EXPECT_EQ(line.autostart, row.change);
    }
    EXPECT_EQ(line.error, QString::fromUtf8(row.error));
}

constexpr char kAutostartValues[] = "--autostart takes on or off, or nothing to ask which it is";
constexpr char kAutostartAlone[] = "--autostart goes alone: dialwise --autostart [on|off]";

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandLineAutostartTest,
    ::testing::Values(
        AutostartRow{{"--autostart"}, CommandLine::Action::autostart, CommandLine::AutostartChange::query, ""},
        AutostartRow{{"--autostart", "on"}, CommandLine::Action::autostart, CommandLine::AutostartChange::on, ""},
        AutostartRow{{"--autostart", "off"}, CommandLine::Action::autostart, CommandLine::AutostartChange::off, ""},
        AutostartRow{{"--autostart", "yes"}, CommandLine::Action::usageError, {}, kAutostartValues},
        AutostartRow{{"--autostart", "ON"}, CommandLine::Action::usageError, {}, kAutostartValues},
        AutostartRow{{"--autostart", "on", "off"}, CommandLine::Action::usageError, {}, kAutostartValues},
        AutostartRow{{"--autostart", "tel:5551234567"}, CommandLine::Action::usageError, {}, kAutostartValues},
        AutostartRow{{"tel:5551234567", "--autostart"}, CommandLine::Action::usageError, {}, kAutostartAlone},
        AutostartRow{{"--hidden", "--autostart", "on"}, CommandLine::Action::usageError, {}, kAutostartAlone},
        // After "--" it is a link like any other.
        AutostartRow{{"--", "--autostart"}, CommandLine::Action::run, {}, ""}));

TEST(CommandLineTest, helpText_namesEveryOption)
{
    const QString help = CommandLine::helpText();
    for (const char *option : {"--call-text", "--call-selection", "--hidden", "--autostart on", "--autostart off",
                               "--explain", "--help", "--version"})
        EXPECT_TRUE(help.contains(QString::fromLatin1(option))) << option;
}

TEST(CommandLineTest, replayDetector_takesScenarioPath)
{
    const CommandLine line = parse({"--replay-detector", "situation.json"});
    EXPECT_EQ(line.action, CommandLine::Action::replayDetector);
    EXPECT_EQ(line.replayScenario, QString("situation.json"));
    EXPECT_EQ(parse({"--replay-detector"}).error, QString("--replay-detector needs a scenario file"));
}

TEST(CommandLineTest, detectPhoneLinks_travelsWithTheRequest)
{
    const CommandLine line = parse({"--detect-phone-links", "tel:123"});
    EXPECT_EQ(line.action, CommandLine::Action::run);
    EXPECT_EQ(line.request.detectPhoneLinks, std::optional<bool>(true));
    EXPECT_EQ(line.request.uris, QStringList{"tel:123"});
    EXPECT_EQ(parse({"tel:123"}).request.detectPhoneLinks, std::nullopt);
    const CommandLine off = parse({"--detect-phone-links=off"});
    EXPECT_EQ(off.action, CommandLine::Action::run);
    EXPECT_EQ(off.request.detectPhoneLinks, std::optional<bool>(false));
    EXPECT_EQ(off.request.kind, LaunchRequest::Kind::activate);
    EXPECT_EQ(parse({"--detect-phone-links=on"}).action, CommandLine::Action::usageError);
    EXPECT_TRUE(CommandLine::helpText().contains("--detect-phone-links=off"));
    EXPECT_TRUE(CommandLine::helpText().contains("--detect-phone-links"));
    EXPECT_TRUE(CommandLine::helpText().contains("--replay-detector SCENARIO.json"));
}

} // namespace
