#include "QSettingsStore.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcSettings, "dialwise.settings")

namespace dialwise {

QSettingsStore::QSettingsStore()
    // NativeFormat, not IniFormat: on Linux both write the same INI text, but only NativeFormat
    // names the file dialwise.conf, the name users are told to look for (IniFormat says .ini).
    : m_settings(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("dialwise"), QStringLiteral("dialwise"))
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
