// The login entry behind `dialwise --autostart`: where it goes, what it says, on/off/query, and
// how a program path is written on its Exec line. Files go to a temporary folder only.
#include "app/Autostart.h"
#include "tests/support/NamedRows.h"
#include "tests/unit/QtPrinting.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using dialwise::Autostart;

namespace {

QString readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

class AutostartTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_dir.isValid()); }
    QString configHome() const { return m_dir.path() + QStringLiteral("/config"); }

    QTemporaryDir m_dir;
};

TEST_F(AutostartTest, entryPath_isInAutostartFolderUnderAppId)
{
    EXPECT_EQ(Autostart(QStringLiteral("/home/u/.config")).entryPath(),
              QString("/home/u/.config/autostart/app.dialwise.Dialwise.desktop"));
}

struct ConfigHomeRow
{
    const char *xdgConfigHome;
    const char *home;
    const char *expected; // nullptr: no folder to use
};

using AutostartConfigHomeTest = ::testing::TestWithParam<ConfigHomeRow>;

TEST_P(AutostartConfigHomeTest, configHomeFrom_followsBaseDirectoryRules)
{
    const ConfigHomeRow &row = GetParam();
    const std::optional<QString> folder = Autostart::configHomeFrom(QString::fromUtf8(row.xdgConfigHome), QString::fromUtf8(row.home));
    if (row.expected)
        EXPECT_EQ(folder, std::optional<QString>(QString::fromUtf8(row.expected)));
    else
        EXPECT_EQ(folder, std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Rows, AutostartConfigHomeTest,
                         ::testing::Values(ConfigHomeRow{"/x/config", "/home/u", "/x/config"},
                                           ConfigHomeRow{"", "/home/u", "/home/u/.config"},
                                           // A relative XDG_CONFIG_HOME is invalid and ignored.
                                           ConfigHomeRow{"relative/config", "/home/u", "/home/u/.config"},
                                           ConfigHomeRow{"", "", nullptr},
                                           ConfigHomeRow{"relative", "also-relative", nullptr}));

TEST_F(AutostartTest, noEntry_isOff)
{
    const Autostart autostart(configHome());
    EXPECT_EQ(autostart.state(), Autostart::State::off);
    EXPECT_EQ(autostart.query(), (Autostart::Outcome{0, "off\n", {}}));
}

TEST_F(AutostartTest, enable_createsFolderAndEntryStartingProgramHidden)
{
    const Autostart autostart(configHome());
    const Autostart::Outcome outcome = autostart.enable(QStringLiteral("/usr/bin/dialwise"));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error.toStdString();
    EXPECT_TRUE(outcome.error.isEmpty());
    EXPECT_TRUE(outcome.out.startsWith("on: " + autostart.entryPath())) << outcome.out.toStdString();

    const QString text = readAll(autostart.entryPath());
    EXPECT_TRUE(text.startsWith("[Desktop Entry]\n"));
    EXPECT_TRUE(text.contains("\nType=Application\n"));
    EXPECT_TRUE(text.contains("\nExec=/usr/bin/dialwise --hidden\n")) << text.toStdString();
    EXPECT_TRUE(text.contains("\nIcon=app.dialwise.Dialwise\n"));
    EXPECT_EQ(autostart.state(), Autostart::State::on);
    EXPECT_EQ(autostart.query(), (Autostart::Outcome{0, "on\n", {}}));
}

TEST_F(AutostartTest, enableTwice_replacesEntryWithNewProgram)
{
    const Autostart autostart(configHome());
    ASSERT_EQ(autostart.enable(QStringLiteral("/opt/old/dialwise")).exitCode, 0);
    ASSERT_EQ(autostart.enable(QStringLiteral("/usr/bin/dialwise")).exitCode, 0);
    const QString text = readAll(autostart.entryPath());
    EXPECT_TRUE(text.contains("\nExec=/usr/bin/dialwise --hidden\n")) << text.toStdString();
    EXPECT_FALSE(text.contains("/opt/old"));
    EXPECT_EQ(QDir(configHome() + "/autostart").entryList(QDir::Files | QDir::Hidden),
              QStringList{"app.dialwise.Dialwise.desktop"})
        << "no temporary file is left behind";
}

TEST_F(AutostartTest, disable_removesEntry)
{
    const Autostart autostart(configHome());
    ASSERT_EQ(autostart.enable(QStringLiteral("/usr/bin/dialwise")).exitCode, 0);
    const Autostart::Outcome outcome = autostart.disable();
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.out, "off: removed " + autostart.entryPath() + "\n");
    EXPECT_FALSE(QFileInfo::exists(autostart.entryPath()));
    EXPECT_EQ(autostart.state(), Autostart::State::off);
}

TEST_F(AutostartTest, disableWhenOff_succeedsAndSaysSo)
{
    const Autostart autostart(configHome());
    const Autostart::Outcome outcome = autostart.disable();
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.out, "off: " + autostart.entryPath() + " does not exist\n");
    EXPECT_TRUE(outcome.error.isEmpty());
}

TEST_F(AutostartTest, entrySwitchedOffByDesktop_isOffAndOnRewritesIt)
{
    const Autostart autostart(configHome());
    for (const QByteArray &switchedOff : {QByteArray("Hidden=true\n"), QByteArray("X-GNOME-Autostart-enabled=false\n")}) {
        writeFile(autostart.entryPath(), "[Desktop Entry]\nType=Application\nExec=/usr/bin/dialwise --hidden\n" + switchedOff);
        EXPECT_EQ(autostart.state(), Autostart::State::off) << switchedOff.constData();
        ASSERT_EQ(autostart.enable(QStringLiteral("/usr/bin/dialwise")).exitCode, 0);
        EXPECT_EQ(autostart.state(), Autostart::State::on);
    }
}

