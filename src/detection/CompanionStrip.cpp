// The "Call with Dialwise" strip under a found popup: where it goes, how long it stays, and what
// its button does. The strip itself is drawn by the PanelView.
#include "detection/DataDetectorMonitor.h"

#include "calling/CallManager.h"
#include "detection/CompanionTitle.h"
#include "detection/DetectorText.h"
#include "detection/StripTiming.h"

#include <QPointer>

#include <chrono>
#include <cmath>

namespace dialwise {
namespace {

// The strip's top covers the popup's lower edge by this much, so that the two read as one.
constexpr double kStripOverlap = 8;
// The popup's window may be redrawn a few points off (shadow, animation) and is still the same.
constexpr double kSameFrameTolerance = 30;

} // namespace

void DataDetectorMonitor::showCompanionPanel(const QRectF &popupFrame, const QString &phoneNumber)
{
    dismissCompanionPanel();
    currentPhoneNumber = phoneNumber;
    lastPopupFrame = popupFrame;

    const std::optional<double> screenHeight = m_services.platform.screen->mainScreenHeight();
    if (!screenHeight)
        return;

    // The log writes the strip bottom-left-origin against the main screen; the strip's window
    // places itself from the popup's own frame, on whichever monitor holds it.
    const StripPlacement placement{popupFrame, strip::kHeight, kStripOverlap};
    const QRectF frame = placement.bottomLeftFrame(*screenHeight);
    log(QStringLiteral("  [Panel] Showing at NS frame ") + detectortext::frame(frame) + QStringLiteral(" (overlap ")
        + detectortext::number(kStripOverlap) + QStringLiteral("px) for phone '") + phoneNumber + u'\'');

    showStrip(placement, phoneNumber, &DataDetectorMonitor::isDDPopupStillVisible,
              QStringLiteral("  [Panel] DD popup dismissed, removing companion"));
}

void DataDetectorMonitor::showStrip(const StripPlacement &placement, const QString &phoneNumber,
                                    bool (DataDetectorMonitor::*stillThere)(), const QString &goneLine)
{
    companionPanel = m_services.platform.panelView->showPanel(placement, phoneNumber, [self = QPointer(this)] {
        if (self)
            self->companionItemClicked();
    });
    pollTimer = m_services.scheduler->runRepeating(strip::kPollInterval, this, [this, stillThere, goneLine] {
        if (!(this->*stillThere)()) {
            log(goneLine);
            dismissCompanionPanel();
        }
    });
    dismissTimer = m_services.scheduler->runOnce(strip::kDismissAfter, this, [this] { dismissCompanionPanel(); });
}

bool DataDetectorMonitor::isDDPopupStillVisible()
{
    const std::optional<QList<WindowInfo>> windows = m_services.platform.windowList->onScreenWindows();
    if (!windows)
        return false;
    // Any window of nearly the popup's frame will do: owners and numbers differ between desktops.
    for (const WindowInfo &window : *windows) {
        const QRectF &bounds = window.bounds;
        if (std::abs(bounds.x() - lastPopupFrame.x()) < kSameFrameTolerance
            && std::abs(bounds.y() - lastPopupFrame.y()) < kSameFrameTolerance
            && std::abs(bounds.width() - lastPopupFrame.width()) < kSameFrameTolerance
            && std::abs(bounds.height() - lastPopupFrame.height()) < kSameFrameTolerance)
            return true;
    }
    return false;
}

void DataDetectorMonitor::dismissCompanionPanel()
{
    // Timers stopped only after the strip is gone, and before their fields are cleared, so that
    // no tick ever reaches a closed strip.
    if (companionPanel) {
        std::unique_ptr<Panel> panel = std::move(companionPanel);
        panel->close();
    }
    m_shownTextNumber.reset();
    if (pollTimer) {
        pollTimer->cancel();
        pollTimer.reset();
    }
    if (dismissTimer) {
        dismissTimer->cancel();
        dismissTimer.reset();
    }
}

void DataDetectorMonitor::companionItemClicked()
{
    log(QStringLiteral("Companion clicked! Phone: ") + currentPhoneNumber);
    // Copied first: dismissing destroys the strip whose button is calling us.
    const QString number = currentPhoneNumber;
    dismissCompanionPanel();
    // The calling core belongs to the GUI thread. From a detector on a thread of its own the call
    // is queued there; on the calling core's own thread (tests, the replay) it is made at once.
    CallManager *callManager = &m_callManager;
    QMetaObject::invokeMethod(
        callManager,
        [callManager, number] {
            if (companiontitle::isCallable(number))
                callManager->call(number);
            else
                callManager->showDialDialog();
        },
        Qt::AutoConnection);
}

} // namespace dialwise
