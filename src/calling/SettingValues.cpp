#include "calling/SettingValues.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcSettingValues, "dialwise.settings")

namespace dialwise::settings {

std::optional<bool> parseBoolean(QStringView text)
{
    const QStringView word = text.trimmed();
    for (const char16_t *yes : {u"true", u"yes", u"on", u"1"}) {
        if (word.compare(QStringView(yes), Qt::CaseInsensitive) == 0)
            return true;
    }
    for (const char16_t *no : {u"false", u"no", u"off", u"0"}) {
        if (word.compare(QStringView(no), Qt::CaseInsensitive) == 0)
            return false;
    }
    return std::nullopt;
}

bool booleanValue(const SettingsStore &store, const QString &key, bool fallback)
{
    const std::optional<QString> stored = store.stringValue(key);
    if (!stored)
        return fallback;
    if (const std::optional<bool> value = parseBoolean(*stored))
        return *value;
    // Said once, where it is read: a typo should not silently turn a feature off.
    qCWarning(lcSettingValues).noquote() << QStringLiteral("ignoring %1=%2 in dialwise.conf: not true/false, yes/no, on/off "
                                                           "or 1/0; using %3")
                                                .arg(key, *stored, fallback ? QStringLiteral("true") : QStringLiteral("false"));
    return fallback;
}

} // namespace dialwise::settings
