#include "PhoneLinkDetection.h"

#include "CallManager.h"
#include "CompanionPanel.h"
#include "DataDetectorMonitor.h"
#include "LibPhoneNumberFinder.h"
#include "QtScheduler.h"
#include "SettingsStore.h"

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
    platform.panelView = std::make_shared<CompanionPanelView>(callManager);
    // The element tree, window list, screen and click source come with the X11 and AT-SPI
    // backends; until then this desktop has none.
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
    services.scheduler = std::make_shared<QtScheduler>();
    DataDetectorMonitor::setSharedServices(std::move(services));
    DataDetectorMonitor::shared().startMonitoring();
    return true;
}

} // namespace dialwise::phonelinks
