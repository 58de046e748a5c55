#include "CommandLine.h"

namespace dialwise {
namespace {

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
    CommandLine line;
    bool callText = false;
    bool callSelection = false;
    bool hidden = false;
    bool optionsEnded = false;
    QStringList uris;

    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments[i];
        if (optionsEnded || !argument.startsWith(u'-') || argument == u"-") {
            uris.append(argument);
            continue;
        }
        if (argument == u"--") {
            optionsEnded = true;
        } else if (argument == u"--help" || argument == u"-h") {
            line.action = Action::help;
            return line;
        } else if (argument == u"--version") {
            line.action = Action::version;
            return line;
        } else if (argument == u"--explain") {
            if (i + 1 >= arguments.size())
                return usageError(QStringLiteral("--explain needs a text"));
            line.action = Action::explain;
            line.explainText = arguments[i + 1];
            return line;
        } else if (argument == u"--replay-detector") {
            if (i + 1 >= arguments.size())
                return usageError(QStringLiteral("--replay-detector needs a scenario file"));
            line.action = Action::replayDetector;
            line.replayScenario = arguments[i + 1];
            return line;
        } else if (argument == u"--detect-phone-links") {
            line.request.detectPhoneLinks = true;
        } else if (argument == u"--detect-phone-links=off") {
            line.request.detectPhoneLinks = false;
        } else if (argument == u"--call-text") {
            if (i + 1 >= arguments.size())
                return usageError(QStringLiteral("--call-text needs a text"));
            if (callText)
                return usageError(QStringLiteral("--call-text given twice"));
            callText = true;
            line.request.text = arguments[++i];
        } else if (argument == u"--call-selection") {
            callSelection = true;
        } else if (argument == u"--hidden") {
            hidden = true;
        } else if (argument == u"--autostart") {
            // Alone it asks; "on" or "off" may follow. Nothing else may come with it: it changes
            // a file and exits, it never reaches Dialwise.
            line.action = Action::autostart;
            const QStringList rest = arguments.mid(i + 1);
            if (rest.size() > 1 || (rest.size() == 1 && rest[0] != u"on" && rest[0] != u"off"))
                return usageError(QStringLiteral("--autostart takes on or off, or nothing to ask which it is"));
            if (i > 0)
                return usageError(QStringLiteral("--autostart goes alone: dialwise --autostart [on|off]"));
            if (rest.size() == 1)
                line.autostart = rest[0] == u"on" ? AutostartChange::on : AutostartChange::off;
            return line;
        } else {
            return usageError(QStringLiteral("unknown option %1 (see dialwise --help)").arg(argument));
        }
    }

    // One request per start: the running instance answers exactly one thing, so a mix would
    // leave part of it silently undone.
    if (int(callText) + int(callSelection) + int(!uris.isEmpty()) > 1)
        return usageError(QStringLiteral("give links, --call-text or --call-selection, not several of them"));

    // A hidden start only makes sure Dialwise runs; anything it should dial would show the
    // window anyway, so the two are not mixed.
    if (hidden && (callText || callSelection || !uris.isEmpty()))
        return usageError(QStringLiteral("--hidden goes alone: it starts Dialwise without a window"));
    line.request.hidden = hidden;

    if (callText) {
        line.request.kind = LaunchRequest::Kind::callText;
    } else if (callSelection) {
        line.request.kind = LaunchRequest::Kind::callSelection;
    } else if (!uris.isEmpty()) {
        line.request.kind = LaunchRequest::Kind::openUris;
        line.request.uris = uris;
    }
    return line;
}

QString CommandLine::helpText()
{
    return QStringLiteral(
        "Usage: dialwise [LINK...]\n"
        "       dialwise --call-text TEXT | --call-selection\n"
        "       dialwise --hidden\n"
        "       dialwise --autostart [on|off]\n"
        "       dialwise --explain TEXT | --replay-detector SCENARIO.json | --help | --version\n"
        "\n"
        "Places calls through the Google Voice web app in Dialwise's own window. Starts Dialwise\n"
        "when it is not running yet; otherwise hands the request to the running Dialwise.\n"
        "\n"
        "  LINK...            call the number in each tel:, callto: or dialwise://dial?number= link\n"
        "  (no arguments)     show the Dialwise window\n"
        "  --call-text TEXT   call the phone number found in TEXT\n"
        "  --call-selection   call the phone number in the selected text (X11 primary selection)\n"
        "  --hidden           start Dialwise in the tray without showing its window; nothing\n"
        "                     happens when it already runs\n"
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
        "  --help             print this text\n"
        "  --version          print the version\n"
        "\n"
        "Exit status: 0 done, 1 the request failed (reason on stderr), 2 wrong arguments.\n");
}

QString CommandLine::versionText()
{
    return QStringLiteral("dialwise " DIALWISE_VERSION "\n");
}

} // namespace dialwise
