// The `dialwise` program. It stays small on purpose: --explain, --help, --version and handing a
// request to an already running Dialwise must not pay for loading the GUI or the web engine, so
// those live in the dialwise-gui module, loaded only when this process becomes the running one.
#include "app/Autostart.h"
#include "app/BusNames.h"
#include "app/CommandLine.h"
#include "app/FailureReport.h"
#include "app/GuiEntry.h"
#include "app/InboundRequests.h"
#include "app/RequestForwarder.h"
#include "calling/Explain.h"
#include "calling/VoiceAddress.h"
#include "detection/replay/ReplayEntry.h"
#include "platform/linux/DisplayProbe.h"

#include <QString>
#include <QStringList>

#include <cstdio>
#include <cstring>
#include <optional>
#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>
#include <string>
#include <unistd.h>

namespace {

int explainCommand(const QString &text)
{
    const dialwise::Explanation explanation = dialwise::explain(text, dialwise::voice::baseUrlFromEnvironment());
    if (!explanation.dialable) {
        // Asked at a terminal: the answer goes there, never to the desktop.
        dialwise::printText(QStringLiteral("dialwise: No valid phone number found\n"), stderr);
        return 1;
    }
    dialwise::printText(explanation.text, stdout);
    return 0;
}

// A quit never starts Dialwise: with none running there is nothing to end.
int quitCommand(const dialwise::LaunchRequest &request)
{
    QString busError;
    switch (dialwise::forwardAndReport(request, &busError)) {
    case dialwise::Handover::delivered:
        return 0;
    case dialwise::Handover::failed:
        return 1;
    case dialwise::Handover::noInstance:
        dialwise::printText(QStringLiteral("Dialwise is not running\n"), stdout);
        return 0;
    case dialwise::Handover::noBus:
        break;
    }
    dialwise::printFailure(QStringLiteral("no D-Bus session bus to reach Dialwise on: ") + busError);
    return 1;
}

// Long enough to recognise a link in a message, short enough to keep the message one line.
QString shownLink(const QString &link)
{
    constexpr qsizetype kShownChars = 80;
    return link.size() <= kShownChars ? link : link.left(kShownChars - 1) + QChar(0x2026);
}

// The links of a command, looked at before they are handed over: Dialwise itself drops a link
// without a number silently (the desktop has nobody to tell), but a person at a terminal is told
// why nothing happens. Returns the exit status when the launch stops here.
std::optional<int> checkLinks(const QStringList &links)
{
    // Oversized requests are the running Dialwise's to refuse, in its own words.
    if (dialwise::InboundRequests::checkOpen(links))
        return std::nullopt;
    for (const QString &link : links) {
        if (dialwise::InboundRequests::linkOutcome(link) == dialwise::LinkOutcome::otherScheme) {
            dialwise::reportFailure(QStringLiteral("%1 is not a phone link: Dialwise calls tel:, callto: and dialwise: links")
                                        .arg(shownLink(link)));
            return 1;
        }
    }
    bool anyNumber = false;
    for (const QString &link : links) {
        if (dialwise::InboundRequests::linkOutcome(link) == dialwise::LinkOutcome::call)
            anyNumber = true;
        else
            dialwise::printText(QStringLiteral("dialwise: No valid phone number found in %1\n").arg(shownLink(link)), stderr);
    }
    if (!anyNumber)
        return 1;
    return std::nullopt;
}

// The login entry starts this very program, wherever it is installed (or built).
int autostartCommand(dialwise::CommandLine::AutostartChange change)
{
    const std::optional<QString> configHome =
        dialwise::Autostart::configHomeFrom(qEnvironmentVariable("XDG_CONFIG_HOME"), qEnvironmentVariable("HOME"));
    if (!configHome) {
        dialwise::printFailure(QStringLiteral("cannot find the configuration folder: neither XDG_CONFIG_HOME nor HOME is an absolute path"));
        return 1;
    }
    const dialwise::Autostart autostart(*configHome);
    dialwise::Autostart::Outcome outcome;
    switch (change) {
    case dialwise::CommandLine::AutostartChange::query:
        outcome = autostart.query();
        break;
    case dialwise::CommandLine::AutostartChange::on: {
        char self[PATH_MAX];
        if (!realpath("/proc/self/exe", self)) {
            dialwise::printFailure(QStringLiteral("cannot tell where this program is (/proc/self/exe)"));
            return 1;
        }
        outcome = autostart.enable(QString::fromLocal8Bit(self));
        break;
    }
    case dialwise::CommandLine::AutostartChange::off:
        outcome = autostart.disable();
        break;
    }
    if (!outcome.out.isEmpty())
        dialwise::printText(outcome.out, stdout);
    if (!outcome.error.isEmpty())
        dialwise::printFailure(outcome.error);
    return outcome.exitCode;
}

// A module sits next to this program in a build tree, and in <libdir>/dialwise when installed:
// looked up beside bin/ first so that an installed tree can be moved, then where it was installed.
void *openModule(const char *fileName, std::string *error)
{
    std::string candidates[3];
    char self[PATH_MAX];
    if (realpath("/proc/self/exe", self)) {
        std::string dir(self);
        dir.erase(dir.rfind('/') + 1);
        candidates[0] = dir + fileName;
        candidates[1] = dir + "../" DIALWISE_GUI_MODULE_RELATIVE_DIR "/" + fileName;
    }
    candidates[2] = DIALWISE_GUI_MODULE_INSTALL_DIR "/" + std::string(fileName);
    for (const std::string &path : candidates) {
        if (path.empty() || access(path.c_str(), R_OK) != 0)
            continue;
        if (void *module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
            return module;
        *error = dlerror();
        return nullptr;
    }
    *error = std::string(fileName) + " not found next to dialwise nor in " DIALWISE_GUI_MODULE_INSTALL_DIR;
    return nullptr;
}

// The entry point of a module; null, with the reason on stderr, when it cannot be loaded.
// what: the module as the message names it.
void *moduleEntry(const char *fileName, const char *symbol, const char *what)
{
    std::string error;
    void *module = openModule(fileName, &error);
    void *entry = module ? dlsym(module, symbol) : nullptr;
    if (!entry)
        std::fprintf(stderr, "dialwise: cannot load %s: %s\n", what, module ? dlerror() : error.c_str());
    return entry;
}

// The detector and libphonenumber come with their module, so that no other command loads them.
int replayDetectorCommand(const QString &scenario)
{
    auto entry = reinterpret_cast<DialwiseReplayMain>(
        moduleEntry(dialwise::kReplayModuleFileName, dialwise::kReplayEntrySymbol, "the detector replay"));
    return entry ? entry(scenario.toLocal8Bit().constData()) : 1;
}

// Without a display Qt would abort while loading its platform plugin; say why instead. A
// platform named in QT_QPA_PLATFORM (offscreen, say) is the user's own choice and is respected.
bool hasDisplay()
{
    for (const char *variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        const char *value = std::getenv(variable);
        if (value && *value)
            return true;
    }
    return false;
}

int becomeDialwise(int argc, char **argv, const dialwise::LaunchRequest &request)
{
    if (!hasDisplay()) {
        dialwise::printFailure(QStringLiteral("no display to show Dialwise on (neither DISPLAY nor WAYLAND_DISPLAY is set)"));
        return 1;
    }
    if (const std::optional<QString> problem = dialwise::unreachableDisplay()) {
        dialwise::printFailure(*problem);
        return 1;
    }
    auto entry = reinterpret_cast<DialwiseGuiMain>(
        moduleEntry(dialwise::kGuiModuleFileName, dialwise::kGuiEntrySymbol, "the window"));
    return entry ? entry(argc, argv, &request) : 1;
}

} // namespace

int main(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));

    const dialwise::CommandLine line = dialwise::CommandLine::parse(arguments);
    switch (line.action) {
    case dialwise::CommandLine::Action::help:
        dialwise::printText(dialwise::CommandLine::helpText(), stdout);
        return 0;
    case dialwise::CommandLine::Action::version:
        dialwise::printText(dialwise::CommandLine::versionText(), stdout);
        return 0;
    case dialwise::CommandLine::Action::explain:
        return explainCommand(line.explainText);
    case dialwise::CommandLine::Action::autostart:
        return autostartCommand(line.autostart);
    case dialwise::CommandLine::Action::replayDetector:
        return replayDetectorCommand(line.replayScenario);
    case dialwise::CommandLine::Action::quit:
        return quitCommand(line.request);
    case dialwise::CommandLine::Action::usageError:
        // Wrong arguments are only ever typed: no notification for them.
        dialwise::printText(QStringLiteral("dialwise: ") + line.error + u'\n', stderr);
        return dialwise::CommandLine::kUsageExitCode;
    case dialwise::CommandLine::Action::run:
        break;
    }
    if (line.request.kind == dialwise::LaunchRequest::Kind::openUris) {
        if (const std::optional<int> status = checkLinks(line.request.uris))
            return *status;
    }

    switch (dialwise::forwardAndReport(line.request)) {
    case dialwise::Handover::delivered:
        // The switch changes nothing anyone sees at once, so say that it was done.
        if (line.request.detectPhoneLinks)
            dialwise::printText(*line.request.detectPhoneLinks
                                    ? QStringLiteral("dialwise: phone-link detection turned on in the running Dialwise\n")
                                    : QStringLiteral("dialwise: phone-link detection turned off in the running Dialwise\n"),
                                stderr);
        return 0;
    case dialwise::Handover::failed:
        return 1;
    case dialwise::Handover::noInstance:
    case dialwise::Handover::noBus:
        break;
    }
    // Nothing runs yet (or there is no bus to ask): this process becomes Dialwise. The GUI module
    // tells the user once when it has to run without a bus.
    return becomeDialwise(argc, argv, line.request);
}
