// Whether the running Dialwise starts the phone-link detector, and what starting it does, on
// fakes only: this build's own desktop pieces are checked on a display, in PhoneLinkPlatformTest.
#include "app/PhoneLinkDetection.h"
#include "detection/DataDetectorMonitor.h"
#include "tests/fakes/FakeClickSource.h"
#include "tests/fakes/FakeElementTree.h"
#include "tests/fakes/FakePanelView.h"
#include "tests/fakes/FakeScreen.h"
#include "tests/fakes/FakeWindowList.h"
#include "tests/fakes/MemorySettingsStore.h"
#include "tests/support/NamedRows.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFile>
#include <QThread>
#include <QTemporaryDir>

using dialwise::DataDetectorMonitor;
using dialwise::LaunchRequest;
using dialwise::testing::MemorySettingsStore;
namespace phonelinks = dialwise::phonelinks;

namespace {

struct WantedRow
{
    const char *name;
    std::optional<bool> option; // --detect-phone-links (true), =off (false), or neither
    const char *setting;        // nullptr: not set
    bool wanted;
};

const WantedRow kWantedRows[] = {
    {"Nothing_Off", std::nullopt, nullptr, false},
    {"Option_On", true, nullptr, true},
    {"SettingTrue_On", std::nullopt, "true", true},
    {"SettingTrueCapitalised_On", std::nullopt, "True", true},
    {"SettingOne_On", std::nullopt, "1", true},
    {"SettingYes_On", std::nullopt, "yes", true},
    {"SettingOff_Off", std::nullopt, "OFF", false},
    {"SettingFalse_Off", std::nullopt, "false", false},
    {"SettingOther_Off", std::nullopt, "yes please", false},
    {"OptionBeatsFalseSetting_On", true, "false", true},
    {"OptionOff_Off", false, nullptr, false},
    {"OptionOffBeatsTrueSetting_Off", false, "true", false},
};

using PhoneLinksWantedTest = ::testing::TestWithParam<WantedRow>;

TEST_P(PhoneLinksWantedTest, FromOptionOrSetting)
{
    LaunchRequest request;
    request.detectPhoneLinks = GetParam().option;
    MemorySettingsStore settings;
    if (GetParam().setting)
        settings.values.insert(QStringLiteral("detectPhoneLinks"), QString::fromUtf8(GetParam().setting));
    EXPECT_EQ(phonelinks::wanted(request, settings), GetParam().wanted);
}

INSTANTIATE_TEST_SUITE_P(Rows, PhoneLinksWantedTest, ::testing::ValuesIn(kWantedRows), dialwise::testing::RowName());

TEST(PhoneLinksStartTest, incompletePlatform_unavailable_thenCompletePlatformStartsSharedMonitor)
{
    // The detector's thread posts to and from the caller's, as in the running Dialwise.
    int argc = 1;
    char name[] = "PhoneLinkDetectionTest";
    char *argv[] = {name, nullptr};
    QCoreApplication app(argc, argv);
    QTemporaryDir state;
    qputenv("XDG_STATE_HOME", state.path().toUtf8());

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
    phonelinks::waitForDetectorThread();
    EXPECT_TRUE(DataDetectorMonitor::sharedExists());
    EXPECT_TRUE(DataDetectorMonitor::shared().isMonitoring);
    EXPECT_EQ(clicks->listenerCount(), 1);
    // On a thread of its own, so that its waits never hold up the caller's (the GUI) thread.
    EXPECT_NE(DataDetectorMonitor::shared().thread(), QThread::currentThread());
    EXPECT_EQ(DataDetectorMonitor::shared().thread()->objectName(), QStringLiteral("dialwise-detector"));

    // Turned off and on again, as a second `dialwise --detect-phone-links[=off]` asks.
    int made = 0;
    const auto noNewPlatform = [&made] {
        ++made;
        return dialwise::DetectorPlatform{};
    };
    phonelinks::turn(false, noNewPlatform);
    phonelinks::waitForDetectorThread();
    EXPECT_FALSE(DataDetectorMonitor::shared().isMonitoring);
    EXPECT_EQ(clicks->listenerCount(), 0);
    phonelinks::turn(false, noNewPlatform); // already off: nothing more is logged
    phonelinks::turn(true, noNewPlatform);
    phonelinks::turn(true, noNewPlatform); // already on: one listener still
    phonelinks::waitForDetectorThread();
    EXPECT_TRUE(DataDetectorMonitor::shared().isMonitoring);
    EXPECT_EQ(clicks->listenerCount(), 1);
    EXPECT_EQ(made, 0) << "the running monitor is reused, never made again";
    QFile log(state.filePath(QStringLiteral("Dialwise/Dialwise.log")));
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    const QByteArray text = log.readAll();
    EXPECT_TRUE(text.contains("] === Dialwise DataDetectorMonitor initialized ===\n"));
    EXPECT_TRUE(text.contains("] Global click monitor installed. Monitoring active.\n"));
    EXPECT_EQ(text.count("] Monitoring stopped.\n"), 1);
    EXPECT_EQ(text.count("] Global click monitor installed. Monitoring active.\n"), 2);
    qunsetenv("XDG_STATE_HOME");
}

} // namespace
