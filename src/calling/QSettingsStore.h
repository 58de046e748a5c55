#pragma once

#include "SettingsStore.h"

#include <QSettings>

namespace dialwise {

// Settings in an INI file in the user's config directory: $XDG_CONFIG_HOME/dialwise/dialwise.conf
// (~/.config when the variable is unset). A plain text file users can read and fix.
class QSettingsStore final : public SettingsStore
{
public:
    QSettingsStore();

    std::optional<QString> stringValue(const QString &key) const override;
    void setStringValue(const QString &key, const QString &value) override;

    QString fileName() const { return m_settings.fileName(); }

private:
    mutable QSettings m_settings;
};

} // namespace dialwise
