#include "calling/QSettingsStore.h"

#include <QFileInfo>
#include <QLoggingCategory>
#include <QStandardPaths>

Q_LOGGING_CATEGORY(lcSettings, "dialwise.settings")

namespace dialwise {

QSettingsStore::QSettingsStore()
    // The same file QSettings would pick for ("dialwise", "dialwise") in the user scope, named
    // here so that it can be looked at before it is opened. NativeFormat, not IniFormat: on Linux
    // both read and write the same INI text, and the file is the one users are told about.
    : m_fileName(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
                 + QStringLiteral("/dialwise/dialwise.conf"))
{
    const QFileInfo info(m_fileName);
    if (info.exists() && !info.isFile()) {
        qCWarning(lcSettings) << m_fileName << "is not a regular file; using the default settings";
        return;
    }
    m_settings = std::make_unique<QSettings>(m_fileName, QSettings::NativeFormat);
    if (m_settings->status() != QSettings::NoError)
        qCWarning(lcSettings) << "cannot read" << m_fileName << "- using defaults";
}

QSettingsStore::~QSettingsStore() = default;

std::optional<QString> QSettingsStore::stringValue(const QString &key) const
{
    if (!m_settings)
        return std::nullopt;
    const QVariant value = m_settings->value(key);
    // A hand-edited file can turn a value into a list ("a, b"); that is not a stored string.
    if (value.typeId() != QMetaType::QString)
        return std::nullopt;
    return value.toString();
}

void QSettingsStore::setStringValue(const QString &key, const QString &value)
{
    if (!m_settings)
        return;
    m_settings->setValue(key, value);
    m_settings->sync();
}

} // namespace dialwise
