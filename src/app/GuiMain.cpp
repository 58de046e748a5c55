// The running Dialwise: the launcher loads this module only when no Dialwise answers on the
// session bus, so widgets and the web engine are paid for once, by the process that needs them.
#include "AppDelegate.h"
#include "BusNames.h"
#include "CallManager.h"
#include "FailureReport.h"
#include "GuiEntry.h"
#include "LinuxDesktopServices.h"
#include "PhoneLinkDetection.h"
#include "QSettingsStore.h"
#include "RequestForwarder.h"
#include "SessionBusClient.h"

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
    QString error;
    std::unique_ptr<dialwise::SessionBusClient> bus = dialwise::SessionBusClient::connect(&error);
    if (!bus) {
        dialwise::printFailure(error);
        return 1;
    }
    const dialwise::RequestForwarder::Result result = dialwise::RequestForwarder(*bus).forward(request);
    if (result.status == dialwise::RequestForwarder::Result::Status::failed) {
        if (dialwise::printFailure(result.error))
            bus->notify(QStringLiteral("Dialwise"), QStringLiteral("Dialwise"), result.error);
        return 1;
    }
    return 0;
}

} // namespace

extern "C" __attribute__((visibility("default"))) int dialwise_gui_main(int argc, char **argv,
                                                                        const dialwise::LaunchRequest *request)
{
    // Chromium will not start its sandbox as root; running Dialwise as root is the user's call.
    if (geteuid() == 0 && !qEnvironmentVariableIsSet("QTWEBENGINE_DISABLE_SANDBOX"))
        qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
    // Qt WebEngine needs contexts shared before the application object exists.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);

    // Only the program name reaches Qt: the launcher has already read the arguments, and a link
    // such as "-style=x" must never be taken for a Qt option.
    int qtArgc = 1;
    char *qtArgv[] = {argc > 0 ? argv[0] : const_cast<char *>("dialwise"), nullptr};
    QApplication app(qtArgc, qtArgv);
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setApplicationName(QStringLiteral("Dialwise"));
    QApplication::setApplicationVersion(QStringLiteral(DIALWISE_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral(DIALWISE_APP_ID));

    dialwise::CallManager::setSharedServices({std::make_shared<dialwise::QSettingsStore>(),
                                              std::make_shared<dialwise::LinuxDesktopServices>(),
                                              std::make_shared<dialwise::SystemClock>()});

    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        dialwise::printFailure(QStringLiteral("no D-Bus session bus; running alone, so links and other programs cannot reach "
                                  "this Dialwise"));
    } else if (!bus.registerService(QString::fromLatin1(dialwise::bus::kServiceName))) {
        return forwardToWinner(*request);
    }

    dialwise::AppDelegate delegate;
    if (const std::optional<QString> error = delegate.applicationDidFinishLaunching(*request)) {
        if (dialwise::printFailure(*error) && bus.isConnected())
            dialwise::postDesktopNotification(bus, QStringLiteral("Dialwise"), *error);
    }
    if (dialwise::phonelinks::wanted(*request, dialwise::QSettingsStore()))
        dialwise::phonelinks::start(dialwise::phonelinks::platform(dialwise::CallManager::shared()));
    return QApplication::exec();
}
