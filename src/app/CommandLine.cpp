#include "app/CommandLine.h"

#include <optional>
#include <vector>

namespace dialwise {
namespace {

enum class Option {
    help,
    version,
    explain,
    replayDetector,
    autostart,
    quit,
    callText,
    callSelection,
    hidden,
    detectPhoneLinks,
};

enum class Takes {
    nothing, // a switch: "--hidden"; "--hidden=x" is refused
    value,   // the next argument or the text after "=": "--explain TEXT", "--explain=TEXT"
    onOff,   // "--autostart", "--autostart on|off", "--autostart=on|off"
    // "--detect-phone-links" or "--detect-phone-links=on|off": a value only after "=", as the
    // next argument may well be a link to dial.
    switchOnOff,
};

struct KnownOption
{
    QStringView name;
    Option option;
    Takes takes;
    // What to say when the value is missing.
    QStringView missingValue = {};
    // For a command, why nothing else may come with it, in the words of its own usage line;
    // empty: "<option> goes alone".
    QStringView aloneRule = {};
};

// One row per option: a new option, or a value form of an old one, is a row here and a line in
// helpText().
constexpr KnownOption kOptions[] = {
    {u"--help", Option::help, Takes::nothing},
    {u"-h", Option::help, Takes::nothing},
    {u"--version", Option::version, Takes::nothing},
    {u"--explain", Option::explain, Takes::value, u"--explain needs a text",
     u"--explain takes one text; put a text with spaces in quotes"},
    {u"--replay-detector", Option::replayDetector, Takes::value, u"--replay-detector needs a scenario file",
     u"--replay-detector takes one scenario file"},
    {u"--autostart", Option::autostart, Takes::onOff, {}, u"--autostart goes alone: dialwise --autostart [on|off]"},
    {u"--quit", Option::quit, Takes::nothing},
    {u"--call-text", Option::callText, Takes::value, u"--call-text needs a text"},
    {u"--call-selection", Option::callSelection, Takes::nothing},
    {u"--hidden", Option::hidden, Takes::nothing},
    {u"--detect-phone-links", Option::detectPhoneLinks, Takes::switchOnOff},
};

const KnownOption *findOption(QStringView name)
{
    for (const KnownOption &known : kOptions) {
        if (known.name == name)
            return &known;
    }
    return nullptr;
}

// An option as it appeared: `spelled` is the argument itself (for messages), `value` what it took.
struct GivenOption
{
    const KnownOption *known;
    QString spelled;
    std::optional<QString> value;
};

// The options that are a command of their own: each goes alone.
bool isCommand(Option option)
{
    switch (option) {
    case Option::help:
    case Option::version:
    case Option::explain:
    case Option::replayDetector:
    case Option::autostart:
    case Option::quit:
        return true;
    case Option::callText:
    case Option::callSelection:
    case Option::hidden:
    case Option::detectPhoneLinks:
        return false;
    }
    return false;
}

// Why nothing else may come with a command, in the words of its own usage line.
QString aloneRule(const GivenOption &command)
{
    if (!command.known->aloneRule.isEmpty())
        return command.known->aloneRule.toString();
    return command.spelled + QStringLiteral(" goes alone");
}

QString quoted(const QString &argument)
{
    return u'"' + argument + u'"';
}

CommandLine usageError(const QString &message)
{
    CommandLine line;
    line.action = CommandLine::Action::usageError;
    line.error = message;
    return line;
}

} // namespace

CommandLine CommandLine::parse(const QStringList &arguments)
{
    std::vector<GivenOption> options;
    QStringList operands;
    bool optionsEnded = false;

    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments[i];
        if (optionsEnded || !argument.startsWith(u'-') || argument == u"-") {
            operands.append(argument);
            continue;
        }
        if (argument == u"--") {
            optionsEnded = true;
            continue;
        }
        // "--name=value" for long options; a short one ("-h") is only ever itself.
        const qsizetype equals = argument.startsWith(u"--") ? argument.indexOf(u'=') : -1;
        const QString name = equals < 0 ? argument : argument.left(equals);
        const KnownOption *known = findOption(name);
        if (!known)
            return usageError(QStringLiteral("unknown option %1 (see dialwise --help)").arg(name));

        GivenOption given{known, argument, std::nullopt};
        switch (known->takes) {
        case Takes::nothing:
            if (equals >= 0)
                return usageError(QStringLiteral("%1 takes no value (%2)").arg(name, argument));
            break;
        case Takes::value:
            if (equals >= 0) {
                given.value = argument.mid(equals + 1);
            } else {
                // Taken whatever it looks like, so that a text may start with "-".
                if (i + 1 >= arguments.size())
                    return usageError(known->missingValue.toString());
                given.value = arguments[++i];
            }
            given.spelled = name;
            break;
        case Takes::onOff:
            if (equals >= 0)
                given.value = argument.mid(equals + 1);
            else if (i + 1 < arguments.size() && !arguments[i + 1].startsWith(u'-'))
                given.value = arguments[++i];
            if (given.value && *given.value != u"on" && *given.value != u"off")
                return usageError(QStringLiteral("%1 takes on or off, or nothing to ask which it is (not %2)")
                                      .arg(name, quoted(*given.value)));
            given.spelled = name;
            break;
        case Takes::switchOnOff:
            if (equals >= 0) {
                given.value = argument.mid(equals + 1);
                if (*given.value != u"on" && *given.value != u"off")
                    return usageError(QStringLiteral("%1 takes =on or =off, or nothing to turn it on (not %2)")
                                          .arg(name, quoted(*given.value)));
            }
            break;
        }
        for (const GivenOption &earlier : options) {
            if (earlier.known->option != known->option || known->takes == Takes::nothing)
                continue;
            // A switch given twice asks for the same thing twice; on and off at once is a mistake.
            if (known->takes == Takes::switchOnOff) {
                if (earlier.value.value_or(QStringLiteral("on")) != given.value.value_or(QStringLiteral("on")))
                    return usageError(QStringLiteral("%1 and %2 contradict each other").arg(earlier.spelled, argument));
                continue;
            }
            return usageError(QStringLiteral("%1 given twice").arg(name));
        }
        options.push_back(std::move(given));
    }

