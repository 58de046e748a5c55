#include "tests/e2e/ShellRig.h"

#include "app/BusNames.h"
#include "calling/VoiceAddress.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDeadlineTimer>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QThread>
#include <QTimer>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace dialwise::testing {

ShellRig::ShellRig()
{
    m_scratch = QDir::tempPath() + QStringLiteral("/dialwise-e2e-%1").arg(getpid());
    QDir().mkpath(m_scratch);
}

ShellRig::~ShellRig()
{
    stopPrimary();
    QDir(m_scratch).removeRecursively();
}

QString ShellRig::program()
{
    return qEnvironmentVariable("DIALWISE_E2E_PROGRAM");
}

QString ShellRig::registerTool()
{
    return qEnvironmentVariable("DIALWISE_E2E_REGISTER");
}

bool ShellRig::startStandIn()
{
    return m_standIn.start();
}

QProcessEnvironment ShellRig::environment() const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QString::fromLatin1(voice::kBaseUrlVariable), m_standIn.baseUrl().toString());
    return env;
}

bool ShellRig::registerDesktopEntry()
{
    const Run result = runTool(registerTool(), {program()});
    return result.finished && result.exitCode == 0;
}

::testing::AssertionResult ShellRig::shareStandInWithBus()
{
    qDBusRegisterMetaType<QMap<QString, QString>>();
    QDBusMessage update = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                                         QStringLiteral("org.freedesktop.DBus"),
                                                         QStringLiteral("UpdateActivationEnvironment"));
    update << QVariant::fromValue(
        QMap<QString, QString>{{QString::fromLatin1(voice::kBaseUrlVariable), m_standIn.baseUrl().toString()}});
    const QDBusMessage reply = QDBusConnection::sessionBus().call(update);
    if (reply.type() != QDBusMessage::ReplyMessage)
        return ::testing::AssertionFailure() << reply.errorMessage().toStdString();
    return ::testing::AssertionSuccess();
}

bool ShellRig::startPrimary(const QStringList &arguments, int timeoutMs)
{
    QList<QByteArray> argv{program().toLocal8Bit()};
    for (const QString &argument : arguments)
        argv.append(argument.toLocal8Bit());
    const int before = int(m_standIn.requestLines().size());
    m_primaryStatus = -1;
    m_primaryPid = spawn(argv, m_scratch + QStringLiteral("/primary.out"), m_scratch + QStringLiteral("/primary.err"));
    if (m_primaryPid <= 0)
        return false;
    const bool hasBus = QDBusConnection::sessionBus().isConnected();
    const bool up = waitUntil([&] { return !hasBus || nameOwned(); }, timeoutMs)
        // Any load of the web app counts: a start that carries a link replaces the first page
        // load with the new-call address before the first request may have gone out.
        && m_standIn.waitForTarget([](const QString &target) { return target.startsWith(QLatin1String(voice::kCallsPath)); },
                                   timeoutMs, before);
    return up && primaryRunning();
}

QByteArray ShellRig::primaryErrors() const
{
    QFile err(m_scratch + QStringLiteral("/primary.err"));
    return err.open(QIODevice::ReadOnly) ? err.readAll() : QByteArray();
}

bool ShellRig::primaryRunning() const
{
    return m_primaryPid > 0 && const_cast<ShellRig *>(this)->primaryExitCode() == -1;
}

int ShellRig::primaryExitCode()
{
    if (m_primaryPid <= 0)
        return m_primaryStatus;
    int status = 0;
    if (waitpid(m_primaryPid, &status, WNOHANG) == m_primaryPid) {
        m_primaryStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        m_primaryPid = -1;
    }
    return m_primaryStatus;
}

void ShellRig::stopPrimary()
{
    if (m_primaryPid <= 0)
        return;
    if (QDBusConnection::sessionBus().isConnected()) {
        quitRunning();
    } else {
        // Without a bus nothing can ask it politely.
        kill(m_primaryPid, SIGTERM);
    }
    if (!waitUntil([this] { return primaryExitCode() != -1; }, 10000)) {
        kill(m_primaryPid, SIGKILL);
        waitUntil([this] { return primaryExitCode() != -1; }, 5000);
    }
    // The name goes with the process; the next test's primary must not see the old owner.
    waitUntil([] { return !QDBusConnection::sessionBus().isConnected() || !nameOwned(); }, 5000);
}

