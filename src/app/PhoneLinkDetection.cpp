#include "app/PhoneLinkDetection.h"

#include "app/QueuedPanelView.h"
#include "calling/CallManager.h"
#include "calling/QtScheduler.h"
#include "calling/SettingValues.h"
#include "calling/SettingsStore.h"
#include "detection/DataDetectorMonitor.h"
#include "detection/LibPhoneNumberFinder.h"
#include "detection/TextNumberFinder.h"
#include "detection/ui/CompanionPanel.h"
#include "platform/linux/LinuxDetectionBackends.h"
#include "platform/linux/X11WindowPlacement.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QLoggingCategory>
#include <QThread>

Q_LOGGING_CATEGORY(lcPhoneLinks, "dialwise.phonelinks")

namespace dialwise::phonelinks {
namespace {

// A scan waits at most a few AT-SPI time-outs for a frozen program; quitting Dialwise waits no
// longer than that for the scan under way.
constexpr int kStopWaitMs = 3000;

// The detector's thread and the two objects the strip's queued calls go through. Made on the GUI
// thread at the first start and, like the monitor, never destroyed; stopped when Dialwise quits.
class DetectorThread final
{
public:
    static DetectorThread &instance()
    {
        static DetectorThread *const thread = new DetectorThread;
        return *thread;
    }

    QObject *detectorContext() { return &m_detectorContext; }
    QObject *guiContext() { return &m_guiContext; }

    void post(std::function<void()> work)
    {
        QMetaObject::invokeMethod(&m_detectorContext, std::move(work), Qt::QueuedConnection);
    }

    void waitForPending()
    {
        if (!m_thread.isRunning() || QThread::currentThread() == &m_thread)
            return;
        QMetaObject::invokeMethod(&m_detectorContext, [] {}, Qt::BlockingQueuedConnection);
    }

    // Also whatever the platform made on the GUI thread that lives in an event loop (the X11
    // click source's socket notifier) must live on the thread that uses it.
    void adopt(QObject *object)
    {
        if (object && object->thread() == QThread::currentThread())
            object->moveToThread(&m_thread);
    }

private:
    DetectorThread()
    {
        m_thread.setObjectName(QStringLiteral("dialwise-detector"));
        m_detectorContext.moveToThread(&m_thread);
        m_thread.start();
        if (QCoreApplication *app = QCoreApplication::instance())
            QObject::connect(app, &QCoreApplication::aboutToQuit, &m_guiContext, [] { instance().stop(); });
        // Tests without an event loop end with their application object.
        qAddPostRoutine([] { instance().stop(); });
    }

    void stop()
    {
        m_thread.quit();
        m_thread.wait(QDeadlineTimer(kStopWaitMs));
    }

    QThread m_thread;
    QObject m_detectorContext;
    QObject m_guiContext;
};

// Whether start() has handed a monitor to the detector's thread; read and written on the GUI
// thread only.
bool &started()
{
    static bool value = false;
    return value;
}

} // namespace

bool wanted(const LaunchRequest &request, const SettingsStore &settings)
{
    if (request.detectPhoneLinks)
        return *request.detectPhoneLinks;
    return settings::booleanValue(settings, QString::fromLatin1(kSettingKey), false);
}

DetectorPlatform platform(const CallManager &callManager)
{
    DetectorPlatform platform;
    platform.panelView = std::make_shared<CompanionPanelView>(callManager, &placeInDevicePixels);
    // X11 and AT-SPI 2. Without an X server (Wayland without XWayland) they are still made: the
    // click source then fails to install and start() says why, and the rest of Dialwise runs.
    LinuxDetectionBackends backends = LinuxDetectionBackends::create();
    platform.elementTree = backends.elementTree;
    platform.windowList = backends.windowList;
    platform.screen = backends.screen;
    platform.clickSource = backends.clickSource;
    return platform;
}

bool start(DetectorPlatform platform)
{
    if (!platform.isComplete()) {
        qCWarning(lcPhoneLinks) << "phone-link click detection is unavailable: this build has no accessibility, "
                                   "window-list and click backends for this desktop";
        return false;
    }
    DetectorThread &thread = DetectorThread::instance();
    // The strip is made on this (the GUI) thread; everything else is asked on the detector's.
    platform.panelView = std::make_shared<QueuedPanelView>(std::move(platform.panelView), thread.guiContext(),
                                                           thread.detectorContext());
    thread.adopt(dynamic_cast<QObject *>(platform.elementTree.get()));
    thread.adopt(dynamic_cast<QObject *>(platform.windowList.get()));
    thread.adopt(dynamic_cast<QObject *>(platform.screen.get()));
    thread.adopt(dynamic_cast<QObject *>(platform.clickSource.get()));

    DataDetectorMonitor::Services services;
    services.platform = std::move(platform);
    services.phoneFinder = std::make_shared<LibPhoneNumberFinder>();
    // Linux has no recogniser of its own that opens a popup for a clicked number: Dialwise reads
    // the number under the click itself.
    services.textNumberFinder = std::make_shared<const TextNumberFinder>();
    // Its timers are made by the monitor, on the detector's thread, and run there.
    services.scheduler = std::make_shared<QtScheduler>();
    const std::shared_ptr<ElementTree> elementTree = services.platform.elementTree;
    const std::shared_ptr<ClickSource> clickSource = services.platform.clickSource;
    DataDetectorMonitor::setSharedServices(std::move(services));
    started() = true;
    thread.post([elementTree, clickSource] {
        // Made here, so the monitor, its timers and its click listener belong to this thread.
        DataDetectorMonitor &monitor = DataDetectorMonitor::shared();
        monitor.startMonitoring();
        // The warning lines above name another desktop's settings; this is how it is done here.
        if (!elementTree->isProcessTrusted(false))
            monitor.log(QStringLiteral("On Linux: turn on assistive technologies in your desktop's accessibility "
                                       "settings (GNOME: gsettings set org.gnome.desktop.interface "
                                       "toolkit-accessibility true), make sure at-spi2-core is installed, then "
                                       "restart the programs whose phone links you click"));
        if (!monitor.globalClickMonitor) {
            monitor.log(!clickSource->unavailableReason().isEmpty()
                            ? clickSource->unavailableReason()
                            : QStringLiteral("Click detection needs an X11 session; no clicks will be seen"));
        }
    });
    return true;
}

void turn(bool on, const std::function<DetectorPlatform()> &makePlatform)
{
    if (!started()) {
        if (on)
            start(makePlatform());
        return;
    }
    DetectorThread::instance().post([on] {
        DataDetectorMonitor &monitor = DataDetectorMonitor::shared();
        if (on)
            monitor.startMonitoring(); // nothing when it already monitors
        else if (monitor.isMonitoring)
            monitor.stopMonitoring();
    });
}

void waitForDetectorThread()
{
    if (started())
        DetectorThread::instance().waitForPending();
}

} // namespace dialwise::phonelinks