    CommandLine line;

    // A command (--help, --explain, ...) goes alone: whatever else came would be left undone.
    const GivenOption *command = nullptr;
    for (const GivenOption &given : options) {
        if (isCommand(given.known->option)) {
            command = &given;
            break;
        }
    }
    if (command) {
        for (const GivenOption &given : options) {
            if (&given != command)
                return usageError(QStringLiteral("extra argument %1: %2").arg(quoted(given.spelled), aloneRule(*command)));
        }
        if (!operands.isEmpty())
            return usageError(QStringLiteral("extra argument %1: %2").arg(quoted(operands.first()), aloneRule(*command)));
        switch (command->known->option) {
        case Option::help:
            line.action = Action::help;
            break;
        case Option::version:
            line.action = Action::version;
            break;
        case Option::explain:
            line.action = Action::explain;
            line.explainText = *command->value;
            break;
        case Option::replayDetector:
            line.action = Action::replayDetector;
            line.replayScenario = *command->value;
            break;
        case Option::autostart:
            line.action = Action::autostart;
            if (command->value)
                line.autostart = *command->value == u"on" ? AutostartChange::on : AutostartChange::off;
            break;
        case Option::quit:
            line.action = Action::quit;
            line.request.kind = LaunchRequest::Kind::quit;
            break;
        default:
            break;
        }
        return line;
    }

    bool callText = false;
    bool callSelection = false;
    bool hidden = false;
    for (const GivenOption &given : options) {
        switch (given.known->option) {
        case Option::callText:
            callText = true;
            line.request.text = *given.value;
            break;
        case Option::callSelection:
            callSelection = true;
            break;
        case Option::hidden:
            hidden = true;
            break;
        case Option::detectPhoneLinks:
            line.request.detectPhoneLinks = !given.value || *given.value == u"on";
            break;
        default:
            break;
        }
    }

