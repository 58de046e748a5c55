#include "app/TrayMenuModel.h"

#include "calling/PhoneNumbers.h"

#include <unicode/locid.h>
#include <unicode/reldatefmt.h>
#include <unicode/unistr.h>

#include <cmath>
#include <memory>

namespace dialwise {
namespace {

// Builds one ICU formatter per menu build instead of one per row.
class RelativeFormatter
{
public:
    explicit RelativeFormatter(const QString &localeName)
    {
        const icu::Locale locale = localeName.isEmpty() ? icu::Locale::getDefault()
                                                        : icu::Locale(localeName.toUtf8().constData());
        m_formatter = std::make_unique<icu::RelativeDateTimeFormatter>(locale, nullptr, UDAT_STYLE_SHORT,
                                                                       UDISPCTX_CAPITALIZATION_NONE, m_status);
    }

    QString format(const QDateTime &timestamp, const QDateTime &now)
    {
        if (U_FAILURE(m_status))
            return QString();
        const qint64 seconds = now.secsTo(timestamp); // negative in the past
        const qint64 magnitude = seconds < 0 ? -seconds : seconds;

        // The largest unit with at least one whole step, counted down (59 min. stays minutes).
        struct Step
        {
            qint64 seconds;
            URelativeDateTimeUnit unit;
        };
        static constexpr Step steps[] = {
            {365 * 86400, UDAT_REL_UNIT_YEAR}, {30 * 86400, UDAT_REL_UNIT_MONTH}, {7 * 86400, UDAT_REL_UNIT_WEEK},
            {86400, UDAT_REL_UNIT_DAY},        {3600, UDAT_REL_UNIT_HOUR},        {60, UDAT_REL_UNIT_MINUTE},
        };
        Step chosen{1, UDAT_REL_UNIT_SECOND};
        for (const Step &step : steps) {
            if (magnitude >= step.seconds) {
                chosen = step;
                break;
            }
        }
        // A negated zero keeps "0 sec. ago" in the past tense for a call made this very second.
        const double count = double(magnitude / chosen.seconds);
        const double offset = seconds <= 0 ? -count : count;

        UErrorCode status = U_ZERO_ERROR;
        icu::UnicodeString text;
        m_formatter->formatNumeric(offset, chosen.unit, text, status);
        if (U_FAILURE(status))
            return QString();
        return QString(reinterpret_cast<const QChar *>(text.getBuffer()), text.length());
    }

private:
    UErrorCode m_status = U_ZERO_ERROR;
    std::unique_ptr<icu::RelativeDateTimeFormatter> m_formatter;
};

TrayMenuEntry entry(TrayMenuEntry::Kind kind, QString title = {}, bool enabled = false, QString shortcut = {})
{
    TrayMenuEntry e;
    e.kind = kind;
    e.title = std::move(title);
    e.enabled = enabled;
    e.shortcut = std::move(shortcut);
    return e;
}

} // namespace

QList<TrayMenuEntry> TrayMenuModel::build(const QList<CallManager::CallRecord> &history, const QDateTime &now,
                                          const QString &localeName)
{
    using Kind = TrayMenuEntry::Kind;
    QList<TrayMenuEntry> entries;
    entries.append(entry(Kind::header, QStringLiteral("Dialwise")));
    entries.append(entry(Kind::separator));
    entries.append(entry(Kind::showWindow, QStringLiteral("Show Dialwise"), true, QStringLiteral("Ctrl+1")));
    entries.append(entry(Kind::separator));

    if (!history.isEmpty()) {
        entries.append(entry(Kind::historyHeading, QStringLiteral("Recent Calls:")));
        RelativeFormatter formatter(localeName);
        for (const CallManager::CallRecord &record : history.first(std::min(kHistoryEntries, history.size()))) {
            TrayMenuEntry call = entry(Kind::historyCall,
                                       QStringLiteral("  ") + phone::formatForDisplay(record.number) + QStringLiteral("  ")
                                           + formatter.format(record.timestamp, now),
                                       true);
            call.number = record.number;
            entries.append(call);
        }
        entries.append(entry(Kind::separator));
    }

    entries.append(entry(Kind::quit, QStringLiteral("Quit Dialwise"), true, QStringLiteral("Ctrl+Q")));
    return entries;
}

QString TrayMenuModel::relativeTime(const QDateTime &timestamp, const QDateTime &now, const QString &localeName)
{
    return RelativeFormatter(localeName).format(timestamp, now);
}

} // namespace dialwise
