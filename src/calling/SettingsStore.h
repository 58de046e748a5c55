#pragma once

#include <QString>
#include <optional>

namespace dialwise {

// The per-user key/value store behind Dialwise's one persisted setting.
class SettingsStore
{
public:
    virtual ~SettingsStore() = default;
    // The string stored under key; no value when nothing (or something other than a string) is.
    virtual std::optional<QString> stringValue(const QString &key) const = 0;
    // Stores value under key. Failures are not reported: a lost preference is not worth a crash.
    virtual void setStringValue(const QString &key, const QString &value) = 0;
};

} // namespace dialwise
