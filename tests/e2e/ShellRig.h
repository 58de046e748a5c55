#pragma once

#include "tests/support/VoiceStandIn.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QList>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <sys/types.h>

namespace dialwise::testing {

// How long a request gets to reach the stand-in: generous, so that only a request that never
// comes fails; how fast it comes is the benchmarks' business (docs/benchmarks.md).
inline constexpr int kCallWaitMs = 10000;
// How long a start of Dialwise gets, the web engine's first page load included; as generous.
inline constexpr int kStartMs = 30000;

// Drives the real `dialwise` program on the private desktop tests/run-in-desktop provides: a
// primary instance that stays up, second launches that hand requests to it, and the stand-in web
// app in this process recording what the window loads.
//
// Everything that waits keeps this process's event loop turning: the stand-in and the D-Bus
// objects a test exports live on it.
class ShellRig final
{
public:
    struct Run
    {
        bool finished = false; // false: killed after the time-out
        int exitCode = -1;
        QByteArray out;
        QByteArray err;
    };

    ShellRig();
    ~ShellRig();

    // build/dialwise and tools/register-desktop-entry, as CMake passed them in.
    static QString program();
    static QString registerTool();

    bool startStandIn();
    VoiceStandIn &standIn() { return m_standIn; }
    // The environment every dialwise started here gets: this one plus DIALWISE_VOICE_URL.
    QProcessEnvironment environment() const;

    // Installs the desktop entry for build/dialwise into this desktop's XDG_DATA_HOME.
    bool registerDesktopEntry();
    // Programs the session bus starts get the bus's environment, not this one: the stand-in's
    // address goes there too, so that no Dialwise the bus starts ever reaches the real web app.
    ::testing::AssertionResult shareStandInWithBus();

    // Starts `dialwise args...` as the primary and waits until it owns its bus name (when
    // there is a bus) and the stand-in has seen the web app's page load.
    bool startPrimary(const QStringList &arguments = {}, int timeoutMs = 30000);
    bool primaryRunning() const;
    // What the primary wrote to stderr so far.
    QByteArray primaryErrors() const;
    // Asks it to quit over D-Bus, then waits; kills it when it does not go.
    void stopPrimary();
    // Asks whichever Dialwise owns the bus name to quit, as the tray's Quit does
    // (ActivateAction "quit"), and waits until the name is free. True when none ran or it went.
    static bool quitRunning(int timeoutMs = 10000);
    pid_t primaryPid() const { return m_primaryPid; }
    // Exit status once the primary ended: -1 while it runs.
    int primaryExitCode();

    // Runs `dialwise` with these exact argument bytes (any bytes but NUL) and waits.
    Run run(const QList<QByteArray> &arguments, int timeoutMs = 15000);
    Run run(const QStringList &arguments, int timeoutMs = 15000);

    // Starts any program with the same environment without waiting; stdout and stderr go to
    // files in the rig's scratch folder. -1 when it could not be started.
    pid_t startProcess(const QList<QByteArray> &argv);
    // Waits for a process from startProcess(); its exit status, or -1 after the time-out.
    static int waitProcess(pid_t pid, int timeoutMs);

    // Any other program, with the same environment.
    Run runTool(const QString &tool, const QStringList &arguments, int timeoutMs = 15000);

    // `dialwise arguments...` handed to the running Dialwise: the launcher exits 0 and the web
    // app is asked for the new-call address of `digits` (country code first, no "+").
    ::testing::AssertionResult requestDials(const QStringList &arguments, const QString &digits, int timeoutMs = kCallWaitMs);
    // The same for `dialwise --call-text "call 303 555 <lastFour>"`.
    ::testing::AssertionResult callTextDials(const QString &lastFour, int timeoutMs = kCallWaitMs);

    // X11 windows titled exactly "Dialwise" that are viewable.
    QStringList visibleWindows();
    // Closes every one of them (a close only hides Dialwise's web window); with a wait, true
    // once none is viewable any more.
    bool closeVisibleWindows(int waitMs = 0);
    bool waitForVisibleWindow(int timeoutMs);
    // Closes the window the way a window manager's close button does (WM_DELETE_WINDOW), so
    // that the program's own close handling runs.
    bool closeWindow(const QString &windowId);

    // Viewable top-level X11 windows (ids) titled exactly `title`, straight from the X server:
    // cheap enough to poll every few milliseconds while timing a start.
    static QList<unsigned long> viewableWindowsTitled(const QString &title);
    // Viewable top-level windows whatever their title.
    static QList<unsigned long> viewableWindows();

    static bool nameOwned();
    // Dialwise's log file in this desktop's XDG_STATE_HOME, and what it holds so far.
    static QString logPath();
    static QString logText();
    // Runs the event loop until the predicate holds or the time is up.
    static bool waitUntil(const std::function<bool()> &condition, int timeoutMs);
    static void pump(int milliseconds);

    // "/u/0/calls?a=nc,%2B<digits>" requests seen from `fromIndex` on.
    QStringList newCallTargets(int fromIndex = 0) const;
    static QString newCallPrefix();

private:
    pid_t spawn(const QList<QByteArray> &argv, const QString &outPath, const QString &errPath);
    Run waitFor(pid_t pid, int timeoutMs, const QString &outPath, const QString &errPath);

    VoiceStandIn m_standIn;
    pid_t m_primaryPid = -1;
    int m_primaryStatus = -1;
    QString m_scratch;
    int m_runs = 0;
};

} // namespace dialwise::testing
