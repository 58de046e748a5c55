// Whether the running Dialwise starts the phone-link detector, and what starting it does.
#include "CallManager.h"
#include "DataDetectorMonitor.h"
#include "FakeClickSource.h"
#include "FakeElementTree.h"
#include "FakePanelView.h"
#include "FakeScreen.h"
#include "FakeWindowList.h"
#include "MemorySettingsStore.h"
#include "PhoneLinkDetection.h"
#include "CallManagerRig.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

using dialwise::DataDetectorMonitor;
using dialwise::LaunchRequest;
using dialwise::testing::MemorySettingsStore;
namespace phonelinks = dialwise::phonelinks;

namespace {

struct WantedRow
{
    const char *name;
    bool option;
    const char *setting; // nullptr: not set
    bool wanted;
};

void PrintTo(const WantedRow &row, std::ostream *os) { *os << row.name; }

const WantedRow kWantedRows[] = {
    {"Nothing_Off", false, nullptr, false},
    {"Option_On", true, nullptr, true},
    {"SettingTrue_On", false, "true", true},
    {"SettingTrueCapitalised_On", false, "True", true},
    {"SettingOne_On", false, "1", true},
    {"SettingYes_On", false, "yes", true},
    {"SettingOff_Off", false, "OFF", false},
    {"SettingFalse_Off", false, "false", false},
    {"SettingOther_Off", false, "yes please", false},
    {"OptionBeatsFalseSetting_On", true, "false", true},
};

class PhoneLinksWantedTest : public ::testing::TestWithParam<WantedRow>
{
};

TEST_P(PhoneLinksWantedTest, FromOptionOrSetting)
{
    LaunchRequest request;
    request.detectPhoneLinks = GetParam().option;
    MemorySettingsStore settings;
    if (GetParam().setting)
        settings.values.insert(QStringLiteral("detectPhoneLinks"), QString::fromUtf8(GetParam().setting));
    EXPECT_EQ(phonelinks::wanted(request, settings), GetParam().wanted);
}

INSTANTIATE_TEST_SUITE_P(Rows, PhoneLinksWantedTest, ::testing::ValuesIn(kWantedRows),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(PhoneLinksStartTest, incompletePlatform_unavailable_thenCompletePlatformStartsSharedMonitor)
{
    QTemporaryDir state;
    qputenv("XDG_STATE_HOME", state.path().toUtf8());
    dialwise::testing::CallManagerRig rig;
    auto callManager = rig.makeManager();

    // This build's own platform has every piece (X11 and AT-SPI backends, the strip).
    const dialwise::DetectorPlatform own = phonelinks::platform(*callManager);
    EXPECT_TRUE(own.panelView);
    EXPECT_TRUE(own.isComplete());

    // A platform missing a piece: detection is unavailable, and nothing is made or written.
    dialwise::DetectorPlatform incomplete{std::make_shared<dialwise::testing::FakeElementTree>(),
                                          std::make_shared<dialwise::testing::FakeWindowList>(),
                                          std::make_shared<dialwise::testing::FakeScreen>(), nullptr,
                                          std::make_shared<dialwise::testing::FakePanelView>()};
    EXPECT_FALSE(incomplete.isComplete());
    EXPECT_FALSE(phonelinks::start(incomplete));
    EXPECT_FALSE(DataDetectorMonitor::sharedExists());
    EXPECT_FALSE(QFile::exists(state.filePath(QStringLiteral("Dialwise/Dialwise.log"))));

    // With every piece, the shared monitor is made and monitors.
    auto clicks = std::make_shared<dialwise::testing::FakeClickSource>();
    dialwise::DetectorPlatform complete{std::make_shared<dialwise::testing::FakeElementTree>(),
                                        std::make_shared<dialwise::testing::FakeWindowList>(),
                                        std::make_shared<dialwise::testing::FakeScreen>(), clicks,
                                        std::make_shared<dialwise::testing::FakePanelView>()};
    EXPECT_TRUE(phonelinks::start(complete));
    EXPECT_TRUE(DataDetectorMonitor::sharedExists());
    EXPECT_TRUE(DataDetectorMonitor::shared().isMonitoring);
    EXPECT_EQ(clicks->listenerCount(), 1);
    QFile log(state.filePath(QStringLiteral("Dialwise/Dialwise.log")));
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    const QByteArray text = log.readAll();
    EXPECT_TRUE(text.contains("] === Dialwise DataDetectorMonitor initialized ===\n"));
    EXPECT_TRUE(text.contains("] Global click monitor installed. Monitoring active.\n"));
    qunsetenv("XDG_STATE_HOME");
}

} // namespace
