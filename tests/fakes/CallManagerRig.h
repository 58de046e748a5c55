#pragma once

#include "calling/CallManager.h"
#include "tests/fakes/FakeDesktopServices.h"
#include "tests/fakes/ManualClock.h"
#include "tests/fakes/MemorySettingsStore.h"

#include <QUrl>

#include <memory>

namespace dialwise::testing {

// The usual wiring of a CallManager under test: fakes for everything, kept reachable so tests
// can inspect them.
struct CallManagerRig
{
    std::shared_ptr<MemorySettingsStore> settings = std::make_shared<MemorySettingsStore>();
    std::shared_ptr<FakeDesktopServices> desktop = std::make_shared<FakeDesktopServices>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    // Empty: the manager uses the web app's default address.
    QUrl voiceBase;

    CallManager::Services services() const { return {settings, desktop, clock, voiceBase}; }
    std::unique_ptr<CallManager> makeManager() const { return std::make_unique<CallManager>(services()); }
};

} // namespace dialwise::testing
