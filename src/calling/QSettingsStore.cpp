#include "QSettingsStore.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcSettings, "dialwise.settings")

namespace dialwise {

QSettingsStore::QSettingsStore()
    : m_settings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("dialwise"), QStringLiteral("dialwise"))
{
    if (m_settings.status() != QSettings::NoError)
        qCWarning(lcSettings) << "cannot read" << m_settings.fileName() << "- using defaults";
}

std::optional<QString> QSettingsStore::stringValue(const QString &key) const
{
    const QVariant value = m_settings.value(key);
    // A hand-edited file can turn a value into a list ("a, b"); that is not a stored string.
    if (value.typeId() != QMetaType::QString)
        return std::nullopt;
    return value.toString();
}

void QSettingsStore::setStringValue(const QString &key, const QString &value)
{
    m_settings.setValue(key, value);
    m_settings.sync();
}

} // namespace dialwise