bool ShellRig::quitRunning(int timeoutMs)
{
    if (!QDBusConnection::sessionBus().isConnected() || !nameOwned())
        return true;
    QDBusMessage quit = QDBusMessage::createMethodCall(QString::fromLatin1(bus::kServiceName),
                                                       QString::fromLatin1(bus::kObjectPath),
                                                       QString::fromLatin1(bus::kApplicationInterface),
                                                       QStringLiteral("ActivateAction"));
    quit << QStringLiteral("quit") << QVariantList() << QVariantMap();
    QDBusConnection::sessionBus().call(quit, QDBus::Block, 5000);
    return waitUntil([] { return !nameOwned(); }, timeoutMs);
}

pid_t ShellRig::spawn(const QList<QByteArray> &argv, const QString &outPath, const QString &errPath)
{
    std::vector<char *> args;
    for (const QByteArray &argument : argv)
        args.push_back(const_cast<char *>(argument.constData()));
    args.push_back(nullptr);

    const QStringList envList = environment().toStringList();
    QList<QByteArray> envBytes;
    for (const QString &entry : envList)
        envBytes.append(entry.toLocal8Bit());
    std::vector<char *> envp;
    for (const QByteArray &entry : envBytes)
        envp.push_back(const_cast<char *>(entry.constData()));
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    const QByteArray out = outPath.toLocal8Bit();
    const QByteArray err = errPath.toLocal8Bit();
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = -1;
    const int rc = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    return rc == 0 ? pid : -1;
}

