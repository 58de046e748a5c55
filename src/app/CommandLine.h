#pragma once

#include "LaunchRequest.h"

#include <QString>
#include <QStringList>

namespace dialwise {

// The arguments of `dialwise`, parsed without a QCoreApplication so that answering --help or
// handing a link to the running instance costs no more than it must.
struct CommandLine
{
    enum class Action {
        run,     // become or reach the running instance with `request`
        help,    // print helpText() on stdout, exit 0
        version, // print "dialwise 0.1.0", exit 0
        explain, // print what would be dialled for `text`
        autostart, // query, write or remove the login entry (`autostart`), exit 0 or 1
        replayDetector, // play the scenario file `replayScenario` through the phone-link detector
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
    // "--" ends the options so that a link may start with "-".
    static CommandLine parse(const QStringList &arguments);
    static QString helpText();
    static QString versionText();
};

} // namespace dialwise
