#pragma once

#include "CallManager.h"
#include "FakeDesktopServices.h"
#include "ManualClock.h"
#include "MemorySettingsStore.h"

#include <memory>

namespace dialwise::testing {

// A CallManager a test can construct: the real one's constructor is protected so that the
// application only ever goes through shared().
class TestCallManager : public CallManager
{
public:
    explicit TestCallManager(Services services, QObject *parent = nullptr)
        : CallManager(std::move(services), parent)
    {
    }
};

// The usual wiring: fakes for everything, kept reachable so tests can inspect them.
struct CallManagerRig
{
    std::shared_ptr<MemorySettingsStore> settings = std::make_shared<MemorySettingsStore>();
    std::shared_ptr<FakeDesktopServices> desktop = std::make_shared<FakeDesktopServices>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();

    CallManager::Services services() const { return {settings, desktop, clock}; }
    std::unique_ptr<TestCallManager> makeManager() const { return std::make_unique<TestCallManager>(services()); }
};

} // namespace dialwise::testing
