#include "app/CommandLine.h"
#include "tests/support/NamedRows.h"
#include "tests/unit/QtPrinting.h"

#include <QRegularExpression>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using dialwise::CommandLine;
using dialwise::LaunchRequest;

namespace {

QStringList argumentList(const std::vector<const char *> &arguments)
{
    QStringList list;
    for (const char *argument : arguments)
        list.append(QString::fromUtf8(argument));
    return list;
}

CommandLine parse(const std::vector<const char *> &arguments)
{
    return CommandLine::parse(argumentList(arguments));
}

// The arguments as typed, for a failure message.
std::string typed(const std::vector<const char *> &arguments)
{
    return argumentList(arguments).join(' ').toStdString();
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
    EXPECT_EQ(parse({"-h"}).action, CommandLine::Action::help);
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

using CommandLineAutostartTest = ::testing::TestWithParam<AutostartRow>;

TEST_P(CommandLineAutostartTest, autostart_parsesOnOffOrQuery)
{
    const AutostartRow &row = GetParam();
    const CommandLine line = parse(row.arguments);
    EXPECT_EQ(line.action, row.action) << typed(row.arguments);
    if (row.action == CommandLine::Action::autostart) {
        EXPECT_EQ(line.autostart, row.change);
    }
    EXPECT_EQ(line.error, QString::fromUtf8(row.error));
}

constexpr char kAutostartAlone[] = "--autostart goes alone: dialwise --autostart [on|off]";

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandLineAutostartTest,
    ::testing::Values(
        AutostartRow{{"--autostart"}, CommandLine::Action::autostart, CommandLine::AutostartChange::query, ""},
        AutostartRow{{"--autostart", "on"}, CommandLine::Action::autostart, CommandLine::AutostartChange::on, ""},
        AutostartRow{{"--autostart", "off"}, CommandLine::Action::autostart, CommandLine::AutostartChange::off, ""},
        AutostartRow{{"--autostart=on"}, CommandLine::Action::autostart, CommandLine::AutostartChange::on, ""},
        AutostartRow{{"--autostart", "yes"}, CommandLine::Action::usageError, {},
                     "--autostart takes on or off, or nothing to ask which it is (not \"yes\")"},
        AutostartRow{{"--autostart", "ON"}, CommandLine::Action::usageError, {},
                     "--autostart takes on or off, or nothing to ask which it is (not \"ON\")"},
        AutostartRow{{"--autostart="}, CommandLine::Action::usageError, {},
                     "--autostart takes on or off, or nothing to ask which it is (not \"\")"},
        AutostartRow{{"--autostart", "on", "off"}, CommandLine::Action::usageError, {},
                     "extra argument \"off\": --autostart goes alone: dialwise --autostart [on|off]"},
        AutostartRow{{"--autostart", "tel:5551234567"}, CommandLine::Action::usageError, {},
                     "--autostart takes on or off, or nothing to ask which it is (not \"tel:5551234567\")"},
        AutostartRow{{"tel:5551234567", "--autostart"}, CommandLine::Action::usageError, {},
                     "extra argument \"tel:5551234567\": --autostart goes alone: dialwise --autostart [on|off]"},
        AutostartRow{{"--hidden", "--autostart", "on"}, CommandLine::Action::usageError, {},
                     "extra argument \"--hidden\": --autostart goes alone: dialwise --autostart [on|off]"},
        // After "--" it is a link like any other.
        AutostartRow{{"--", "--autostart"}, CommandLine::Action::run, {}, ""}));

TEST(CommandLineTest, helpText_namesEveryOption)
{
    const QString help = CommandLine::helpText();
    for (const char *option : {"--call-text", "--call-selection", "--hidden", "--autostart on", "--autostart off",
                               "--explain", "--help", "--version", "--quit"})
        EXPECT_TRUE(help.contains(QString::fromLatin1(option))) << option;
}

TEST(CommandLineTest, helpUsageLines_nameEveryOptionTheParserKnows)
{
    // The usage lines are everything before the first empty line.
    const QString help = CommandLine::helpText();
    const QString usage = help.left(help.indexOf(QStringLiteral("\n\n")));
    ASSERT_TRUE(usage.startsWith("Usage: dialwise"));
    const QStringList options = CommandLine::optionNames();
    EXPECT_GE(options.size(), 11);
    for (const QString &option : options) {
        // Whole words only: "--autostart" must not pass for "--autostart-x".
        const QRegularExpression word(QStringLiteral("(^|[\\s\\[|])%1($|[\\s\\[\\]|=])").arg(QRegularExpression::escape(option)));
        EXPECT_TRUE(word.match(usage).hasMatch()) << option.toStdString() << " missing from:\n" << usage.toStdString();
        // Each option the parser knows is taken by it (not refused as unknown).
        EXPECT_NE(CommandLine::parse({option}).error.left(14), QString("unknown option")) << option.toStdString();
    }
}

// Each wrong command line, the message that names what is wrong, and exit status 2.
struct UsageErrorRow
{
    const char *name;
    std::vector<const char *> arguments;
    const char *error;
};

using CommandLineUsageErrorTest = ::testing::TestWithParam<UsageErrorRow>;

TEST_P(CommandLineUsageErrorTest, badArguments_areNamedInTheError)
{
    const UsageErrorRow &row = GetParam();
    const CommandLine line = parse(row.arguments);
    EXPECT_EQ(line.action, CommandLine::Action::usageError) << typed(row.arguments);
    EXPECT_EQ(line.error, QString::fromUtf8(row.error));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandLineUsageErrorTest,
    ::testing::Values(
        UsageErrorRow{"unknownOption", {"--bogus"}, "unknown option --bogus (see dialwise --help)"},
        UsageErrorRow{"unknownShortOption", {"-x"}, "unknown option -x (see dialwise --help)"},
        UsageErrorRow{"unknownAfterVersion", {"--version", "--bogus"}, "unknown option --bogus (see dialwise --help)"},
        UsageErrorRow{"unknownBeforeVersion", {"--bogus", "--version"}, "unknown option --bogus (see dialwise --help)"},
        UsageErrorRow{"unknownWithLink", {"tel:5551234567", "--bogus=1"}, "unknown option --bogus (see dialwise --help)"},
        UsageErrorRow{"singleDashLongName", {"-help"}, "unknown option -help (see dialwise --help)"},
        UsageErrorRow{"explainTwoTexts", {"--explain", "a", "b"},
                      "extra argument \"b\": --explain takes one text; put a text with spaces in quotes"},
        UsageErrorRow{"explainWithOption", {"--explain", "5551234567", "--hidden"},
                      "extra argument \"--hidden\": --explain takes one text; put a text with spaces in quotes"},
        UsageErrorRow{"explainTwice", {"--explain", "a", "--explain", "b"}, "--explain given twice"},
        UsageErrorRow{"explainMissing", {"--explain"}, "--explain needs a text"},
        UsageErrorRow{"replayExtra", {"--replay-detector", "f.json", "extra"},
                      "extra argument \"extra\": --replay-detector takes one scenario file"},
        UsageErrorRow{"replayMissing", {"--replay-detector"}, "--replay-detector needs a scenario file"},
        UsageErrorRow{"versionWithLink", {"--version", "tel:5551234567"},
                      "extra argument \"tel:5551234567\": --version goes alone"},
        UsageErrorRow{"versionWithHidden", {"--hidden", "--version"}, "extra argument \"--hidden\": --version goes alone"},
        UsageErrorRow{"helpWithVersion", {"--help", "--version"}, "extra argument \"--version\": --help goes alone"},
        UsageErrorRow{"shortHelpWithLink", {"tel:5551234567", "-h"}, "extra argument \"tel:5551234567\": -h goes alone"},
        UsageErrorRow{"quitWithLink", {"--quit", "tel:5551234567"}, "extra argument \"tel:5551234567\": --quit goes alone"},
        UsageErrorRow{"quitWithHidden", {"--quit", "--hidden"}, "extra argument \"--hidden\": --quit goes alone"},
        UsageErrorRow{"operandAfterDoubleDash", {"--version", "--", "x"}, "extra argument \"x\": --version goes alone"},
        UsageErrorRow{"switchWithValue", {"--hidden=yes"}, "--hidden takes no value (--hidden=yes)"},
        UsageErrorRow{"quitWithValue", {"--quit=now"}, "--quit takes no value (--quit=now)"},
        UsageErrorRow{"callTextMissing", {"--call-text"}, "--call-text needs a text"},
        UsageErrorRow{"callTextTwice", {"--call-text", "a", "--call-text", "b"}, "--call-text given twice"},
        UsageErrorRow{"callTextAndLink", {"--call-text", "a", "tel:5551234567"},
                      "give links, --call-text or --call-selection, not several of them"},
        UsageErrorRow{"selectionAndLink", {"--call-selection", "tel:5551234567"},
                      "give links, --call-text or --call-selection, not several of them"},
        UsageErrorRow{"hiddenAndLink", {"--hidden", "tel:5551234567"},
                      "--hidden goes alone: it starts Dialwise without a window"}), dialwise::testing::RowName());

// Each good command line and what it asks for.
TEST(CommandLineTest, valueForms_areTheSameAsSeparateValues)
{
    EXPECT_EQ(parse({"--explain=(202) 555-0123"}), parse({"--explain", "(202) 555-0123"}));
    EXPECT_EQ(parse({"--call-text=call 555 0100"}), parse({"--call-text", "call 555 0100"}));
    EXPECT_EQ(parse({"--replay-detector=s.json"}).replayScenario, QString("s.json"));
    // The text after the first "=" is the value, "=" and all.
    EXPECT_EQ(parse({"--call-text=a=b"}).request.text, QString("a=b"));
    // A value is taken whatever it looks like.
    EXPECT_EQ(parse({"--explain", "--5551234567"}).explainText, QString("--5551234567"));
}

TEST(CommandLineTest, quit_isItsOwnCommand)
{
    const CommandLine line = parse({"--quit"});
    EXPECT_EQ(line.action, CommandLine::Action::quit);
    EXPECT_EQ(line.request.kind, LaunchRequest::Kind::quit);
    EXPECT_TRUE(line.error.isEmpty());
}

TEST(CommandLineTest, detectPhoneLinks_goesWithAnyRequest)
{
    EXPECT_EQ(parse({"--detect-phone-links", "--hidden"}).action, CommandLine::Action::run);
    EXPECT_TRUE(parse({"--hidden", "--detect-phone-links"}).request.hidden);
    EXPECT_EQ(parse({"--call-selection", "--detect-phone-links"}).request.kind, LaunchRequest::Kind::callSelection);
    // A switch given twice asks for the same thing twice.
    EXPECT_TRUE(parse({"--detect-phone-links", "--detect-phone-links"}).request.detectPhoneLinks);
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
    EXPECT_EQ(parse({"--detect-phone-links=on"}).request.detectPhoneLinks, std::optional<bool>(true));
    EXPECT_EQ(parse({"--detect-phone-links=yes"}).action, CommandLine::Action::usageError);
    EXPECT_EQ(parse({"--detect-phone-links", "--detect-phone-links=off"}).error,
              QString("--detect-phone-links and --detect-phone-links=off contradict each other"));
    EXPECT_TRUE(CommandLine::helpText().contains("--detect-phone-links=off"));
    EXPECT_TRUE(CommandLine::helpText().contains("--detect-phone-links"));
    EXPECT_TRUE(CommandLine::helpText().contains("--replay-detector SCENARIO.json"));
}

} // namespace
