// The running Dialwise: the launcher loads this module only when no Dialwise answers on the
// session bus, so widgets and the web engine are paid for once, by the process that needs them.
#include "app/AppDelegate.h"
#include "app/BusNames.h"
#include "app/FailureReport.h"
#include "app/GuiEntry.h"
#include "app/PhoneLinkDetection.h"
#include "app/QuietStart.h"
#include "app/RendererSetup.h"
#include "app/RequestForwarder.h"
#include "calling/CallManager.h"
#include "calling/QSettingsStore.h"
#include "calling/QtScheduler.h"
#include "calling/VoiceAddress.h"
#include "platform/linux/BusConnectionGuard.h"
#include "platform/linux/LinuxDesktopServices.h"
#include "webcall/DialDialog.h"
#include "webcall/VoiceProfile.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>

#include <memory>
#include <unistd.h>

namespace {

// Lost a start-up race: another Dialwise took the name between the launcher's question and
// ours. The request goes to it the same way the launcher would have sent it.
int forwardToWinner(const dialwise::LaunchRequest &request)
{
    QString busError;
    switch (dialwise::forwardAndReport(request, &busError)) {
    case dialwise::Handover::delivered:
    case dialwise::Handover::noInstance: // the winner is gone again; nothing is left to do
        return 0;
    case dialwise::Handover::failed:
        return 1;
    case dialwise::Handover::noBus:
        break;
    }
    dialwise::printFailure(busError);
    return 1;
}

// The bus frees every name of a connection that is gone. When the bus itself is gone the
// session has ended (logging out takes it down first): Dialwise ends with it, as it would from
// its menu, rather than linger in a session nobody can reach. A bus that still runs and only
// dropped this connection leaves Dialwise running alone.
void reportLostBus(dialwise::BusConnectionGuard::Loss loss)
{
    if (loss == dialwise::BusConnectionGuard::Loss::busGone) {
        dialwise::printText(QStringLiteral("dialwise: the D-Bus session bus has gone away (the session ended); quitting\n"),
                            stderr);
        QCoreApplication::quit();
        return;
    }
    dialwise::printFailure(QStringLiteral("lost the D-Bus session bus: the name " DIALWISE_APP_ID
                                          " is released, links and other programs can no longer reach this Dialwise"));
}

} // namespace

extern "C" __attribute__((visibility("default"))) int dialwise_gui_main(int argc, char **argv,
                                                                        const dialwise::LaunchRequest *request)
{
    // First, so that every line of the start goes through it.
    dialwise::quietstart::install();
    // Chromium will not start its sandbox as root; running Dialwise as root is the user's call.
    if (geteuid() == 0 && !qEnvironmentVariableIsSet("QTWEBENGINE_DISABLE_SANDBOX"))
        qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
    // Qt WebEngine needs contexts shared before the application object exists.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    // Software or OpenGL drawing: decided now, as Qt reads it only while starting.
    dialwise::RendererSetup renderer = dialwise::RendererSetup::beforeApplication();
    dialwise::keepHiddenPagesAwake();

    // Only the program name reaches Qt: the launcher has already read the arguments, and a link
    // such as "-style=x" must never be taken for a Qt option.
    int qtArgc = 1;
    char *qtArgv[] = {argc > 0 ? argv[0] : const_cast<char *>("dialwise"), nullptr};
    QApplication app(qtArgc, qtArgv);
    renderer.applicationCreated();
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setApplicationName(QStringLiteral("Dialwise"));
    QApplication::setApplicationVersion(QStringLiteral(DIALWISE_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral(DIALWISE_APP_ID));

    // The one construction site: everything below gets these by reference.
    auto runDialDialog = []() -> std::optional<QString> {
        dialwise::DialDialog dialog;
        return dialog.ask();
    };
    // One settings store for the whole run: opening the file is where a hostile one (a FIFO) is
    // noticed and reported, and that should happen once.
    const auto settings = std::make_shared<dialwise::QSettingsStore>();
    dialwise::CallManager callManager({settings,
                                       std::make_shared<dialwise::LinuxDesktopServices>(runDialDialog),
                                       std::make_shared<dialwise::SystemClock>(), dialwise::voice::baseUrlFromEnvironment()});
    dialwise::CallManager::setShared(callManager);
    dialwise::QtScheduler scheduler;

    QDBusConnection bus = QDBusConnection::sessionBus();
    // Set up before the name is taken, so that no request meets the connection unprepared.
    std::unique_ptr<dialwise::BusConnectionGuard> busGuard;
    if (bus.isConnected())
        busGuard = std::make_unique<dialwise::BusConnectionGuard>(bus, reportLostBus);
    if (!bus.isConnected()) {
        dialwise::printFailure(QStringLiteral("no D-Bus session bus; running alone, so links and other programs cannot reach "
                                  "this Dialwise"));
    } else if (!bus.registerService(QString::fromLatin1(dialwise::bus::kServiceName))) {
        return forwardToWinner(*request);
    }

    dialwise::AppDelegate delegate(callManager, scheduler);
    auto reportStartFailure = [&bus](dialwise::RequestFailure failure) {
        const QString error = dialwise::failureMessage(failure);
        if (dialwise::printFailure(error) && bus.isConnected())
            dialwise::postDesktopNotification(bus, QStringLiteral("Dialwise"), error);
    };
    QObject::connect(&delegate, &dialwise::AppDelegate::startRequestFailed, &delegate, reportStartFailure);
    if (const std::optional<dialwise::RequestFailure> failure = delegate.applicationDidFinishLaunching(*request))
        reportStartFailure(*failure);
    if (dialwise::phonelinks::wanted(*request, *settings))
        dialwise::phonelinks::start(dialwise::phonelinks::platform(callManager));
    return QApplication::exec();
}