TEST_F(AutostartTest, switchInOtherGroup_doesNotCount)
{
    const Autostart autostart(configHome());
    writeFile(autostart.entryPath(),
              "[Desktop Entry]\nType=Application\nExec=dialwise --hidden\n\n[Desktop Action x]\nHidden=true\n");
    EXPECT_EQ(autostart.state(), Autostart::State::on);
}

TEST_F(AutostartTest, enableWhereFolderCannotBeMade_failsWithPath)
{
    // A file where the configuration folder should be: nothing can be created below it.
    writeFile(configHome(), "not a folder");
    const Autostart autostart(configHome());
    const Autostart::Outcome outcome = autostart.enable(QStringLiteral("/usr/bin/dialwise"));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_TRUE(outcome.out.isEmpty());
    EXPECT_EQ(outcome.error, "cannot create the folder " + configHome() + "/autostart");
}

TEST_F(AutostartTest, disableWhenEntryCannotBeRemoved_failsWithPath)
{
    const Autostart autostart(configHome());
    ASSERT_EQ(autostart.enable(QStringLiteral("/usr/bin/dialwise")).exitCode, 0);
    // A non-empty folder in the entry's place cannot be removed as a file.
    QFile::remove(autostart.entryPath());
    ASSERT_TRUE(QDir().mkpath(autostart.entryPath() + "/inside"));
    const Autostart::Outcome outcome = autostart.disable();
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_TRUE(outcome.error.startsWith("cannot remove " + autostart.entryPath() + ": ")) << outcome.error.toStdString();
}

TEST_F(AutostartTest, enableWithPathDesktopsCannotRun_failsAndWritesNothing)
{
    const Autostart autostart(configHome());
    for (const QString &program : {QStringLiteral("/opt/a\nb/dialwise"), QStringLiteral("/opt/100%/dialwise")}) {
        const Autostart::Outcome outcome = autostart.enable(program);
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_EQ(outcome.error, "cannot start " + program
                                     + " from a login entry: its path holds a control character or a %, which desktops "
                                       "do not read back as written");
        EXPECT_FALSE(QFileInfo::exists(autostart.entryPath()));
    }
}

struct ExecRow
{
    const char *name;
    const char *program;
    const char *exec; // as written in the file; nullptr: cannot be written
};

void PrintTo(const ExecRow &row, std::ostream *os)
{
    *os << row.program;
}

using AutostartExecTest = ::testing::TestWithParam<ExecRow>;

// Desktop Entry format: reserved characters need double quotes; inside them " ` $ \ take a
// backslash, then every backslash of the string value is doubled.
TEST_P(AutostartExecTest, execProgram_quotesAndEscapesAsDesktopEntriesWant)
{
    const ExecRow &row = GetParam();
    const std::optional<QString> exec = Autostart::execProgram(QString::fromUtf8(row.program));
    if (row.exec)
        EXPECT_EQ(exec, std::optional<QString>(QString::fromUtf8(row.exec)));
    else
        EXPECT_EQ(exec, std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, AutostartExecTest,
    ::testing::Values(ExecRow{"plain", "/usr/bin/dialwise", "/usr/bin/dialwise"},
                      ExecRow{"dotsDashesPlus", "/opt/dial-wise_0.1+x/dialwise", "/opt/dial-wise_0.1+x/dialwise"},
                      ExecRow{"space", "/home/u/my build/dialwise", "\"/home/u/my build/dialwise\""},
                      ExecRow{"dollar", "/home/u/$x/dialwise", "\"/home/u/\\\\$x/dialwise\""},
                      ExecRow{"doubleQuote", "/home/u/a\"b/dialwise", "\"/home/u/a\\\\\"b/dialwise\""},
                      ExecRow{"backtick", "/home/u/a`b/dialwise", "\"/home/u/a\\\\`b/dialwise\""},
                      ExecRow{"backslash", "/home/u/a\\b/dialwise", "\"/home/u/a\\\\\\\\b/dialwise\""},
                      ExecRow{"singleQuote", "/home/u/it's/dialwise", "\"/home/u/it's/dialwise\""},
                      // "%%" is how the format writes it, but GLib then looks for a program
                      // named "100%%" and refuses the entry.
                      ExecRow{"percent", "/home/u/100%/dialwise", nullptr},
                      ExecRow{"nonAscii", "/home/ü/dialwise", "/home/ü/dialwise"},
                      ExecRow{"newline", "/home/u/a\nb/dialwise", nullptr},
                      ExecRow{"tab", "/home/u/a\tb/dialwise", nullptr}), dialwise::testing::RowName());

TEST(AutostartEntryTextTest, entryText_isCompleteLoginEntry)
{
    EXPECT_EQ(Autostart::entryText(QStringLiteral("/usr/bin/dialwise")),
              std::optional<QString>(QStringLiteral("[Desktop Entry]\n"
                                                    "Type=Application\n"
                                                    "Version=1.4\n"
                                                    "Name=Dialwise\n"
                                                    "Comment=Start Dialwise in the tray at login\n"
                                                    "Exec=/usr/bin/dialwise --hidden\n"
                                                    "Icon=app.dialwise.Dialwise\n"
                                                    "Terminal=false\n"
                                                    "NoDisplay=true\n"
                                                    "X-GNOME-Autostart-enabled=true\n")));
}

} // namespace
