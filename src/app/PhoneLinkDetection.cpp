#include "PhoneLinkDetection.h"

#include "CallManager.h"
#include "CompanionPanel.h"
#include "DataDetectorMonitor.h"
#include "LibPhoneNumberFinder.h"
#include "LinuxDetectionBackends.h"
#include "QtScheduler.h"
#include "SettingsStore.h"
#include "TextNumberFinder.h"
#include "X11WindowPlacement.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcPhoneLinks, "dialwise.phonelinks")

namespace dialwise::phonelinks {

bool wanted(const LaunchRequest &request, const SettingsStore &settings)
{
    if (request.detectPhoneLinks)
        return true;
    // QSettings reads a hand-written "true" back as text; "1" is what some editors write.
    const std::optional<QString> value = settings.stringValue(QString::fromLatin1(kSettingKey));
    return value && (value->compare(u"true", Qt::CaseInsensitive) == 0 || *value == u"1");
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
    DataDetectorMonitor::Services services;
    services.platform = std::move(platform);
    services.phoneFinder = std::make_shared<LibPhoneNumberFinder>();
    // Linux has no recogniser of its own that opens a popup for a clicked number: Dialwise reads
    // the number under the click itself.
    services.textNumberFinder = std::make_shared<const TextNumberFinder>();
    services.scheduler = std::make_shared<QtScheduler>();
    const std::shared_ptr<ElementTree> elementTree = services.platform.elementTree;
    const std::shared_ptr<ClickSource> clickSource = services.platform.clickSource;
    DataDetectorMonitor::setSharedServices(std::move(services));
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
    return true;
}

} // namespace dialwise::phonelinks
