#pragma once

#include "calling/SettingsStore.h"

#include <QString>
#include <QStringView>

#include <optional>

namespace dialwise::settings {

// A yes/no value as people write it in a settings file: true/false, yes/no, on/off or 1/0, in
// any letter case, blanks around it ignored. No value for anything else.
std::optional<bool> parseBoolean(QStringView text);

// The yes/no setting stored under key: `fallback` when nothing is stored, and also when what is
// stored is not a yes/no value, after one warning (dialwise.settings) that names key and value.
bool booleanValue(const SettingsStore &store, const QString &key, bool fallback);

} // namespace dialwise::settings
