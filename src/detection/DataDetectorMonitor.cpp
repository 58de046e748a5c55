// The monitor's lifecycle, its log, the click handler and the scan driver with the two
// window-based strategies. The tree search, the click-position scan and the strip have files of
// their own beside this one.
#include "detection/DataDetectorMonitor.h"

#include "calling/CallManager.h"
#include "detection/DetectorText.h"

#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QStandardPaths>
#include <QVariant>

#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>

namespace dialwise {
namespace {

using namespace std::chrono_literals;

// The popup appears some time after the click, depending on how busy the other program is; four
// looks spread over 1.5 s catch it early when it is quick without giving up when it is slow.
constexpr std::chrono::milliseconds kScanAttemptDelays[] = {300ms, 600ms, 1000ms, 1500ms};
// The attempt that, finding nothing, reports the click as unanswered.
constexpr qint64 kLastScanAttempt = 4;

QString timeOfDay(const QDateTime &now)
{
    // Medium time style in the user's locale: the time of day with seconds, as the desktop
    // writes it. Made once; the detector logs from one thread only.
    static const std::unique_ptr<icu::DateFormat> format(
        icu::DateFormat::createTimeInstance(icu::DateFormat::kMedium, icu::Locale::getDefault()));
    if (!format)
        return now.time().toString(QStringLiteral("HH:mm:ss"));
    icu::UnicodeString text;
    format->format(static_cast<UDate>(now.toMSecsSinceEpoch()), text);
    return QString(reinterpret_cast<const QChar *>(text.getBuffer()), text.length());
}

} // namespace

// --- The shared instance -----------------------------------------------------------------------

namespace {

DataDetectorMonitor::Services &pendingSharedServices()
{
    static DataDetectorMonitor::Services services;
    return services;
}

bool &sharedMade()
{
    static bool made = false;
    return made;
}

} // namespace

QString DataDetectorMonitor::defaultLogFilePath()
{
    // $XDG_STATE_HOME, or ~/.local/state when unset: a diagnostic log is state, not configuration.
    QString stateHome = qEnvironmentVariable("XDG_STATE_HOME");
    if (stateHome.isEmpty() || !QDir::isAbsolutePath(stateHome))
        stateHome = QDir::homePath() + QStringLiteral("/.local/state");
    return stateHome + QStringLiteral("/Dialwise/Dialwise.log");
}

DataDetectorMonitor &DataDetectorMonitor::shared()
{
    // Function-local static: made once, thread-safe, deliberately never destroyed.
    static DataDetectorMonitor *const instance = [] {
        sharedMade() = true;
        Services services = std::move(pendingSharedServices());
        if (services.logFilePath.isEmpty())
            services.logFilePath = defaultLogFilePath();
        return new DataDetectorMonitor(std::move(services), CallManager::shared());
    }();
    return *instance;
}

void DataDetectorMonitor::setSharedServices(Services services)
{
    pendingSharedServices() = std::move(services);
}

bool DataDetectorMonitor::sharedExists()
{
    return sharedMade();
}

DataDetectorMonitor::DataDetectorMonitor(Services services, CallManager &callManager, QObject *parent)
    : QObject(parent)
    , m_services(std::move(services))
    , m_callManager(callManager)
{
    if (!m_services.clock)
        m_services.clock = std::make_shared<SystemClock>();
    if (!m_services.logFilePath.isEmpty()) {
        QDir().mkpath(QFileInfo(m_services.logFilePath).absolutePath());
        // Emptied on every start on purpose: the log tells about this run only.
        auto file = std::make_unique<QFile>(m_services.logFilePath);
        if (file->open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
            logFile = std::move(file);
    }
    log(QStringLiteral("=== Dialwise DataDetectorMonitor initialized ==="));
}

DataDetectorMonitor::~DataDetectorMonitor()
{
    // The log first, as nothing below writes to it any more.
    if (logFile)
        logFile->close();
    logFile.reset();
    if (companionPanel)
        companionPanel->close();
}

// --- Log ---------------------------------------------------------------------------------------

void DataDetectorMonitor::log(const QString &message)
{
    if (logFile) {
        const QString line = u'[' + timeOfDay(m_services.clock->now()) + QStringLiteral("] ") + message + u'\n';
        logFile->write(line.toUtf8());
    }
    if (m_services.logToStandardError) {
        const QByteArray line = (QStringLiteral("Dialwise: ") + message + u'\n').toUtf8();
        std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
    }
    if (m_services.logObserver)
        m_services.logObserver(message);
}

bool DataDetectorMonitor::checkAccessibilityPermission()
{
    return m_services.platform.elementTree->isProcessTrusted(true);
}

// --- Start, stop and the click handler ---------------------------------------------------------

void DataDetectorMonitor::startMonitoring()
{
    if (isMonitoring)
        return;
    isMonitoring = true;

    const bool trusted = checkAccessibilityPermission();
    log(QStringLiteral("Accessibility permission: ") + (trusted ? QStringLiteral("GRANTED") : QStringLiteral("NOT GRANTED")));
    if (!trusted) {
        // Scans run all the same and simply find nothing; the user may grant access later.
        log(QStringLiteral("WARNING: Without Accessibility, DD popup detection will not work!"));
        log(QStringLiteral("Go to System Settings \u2192 Privacy & Security \u2192 Accessibility \u2192 Enable Dialwise"));
    }

    snapshotWindowIDs();

    globalClickMonitor = m_services.platform.clickSource->addLeftMouseDownListener([self = QPointer(this)] {
        if (self)
            self->handleClick();
    });
    log(QStringLiteral("Global click monitor installed. Monitoring active."));
}

void DataDetectorMonitor::stopMonitoring()
{
    if (globalClickMonitor) {
        m_services.platform.clickSource->removeListener(*globalClickMonitor);
        globalClickMonitor.reset();
    }
    dismissCompanionPanel();
    isMonitoring = false;
    log(QStringLiteral("Monitoring stopped."));
}

void DataDetectorMonitor::handleClick()
{
    lastClickPosition = m_services.platform.screen->pointerPosition();
    dismissCompanionPanel();
    scanAttempts = 0;
    snapshotWindowIDs();
    // Never cancelled: a second click soon after leaves these running against its own state.
    for (const std::chrono::milliseconds delay : kScanAttemptDelays)
        m_services.scheduler->runOnce(delay, this, [this] { runScanAttempt(); });
    scanTextAtClick();
}

void DataDetectorMonitor::runScanAttempt()
{
    if (companionPanel && !m_shownTextNumber)
        return; // an earlier attempt already found the popup
    if (__builtin_add_overflow(scanAttempts, qint64(1), &scanAttempts))
        qFatal("DataDetectorMonitor: scan attempt counter overflow");
    performScan();
}

// --- Scan driver -------------------------------------------------------------------------------

void DataDetectorMonitor::snapshotWindowIDs()
{
    const std::optional<QList<WindowInfo>> windows = m_services.platform.windowList->onScreenWindows();
    if (!windows)
        return;
    QSet<quint32> ids;
    for (const WindowInfo &window : *windows)
        ids.insert(window.id);
    knownWindowIDs = std::move(ids);
}

void DataDetectorMonitor::performScan()
{
    log(QStringLiteral("--- Scan attempt %1 ---").arg(scanAttempts));

    // Fixed order: a new popup window is the cheapest and surest sign, the frontmost program's
    // windows come next, and the probes around the click are the last resort.
    struct Strategy
    {
        std::optional<PopupInfo> (DataDetectorMonitor::*scan)();
        const char16_t *found;
    };
    static constexpr Strategy kStrategies[] = {
        {&DataDetectorMonitor::scanNewWindows, u"FOUND via new-window detection: "},
        {&DataDetectorMonitor::scanFrontAppAXWindows, u"FOUND via AX window scan: "},
        {&DataDetectorMonitor::scanAtClickPosition, u"FOUND via AX-at-position: "},
    };
    for (const Strategy &strategy : kStrategies) {
        if (const std::optional<PopupInfo> popup = (this->*strategy.scan)()) {
            log(QString::fromUtf16(strategy.found) + popup->phoneNumber + QStringLiteral(" at ")
                + detectortext::frame(popup->frame));
            showCompanionPanel(popup->frame, popup->phoneNumber);
            return;
        }
    }
    if (scanAttempts >= kLastScanAttempt)
        log(QStringLiteral("All scan attempts exhausted. No DD popup found."));
}

// --- Window-based strategies -------------------------------------------------------------------

bool DataDetectorMonitor::hasPopupSize(const QSizeF &size)
{
    return size.width() > 100 && size.width() < 500 && size.height() > 80 && size.height() < 400;
}

std::optional<DataDetectorMonitor::PopupInfo> DataDetectorMonitor::scanNewWindows()
{
    const std::optional<QList<WindowInfo>> windows = m_services.platform.windowList->onScreenWindows();
    if (!windows) {
        log(QStringLiteral("  [NewWindow] CGWindowListCopyWindowInfo failed"));
        return std::nullopt;
    }

    struct Candidate
    {
        QRectF frame;
        qint32 pid;
        QString name;
        quint32 id;
    };
    QList<Candidate> candidates;
    for (const WindowInfo &window : *windows) {
        if (knownWindowIDs.contains(window.id))
            continue; // it was there before the click

        const QString owner = window.ownerName.value_or(QStringLiteral("unknown"));
        const QRectF &frame = window.bounds;
        log(QStringLiteral("  [NewWindow] New window: id=") + QString::number(window.id) + QStringLiteral(" owner='") + owner
            + QStringLiteral("' pid=") + QString::number(window.ownerPid) + QStringLiteral(" layer=") + QString::number(window.layer)
            + QStringLiteral(" frame=(") + detectortext::number(frame.x()) + u',' + detectortext::number(frame.y()) + u','
            + detectortext::number(frame.width()) + u',' + detectortext::number(frame.height()) + u')');

        // Layer and owner are deliberately not filtered: popups come on several layers and from
        // whichever process the desktop uses to draw them.
        if (hasPopupSize(frame.size()))
            candidates.append({frame, window.ownerPid, owner, window.id});
    }

    if (candidates.isEmpty()) {
        log(QStringLiteral("  [NewWindow] No new popup windows found"));
        return std::nullopt;
    }
    for (const Candidate &candidate : candidates) {
        log(QStringLiteral("  [NewWindow] Checking popup from '") + candidate.name + QStringLiteral("' pid=")
            + QString::number(candidate.pid));
        const ElementHandle application = m_services.platform.elementTree->applicationElement(candidate.pid);
        if (std::optional<PopupInfo> popup = findDDPopupInAXElement(application, candidate.frame))
            return popup;
    }
    return std::nullopt;
}

std::optional<DataDetectorMonitor::PopupInfo> DataDetectorMonitor::scanFrontAppAXWindows()
{
    const std::optional<FrontmostApplication> front = m_services.platform.windowList->frontmostApplication();
    if (!front) {
        log(QStringLiteral("  [AXWindows] No frontmost app"));
        return std::nullopt;
    }
    log(QStringLiteral("  [AXWindows] Scanning frontmost app: ") + front->name.value_or(QStringLiteral("?"))
        + QStringLiteral(" pid=") + QString::number(front->pid));
    const ElementHandle application = m_services.platform.elementTree->applicationElement(front->pid);
    return findDDPopupInAXElement(application, std::nullopt);
}

} // namespace dialwise
