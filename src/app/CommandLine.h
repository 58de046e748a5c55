#pragma once

#include "app/LaunchRequest.h"

#include <QString>
#include <QStringList>

namespace dialwise {

// The arguments of `dialwise`, parsed without a QCoreApplication so that answering --help or
// handing a link to the running instance costs no more than it must.
//
// Every argument is either used or refused: an unknown option, a value the option does not take
// or an argument left over is a usage error that names it, never silently dropped.
struct CommandLine
{
    enum class Action {
        run,     // become or reach the running instance with `request`
        help,    // print helpText() on stdout, exit 0
        version, // print "dialwise 0.1.0", exit 0
        explain, // print what would be dialled for `text`
        autostart, // query, write or remove the login entry (`autostart`), exit 0 or 1
        replayDetector, // play the scenario file `replayScenario` through the phone-link detector
        quit,    // ask the running Dialwise to end (request.kind is quit); never starts one
        usageError, // print "dialwise: " + error on stderr, exit kUsageExitCode
    };

    static constexpr int kUsageExitCode = 2;

    enum class AutostartChange { query, on, off };

    Action action = Action::run;
    LaunchRequest request;
    QString explainText;
    AutostartChange autostart = AutostartChange::query;
    QString replayScenario;
    QString error;

    bool operator==(const CommandLine &) const = default;

    // arguments: argv without the program name. Everything not starting with "-" is a link;
    // "--" ends the options so that a link may start with "-". An option that takes a value
    // takes the next argument, whatever it is, or the text after "=" ("--call-text=555 0100").
    static CommandLine parse(const QStringList &arguments);
    // Every option parse() knows, as spelled on the command line; helpText() names each of them
    // in its usage lines.
    static QStringList optionNames();
    static QString helpText();
    static QString versionText();
};

} // namespace dialwise
