// The real settings file: where it lives, what a restart reads back, and what happens when a
// user or a crash left something odd in it.
//
// QSettings works out the user config directory once per process, so main() points
// XDG_CONFIG_HOME at a temporary directory before anything touches QSettings, and every test
// starts by removing the file.
#include "calling/CallManager.h"
#include "calling/QSettingsStore.h"
#include "tests/fakes/CallManagerRig.h"
#include "tests/fakes/MemorySettingsStore.h"
#include "tests/support/NamedRows.h"
#include "tests/unit/QtPrinting.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <random>
#include <string>
#include <sys/stat.h>

using dialwise::CallManager;
using dialwise::QSettingsStore;
using dialwise::testing::CallManagerRig;
using Provider = dialwise::CallManager::Provider;

namespace {

QTemporaryDir *g_configHome = nullptr;

QString expectedFile() { return g_configHome->filePath(QStringLiteral("dialwise/dialwise.conf")); }

class SettingsStoreTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        QFile::remove(expectedFile());
        ASSERT_FALSE(QFileInfo::exists(expectedFile()));
    }

    // A manager on the real store, as a fresh start of the program would build it.
    std::unique_ptr<dialwise::CallManager> startManager() { return startManagerOn(std::make_shared<QSettingsStore>()); }

public:
    static std::unique_ptr<dialwise::CallManager> startManagerOn(std::shared_ptr<QSettingsStore> store)
    {
        CallManager::Services services = CallManagerRig().services();
        services.settings = std::move(store);
        return std::make_unique<dialwise::CallManager>(services);
    }

protected:

    static void writeFile(const QByteArray &contents)
    {
        ASSERT_TRUE(QDir().mkpath(QFileInfo(expectedFile()).absolutePath()));
        QFile file(expectedFile());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        ASSERT_EQ(file.write(contents), contents.size());
    }

    static QByteArray readFile()
    {
        QFile file(expectedFile());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
};

TEST_F(SettingsStoreTest, FileName_UnderXdgConfigHome)
{
    QSettingsStore store;
    EXPECT_EQ(QFileInfo(store.fileName()).absoluteFilePath(), QFileInfo(expectedFile()).absoluteFilePath());
    store.setStringValue(QStringLiteral("selectedProvider"), QStringLiteral("Google Voice"));
    EXPECT_TRUE(QFileInfo::exists(expectedFile()));
}

TEST_F(SettingsStoreTest, Restart_KeepsBrowserTel)
{
    startManager()->setProvider(Provider::browserTel);
    ASSERT_TRUE(QFileInfo::exists(expectedFile())) << "the choice must be on disk, not only in memory";
    EXPECT_TRUE(readFile().contains("selectedProvider=Browser (tel:)")) << readFile().constData();
    EXPECT_EQ(startManager()->selectedProvider(), Provider::browserTel);
}

TEST_F(SettingsStoreTest, Restart_KeepsGoogleVoiceAfterSwitchingBack)
{
    startManager()->setProvider(Provider::browserTel);
    startManager()->setProvider(Provider::googleVoice);
    EXPECT_EQ(startManager()->selectedProvider(), Provider::googleVoice);
}

TEST_F(SettingsStoreTest, NoFile_GoogleVoiceAndNothingWritten)
{
    EXPECT_EQ(startManager()->selectedProvider(), Provider::googleVoice);
    EXPECT_FALSE(QFileInfo::exists(expectedFile()));
}

struct BadFileRow
{
    const char *name;
    QByteArray contents;
};

QByteArray randomBytes(size_t size, unsigned seed)
{
    std::mt19937 random(seed);
    QByteArray bytes;
    for (size_t i = 0; i < size; ++i)
        bytes.append(char(random() & 0xFF));
    return bytes;
}

class BadSettingsFileTest : public SettingsStoreTest, public ::testing::WithParamInterface<BadFileRow>
{
};

TEST_P(BadSettingsFileTest, StartsWithGoogleVoiceAndLeavesFileAlone)
{
    writeFile(GetParam().contents);
    EXPECT_EQ(startManager()->selectedProvider(), Provider::googleVoice);
    EXPECT_EQ(readFile(), GetParam().contents);
}

