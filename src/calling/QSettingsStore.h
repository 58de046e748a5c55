#pragma once

#include "calling/SettingsStore.h"

#include <QSettings>
#include <QString>

#include <memory>

namespace dialwise {

// Settings in an INI file in the user's config directory: $XDG_CONFIG_HOME/dialwise/dialwise.conf
// (~/.config when the variable is unset). A plain text file users can read and fix.
//
// Only a regular file is ever opened: anything else at that path (a FIFO, a device) could block
// the start for ever inside the read, so it is left alone, with one warning, and the defaults
// apply for the run; nothing is written then either.
class QSettingsStore final : public SettingsStore
{
public:
    QSettingsStore();
    ~QSettingsStore() override;

    std::optional<QString> stringValue(const QString &key) const override;
    void setStringValue(const QString &key, const QString &value) override;

    QString fileName() const { return m_fileName; }
    // False when the path holds something other than a regular file and the defaults apply.
    bool usable() const { return m_settings != nullptr; }

private:
    QString m_fileName;
    std::unique_ptr<QSettings> m_settings;
};

} // namespace dialwise
