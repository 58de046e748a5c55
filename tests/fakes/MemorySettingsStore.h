#pragma once

#include "calling/SettingsStore.h"

#include <QHash>
#include <QString>

#include <optional>

namespace dialwise::testing {

// Settings kept in a map. Preload it to simulate what an earlier run left behind; share one
// instance between two managers to simulate a restart.
class MemorySettingsStore final : public SettingsStore
{
public:
    MemorySettingsStore() = default;
    explicit MemorySettingsStore(QHash<QString, QString> preloaded)
        : values(std::move(preloaded))
    {
    }

    std::optional<QString> stringValue(const QString &key) const override
    {
        const auto it = values.constFind(key);
        if (it == values.cend())
            return std::nullopt;
        return *it;
    }

    void setStringValue(const QString &key, const QString &value) override
    {
        values.insert(key, value);
        ++writes;
    }

    QHash<QString, QString> values;
    int writes = 0;
};

} // namespace dialwise::testing