// Every row has a different size: QSettings caches a parsed file and notices a rewrite by its
// size and time stamp, and a same-size rewrite within one clock tick would go unseen.
const BadFileRow kBadFileRows[] = {
    {"WrongCase", "[General]\nselectedProvider=browser (tel:)\n"},
    {"Unknown", "[General]\nselectedProvider=Other\n"},
    {"CommaList", "[General]\nselectedProvider=a, b\n"},
    {"EmptyValue", "[General]\nselectedProvider=\n"},
    {"RandomBinary", randomBytes(4093, 1)},
    {"RandomBinaryWithNuls", randomBytes(65'537, 2) + QByteArray(100, '\0')},
};

INSTANTIATE_TEST_SUITE_P(Rows, BadSettingsFileTest, ::testing::ValuesIn(kBadFileRows), dialwise::testing::RowName());

TEST_F(SettingsStoreTest, CommaList_IsNotAString)
{
    writeFile("[General]\nselectedProvider=Browser (tel:), Google Voice\n");
    QSettingsStore store;
    EXPECT_EQ(store.stringValue(QStringLiteral("selectedProvider")), std::nullopt);
}

TEST_F(SettingsStoreTest, BadFileThenSetProvider_Repaired)
{
    writeFile("[General]\nselectedProvider=nonsense value\n");
    startManager()->setProvider(Provider::browserTel);
    EXPECT_EQ(startManager()->selectedProvider(), Provider::browserTel);
}

// How long opening the store may take before the test calls it hung: reading a small file
// takes microseconds; a FIFO with no writer blocks for ever.
constexpr auto kOpenBound = std::chrono::seconds(5);

QStringList g_warnings;

void recordWarning(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtWarningMsg)
        g_warnings.append(message);
}

TEST_F(SettingsStoreTest, Fifo_DefaultsOneWarningAndNothingWritten)
{
    ASSERT_TRUE(QDir().mkpath(QFileInfo(expectedFile()).absolutePath()));
    ASSERT_EQ(::mkfifo(QFile::encodeName(expectedFile()).constData(), 0600), 0);
    g_warnings.clear();
    const QtMessageHandler previous = qInstallMessageHandler(recordWarning);

    // Off the main thread, so that a hang is reported instead of stopping the whole test program.
    auto opened = std::async(std::launch::async, [] {
        auto manager = SettingsStoreTest::startManagerOn(std::make_shared<QSettingsStore>());
        const Provider selected = manager->selectedProvider();
        manager->setProvider(Provider::browserTel);
        return selected;
    });
    if (opened.wait_for(kOpenBound) != std::future_status::ready) {
        qInstallMessageHandler(previous);
        ADD_FAILURE() << "opening the settings blocked on the FIFO";
        // The blocked thread cannot be stopped; leave at once rather than hang at exit.
        std::_Exit(1);
    }
    qInstallMessageHandler(previous);

    EXPECT_EQ(opened.get(), Provider::googleVoice);
    EXPECT_EQ(g_warnings.size(), 1) << g_warnings.join(u'|').toStdString();
    ASSERT_FALSE(g_warnings.isEmpty());
    EXPECT_TRUE(g_warnings.first().contains(u"not a regular file"));
    struct stat info;
    ASSERT_EQ(::stat(QFile::encodeName(expectedFile()).constData(), &info), 0);
    EXPECT_TRUE(S_ISFIFO(info.st_mode));
    EXPECT_FALSE(QSettingsStore().usable());
    QFile::remove(expectedFile());
}

TEST_F(SettingsStoreTest, Directory_DefaultsAndLeftAlone)
{
    ASSERT_TRUE(QDir().mkpath(expectedFile()));
    QSettingsStore store;
    EXPECT_FALSE(store.usable());
    EXPECT_EQ(store.stringValue(QStringLiteral("selectedProvider")), std::nullopt);
    store.setStringValue(QStringLiteral("selectedProvider"), QStringLiteral("Browser (tel:)"));
    EXPECT_TRUE(QFileInfo(expectedFile()).isDir());
    QDir(expectedFile()).removeRecursively();
}

} // namespace

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    QTemporaryDir configHome;
    if (!configHome.isValid())
        return 3;
    g_configHome = &configHome;
    // Before the application object and before any QSettings: both read the location once.
    // QStandardPaths' test mode is deliberately left off: it sends QSettings to ~/.qttest/config
    // and ignores XDG_CONFIG_HOME, so the location users rely on would go untested. HOME points
    // into the temporary directory as well, so that nothing here can reach the real one.
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(configHome.path()));
    qputenv("HOME", QFile::encodeName(configHome.filePath(QStringLiteral("home"))));
    QCoreApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
