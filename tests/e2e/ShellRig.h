#pragma once

#include "tests/support/VoiceStandIn.h"

#include <QByteArray>
#include <QList>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <sys/types.h>

namespace dialwise::testing {

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

    // Starts `dialwise args...` as the primary and waits until it owns its bus name (when
    // there is a bus) and the stand-in has seen the web app's page load.
    bool startPrimary(const QStringList &arguments = {}, int timeoutMs = 30000);
    bool primaryRunning() const;
    // What the primary wrote to stderr so far.
    QByteArray primaryErrors() const;
    // Asks it to quit over D-Bus, then waits; kills it when it does not go.
    void stopPrimary();
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

    // X11 windows titled exactly "Dialwise" that are viewable.
    QStringList visibleWindows();
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