    // One request per start: the running instance answers exactly one thing, so a mix would
    // leave part of it silently undone.
    if (int(callText) + int(callSelection) + int(!operands.isEmpty()) > 1)
        return usageError(QStringLiteral("give links, --call-text or --call-selection, not several of them"));

    // A hidden start only makes sure Dialwise runs; anything it should dial would show the
    // window anyway, so the two are not mixed.
    if (hidden && (callText || callSelection || !operands.isEmpty()))
        return usageError(QStringLiteral("--hidden goes alone: it starts Dialwise without a window"));
    line.request.hidden = hidden;

    if (callText) {
        line.request.kind = LaunchRequest::Kind::callText;
    } else if (callSelection) {
        line.request.kind = LaunchRequest::Kind::callSelection;
    } else if (!operands.isEmpty()) {
        line.request.kind = LaunchRequest::Kind::openUris;
        line.request.uris = operands;
    }
    return line;
}

QStringList CommandLine::optionNames()
{
    QStringList names;
    for (const KnownOption &known : kOptions)
        names.append(known.name.toString());
    return names;
}

QString CommandLine::helpText()
{
    return QStringLiteral(
        "Usage: dialwise [--detect-phone-links[=off]] [LINK...]\n"
        "       dialwise [--detect-phone-links[=off]] --call-text TEXT | --call-selection\n"
        "       dialwise [--detect-phone-links[=off]] --hidden\n"
        "       dialwise --quit\n"
        "       dialwise --autostart [on|off]\n"
        "       dialwise --explain TEXT | --replay-detector SCENARIO.json | --help | -h | --version\n"
        "\n"
        "Places calls through the Google Voice web app in Dialwise's own window. Starts Dialwise\n"
        "when it is not running yet; otherwise hands the request to the running Dialwise.\n"
        "\n"
        "  LINK...            call the number in a tel:, callto: or dialwise://dial?number= link;\n"
        "                     with several, each call replaces the one before, so the last one\n"
        "                     is the call that happens. Other links (mailto:, https:) are refused\n"
        "  (no arguments)     show the Dialwise window\n"
        "  --call-text TEXT   call the phone number found in TEXT\n"
        "  --call-selection   call the phone number in the selected text (X11 primary selection)\n"
        "  --hidden           start Dialwise in the tray without showing its window; nothing\n"
        "                     happens when it already runs\n"
        "  --quit             end the running Dialwise\n"
        "  --autostart on     start Dialwise hidden at every login (writes\n"
        "                     $XDG_CONFIG_HOME/autostart/" DIALWISE_APP_ID ".desktop)\n"
        "  --autostart off    stop starting it at login (removes that file)\n"
        "  --autostart        print on or off: whether Dialwise starts at login\n"
        "  --explain TEXT     print what would be dialled for TEXT, and nothing else\n"
        "  --detect-phone-links\n"
        "                     offer \"Call with Dialwise\" under the popup of a clicked phone link\n"
        "                     (also: detectPhoneLinks=true in dialwise.conf); handed to a running\n"
        "                     Dialwise, turns that on there\n"
        "  --detect-phone-links=off\n"
        "                     no longer offer it (in the running Dialwise, or at this start)\n"
        "  --replay-detector SCENARIO.json\n"
        "                     play a recorded desktop situation through the phone-link detector\n"
        "                     and print what it would do and log\n"
        "  --help, -h         print this text\n"
        "  --version          print the version\n"
        "\n"
        "Exit status: 0 done, 1 the request failed (reason on stderr), 2 wrong arguments.\n"
        "More diagnostics on stderr: QT_LOGGING_RULES=\"dialwise.*=true\" (see man dialwise).\n");
}

QString CommandLine::versionText()
{
    return QStringLiteral("dialwise " DIALWISE_VERSION "\n");
}

} // namespace dialwise
