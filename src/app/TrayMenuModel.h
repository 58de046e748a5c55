#pragma once

#include "calling/CallManager.h"

#include <QDateTime>
#include <QList>
#include <QString>

namespace dialwise {

// One row of the tray menu, as data: what it shows and what choosing it does. The widget layer
// turns rows into QActions and nothing more.
struct TrayMenuEntry
{
    enum class Kind {
        header,         // "Dialwise", bold, never enabled
        separator,
        showWindow,     // "Show Dialwise", Ctrl+1
        historyHeading, // "Recent Calls:", disabled
        historyCall,    // calls `number` again in the web window
        quit,           // "Quit Dialwise", Ctrl+Q
    };

    Kind kind = Kind::separator;
    QString title;
    QString shortcut; // portable key sequence text ("Ctrl+1"), empty for none
    QString number;   // historyCall only: the normalised number, not its display form
    bool enabled = false;

    bool operator==(const TrayMenuEntry &) const = default;
};

class TrayMenuModel final
{
public:
    // Newest calls shown; the menu stays short enough to read at a glance.
    static constexpr qsizetype kHistoryEntries = 5;
    static constexpr int kHeaderPointSize = 13;

    // history: newest first, as CallManager keeps it. now: the moment the menu is built, so
    // the relative times say how long ago each call was at that moment. localeName: an ICU
    // locale id such as "en_US" ("" for ICU's default).
    static QList<TrayMenuEntry> build(const QList<CallManager::CallRecord> &history, const QDateTime &now,
                                      const QString &localeName);

    // "5 min. ago", "in 2 hr.": always a number of units (never "yesterday"), short units, in
    // the largest unit that fits.
    static QString relativeTime(const QDateTime &timestamp, const QDateTime &now, const QString &localeName);
};

} // namespace dialwise