ShellRig::Run ShellRig::waitFor(pid_t pid, int timeoutMs, const QString &outPath, const QString &errPath)
{
    Run result;
    if (pid <= 0)
        return result;
    int status = 0;
    result.finished = waitUntil([&] { return waitpid(pid, &status, WNOHANG) == pid; }, timeoutMs);
    if (!result.finished) {
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
    } else {
        result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    QFile out(outPath);
    if (out.open(QIODevice::ReadOnly))
        result.out = out.readAll();
    QFile err(errPath);
    if (err.open(QIODevice::ReadOnly))
        result.err = err.readAll();
    return result;
}

ShellRig::Run ShellRig::run(const QList<QByteArray> &arguments, int timeoutMs)
{
    QList<QByteArray> argv{program().toLocal8Bit()};
    argv.append(arguments);
    const QString base = m_scratch + QStringLiteral("/run%1").arg(++m_runs);
    const pid_t pid = spawn(argv, base + QStringLiteral(".out"), base + QStringLiteral(".err"));
    return waitFor(pid, timeoutMs, base + QStringLiteral(".out"), base + QStringLiteral(".err"));
}

ShellRig::Run ShellRig::run(const QStringList &arguments, int timeoutMs)
{
    QList<QByteArray> bytes;
    for (const QString &argument : arguments)
        bytes.append(argument.toLocal8Bit());
    return run(bytes, timeoutMs);
}

ShellRig::Run ShellRig::runTool(const QString &tool, const QStringList &arguments, int timeoutMs)
{
    QList<QByteArray> argv{tool.toLocal8Bit()};
    for (const QString &argument : arguments)
        argv.append(argument.toLocal8Bit());
    const QString base = m_scratch + QStringLiteral("/tool%1").arg(++m_runs);
    const pid_t pid = spawn(argv, base + QStringLiteral(".out"), base + QStringLiteral(".err"));
    return waitFor(pid, timeoutMs, base + QStringLiteral(".out"), base + QStringLiteral(".err"));
}

pid_t ShellRig::startProcess(const QList<QByteArray> &argv)
{
    const QString base = m_scratch + QStringLiteral("/process%1").arg(++m_runs);
    return spawn(argv, base + QStringLiteral(".out"), base + QStringLiteral(".err"));
}

int ShellRig::waitProcess(pid_t pid, int timeoutMs)
{
    int status = 0;
    if (pid <= 0 || !waitUntil([&] { return waitpid(pid, &status, WNOHANG) == pid; }, timeoutMs))
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

::testing::AssertionResult ShellRig::callTextDials(const QString &lastFour, int timeoutMs)
{
    return requestDials({QStringLiteral("--call-text"), QStringLiteral("call 303 555 ") + lastFour},
                        QStringLiteral("1303555") + lastFour, timeoutMs);
}

::testing::AssertionResult ShellRig::requestDials(const QStringList &arguments, const QString &digits, int timeoutMs)
{
    const QString target = newCallPrefix() + digits;
    const int from = int(m_standIn.requestLines().size());
    const Run launcher = run(arguments, timeoutMs);
    if (!launcher.finished || launcher.exitCode != 0)
        return ::testing::AssertionFailure() << "the launcher exited " << launcher.exitCode << ": " << launcher.err.toStdString();
    if (!m_standIn.waitForTarget(target, timeoutMs, from))
        return ::testing::AssertionFailure() << "no request for " << target.toStdString() << " within " << timeoutMs
                                             << " ms; seen: " << m_standIn.requestTargets().mid(from).join(u' ').toStdString();
    return ::testing::AssertionSuccess();
}

QStringList ShellRig::visibleWindows()
{
    const Run result = runTool(QStringLiteral("xdotool"),
                               {QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"),
                                QStringLiteral("^Dialwise$")},
                               5000);
    return QString::fromLocal8Bit(result.out).split(u'\n', Qt::SkipEmptyParts);
}

bool ShellRig::waitForVisibleWindow(int timeoutMs)
{
    return waitUntil([this] { return !visibleWindows().isEmpty(); }, timeoutMs);
}

bool ShellRig::closeVisibleWindows(int waitMs)
{
    for (const QString &window : visibleWindows())
        closeWindow(window);
    return waitMs <= 0 || waitUntil([] { return viewableWindowsTitled(QStringLiteral("Dialwise")).isEmpty(); }, waitMs);
}

bool ShellRig::closeWindow(const QString &windowId)
{
    // xdotool 3.20160805 has no windowclose, and windowkill would kill the client; so the
    // WM_DELETE_WINDOW message a window manager sends for its close button is sent from here.
    Display *display = XOpenDisplay(nullptr);
    if (!display)
        return false;
    bool ok = false;
    const Window window = Window(windowId.toULong(&ok));
    if (ok) {
        XEvent event{};
        event.xclient.type = ClientMessage;
        event.xclient.window = window;
        event.xclient.message_type = XInternAtom(display, "WM_PROTOCOLS", False);
        event.xclient.format = 32;
        event.xclient.data.l[0] = long(XInternAtom(display, "WM_DELETE_WINDOW", False));
        event.xclient.data.l[1] = CurrentTime;
        ok = XSendEvent(display, window, False, NoEventMask, &event) != 0;
        XFlush(display);
    }
    XCloseDisplay(display);
    return ok;
}

namespace {

// Top-level windows: children of the root, or the client windows one level below them when a
// window manager reparents.
// Windows come and go while they are looked at; a window gone between two requests is simply
// not listed, instead of Xlib's default handler ending the process.
int ignoreXErrors(Display *, XErrorEvent *)
{
    return 0;
}

QList<unsigned long> viewableTopLevels(const std::function<bool(Display *, Window)> &accept)
{
    QList<unsigned long> result;
    XSetErrorHandler(ignoreXErrors);
    Display *display = XOpenDisplay(nullptr);
    if (!display)
        return result;
    Window root = 0;
    Window parent = 0;
    Window *children = nullptr;
    unsigned int count = 0;
    if (XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count)) {
        for (unsigned int i = 0; i < count; ++i) {
            XWindowAttributes attributes;
            if (XGetWindowAttributes(display, children[i], &attributes) && attributes.map_state == IsViewable
                && accept(display, children[i]))
                result.append(children[i]);
        }
        if (children)
            XFree(children);
    }
    XCloseDisplay(display);
    return result;
}

QString windowTitle(Display *display, Window window)
{
    XTextProperty property;
    QString title;
    if (XGetWMName(display, window, &property) && property.value) {
        title = QString::fromUtf8(reinterpret_cast<const char *>(property.value), int(property.nitems));
        XFree(property.value);
    }
    return title;
}

} // namespace

QList<unsigned long> ShellRig::viewableWindowsTitled(const QString &title)
{
    return viewableTopLevels([&](Display *display, Window window) { return windowTitle(display, window) == title; });
}

QList<unsigned long> ShellRig::viewableWindows()
{
    return viewableTopLevels([](Display *, Window) { return true; });
}

bool ShellRig::nameOwned()
{
    QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
    return bus && bus->isServiceRegistered(QString::fromLatin1(bus::kServiceName)).value();
}

QString ShellRig::logPath()
{
    return qEnvironmentVariable("XDG_STATE_HOME") + QStringLiteral("/Dialwise/Dialwise.log");
}

QString ShellRig::logText()
{
    QFile log(logPath());
    return log.open(QIODevice::ReadOnly) ? QString::fromUtf8(log.readAll()) : QString();
}

bool ShellRig::waitUntil(const std::function<bool()> &condition, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        if (condition())
            return true;
        if (deadline.hasExpired())
            return false;
        pump(5);
    }
}

void ShellRig::pump(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

QString ShellRig::newCallPrefix()
{
    return QString::fromLatin1(voice::kNewCallPathAndQuery);
}

QStringList ShellRig::newCallTargets(int fromIndex) const
{
    QStringList result;
    const QStringList targets = m_standIn.requestTargets();
    for (int i = fromIndex; i < targets.size(); ++i) {
        if (targets[i].startsWith(newCallPrefix()))
            result.append(targets[i]);
    }
    return result;
}

} // namespace dialwise::testing
