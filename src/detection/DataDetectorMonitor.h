#pragma once

#include "calling/Clock.h"
#include "calling/Scheduler.h"
#include "detection/DetectorPlatform.h"
#include "detection/PhoneFinder.h"
#include "detection/TextNumberFinder.h"

#include <QFile>
#include <QList>
#include <QObject>
#include <QPointF>
#include <QRectF>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace dialwise {

class CallManager;

// Watches the user's left clicks in every program, finds the phone-number popup a click opens
// (new popup-sized windows, the frontmost program's windows, then the elements around the click),
// reads the number out of its accessibility tree and floats a "Call with Dialwise" strip under
// it. A number written in the clicked program's own text gets the strip at once, right under the
// number; a popup found afterwards takes it over. The strip's button calls through CallManager.
//
// Everything runs on the thread that owns the monitor. Deferred work (the four scan attempts of a
// click, the strip's poll and its dismissal) goes through the Scheduler with this object as the
// weakly held target, so none of it keeps the monitor alive or runs after it is gone.
class DataDetectorMonitor final : public QObject
{
    Q_OBJECT

public:
    // The popup a strategy found: its frame in top-left-origin screen coordinates and its number,
    // as the popup's texts carry it, or "unknown" when they carry none.
    struct PopupInfo
    {
        QRectF frame;
        QString phoneNumber;
        bool operator==(const PopupInfo &) const = default;
    };

    // What one accessibility tree search collects, fresh for every search.
    struct DDSearchContext
    {
        bool hasFacetime = false;
        bool hasLargeType = false;
        // Recorded but deliberately never consulted: "add ... contact" alone is too common a text
        // to call anything a phone-number popup.
        bool hasAddContact = false;
        bool hasMessage = false;
        QString phoneNumber; // the first number met, in visiting order; never overwritten
        QStringList allLabels; // every non-empty text read, in visiting order, duplicates kept
    };

    struct Services
    {
        DetectorPlatform platform;
        std::shared_ptr<PhoneFinder> phoneFinder;
        // Finds a number clicked in another program's ordinary text; none: such clicks are not
        // looked at, only the popups they may open.
        std::shared_ptr<const TextNumberFinder> textNumberFinder;
        std::shared_ptr<Scheduler> scheduler;
        std::shared_ptr<Clock> clock; // the time of day in the log file's lines
        // The log file, emptied when the monitor is made; empty: no file.
        QString logFilePath;
        bool logToStandardError = true;
        // Sees every message given to log(), as it is (the replay tool prints them).
        std::function<void(const QString &message)> logObserver;
    };

    // Where the log goes on this desktop: $XDG_STATE_HOME/Dialwise/Dialwise.log.
    static QString defaultLogFilePath();

    // The process-wide monitor, made on first use with what setSharedServices() gave and
    // CallManager::shared(), and never destroyed. Making it empties the log file.
    static DataDetectorMonitor &shared();
    // Sets what shared() will be built with; only has an effect before its first call.
    static void setSharedServices(Services services);
    // Whether shared() has been made (so that nothing makes it just to ask).
    static bool sharedExists();

    // Tests and the replay tool build their own monitors. Empties the log file and logs the
    // "initialized" line.
    DataDetectorMonitor(Services services, CallManager &callManager, QObject *parent = nullptr);
    ~DataDetectorMonitor() override;

    // --- Lifecycle and log ---------------------------------------------------------------------
    void startMonitoring();
    void stopMonitoring();
    void log(const QString &message);
    bool checkAccessibilityPermission();

    // --- Scan driver and window strategies -----------------------------------------------------
    void snapshotWindowIDs();
    void performScan();
    std::optional<PopupInfo> scanNewWindows();
    std::optional<PopupInfo> scanFrontAppAXWindows();

    // --- Click position and popup container ----------------------------------------------------
    std::optional<PopupInfo> scanAtClickPosition();
    std::optional<PopupInfo> findPopupContainer(const ElementHandle &element);

    // --- Accessibility tree signatures and number extraction -----------------------------------
    bool isDDRelated(const QString &text) const;
    void checkDDLabel(const QString &label, DDSearchContext &context) const;
    void searchAXTree(const ElementHandle &element, DDSearchContext &context, int depth, int maxDepth);
    std::optional<PopupInfo> scanAXAttribute(const ElementHandle &element, Attribute attribute,
                                             const QString &label, const std::optional<QRectF> &expectedFrame);
    std::optional<PopupInfo> findDDPopupInAXElement(const ElementHandle &element,
                                                    const std::optional<QRectF> &expectedFrame);
    QString extractPhoneNumber(const QString &text) const;
    QString extractPhoneFromLabels(const QStringList &labels) const;

    // --- Numbers in other programs' text -------------------------------------------------------
    // The number written where the user just clicked, read from the text under the pointer at
    // once; the strip goes under it. The popup path's attempts still run, and a popup they find
    // takes the strip over.
    void scanTextAtClick();
    void showTextCompanion(const ElementHandle &element, const ClickedNumber &number, const QRectF &bounds);
    // Whether the number the text strip belongs to is still where it was, as it was.
    bool isClickedNumberStillShown();

    // --- Companion strip ----------------------------------------------------------------------
    void showCompanionPanel(const QRectF &popupFrame, const QString &phoneNumber);
    bool isDDPopupStillVisible();
    void dismissCompanionPanel();
    void companionItemClicked();

    // --- State shared by the operations above -------------------------------------------------
    // Public so that tests and the replay tool can read it; only the monitor writes it.
    std::optional<ClickSource::Token> globalClickMonitor;
    std::unique_ptr<Panel> companionPanel;
    std::shared_ptr<ScheduledTask> dismissTimer;
    std::shared_ptr<ScheduledTask> pollTimer;
    bool isMonitoring = false;
    QString currentPhoneNumber;
    QRectF lastPopupFrame;                // top-left origin
    QSet<quint32> knownWindowIDs;         // on-screen windows just before the last click's scans
    QPointF lastClickPosition;            // top-left origin, device pixels, as the pointer query gives it
    qint64 scanAttempts = 0;              // attempts run since the last click
    std::unique_ptr<QFile> logFile;

private:
    // A popup is bigger than a tooltip and smaller than any ordinary window: the window-list
    // search looks only inside windows of that size, to keep the slow accessibility reads few,
    // and the tree search takes an element of that size for the popup itself.
    static bool hasPopupSize(const QSizeF &size);

    void handleClick();
    void runScanAttempt();
    // Shows the strip and keeps it while stillThere() holds, asked at every poll, and no longer
    // than the strip's dismissal time; goneLine is logged when a poll finds it no longer there.
    void showStrip(const StripPlacement &placement, const QString &phoneNumber, bool (DataDetectorMonitor::*stillThere)(),
                   const QString &goneLine);

    // The number a text strip is under, while it is shown; kept no longer than the strip.
    struct ShownTextNumber
    {
        ElementHandle element;
        ClickedNumber number;
        QRectF bounds; // top-left origin, device pixels
    };
    std::optional<ShownTextNumber> m_shownTextNumber;

    Services m_services;
    CallManager &m_callManager;
};

} // namespace dialwise
