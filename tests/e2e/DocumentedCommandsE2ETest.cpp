// The README's usage block and the manual's examples, run as written against the real program on
// a private desktop where Dialwise already runs (the stand-in web app behind DIALWISE_VOICE_URL,
// so nothing reaches the internet). Each command documents its exit status, "(exit N)", and what
// it prints first: `prints "X"` is the first line on stdout, `says "X"` the first on stderr; a
// stream with nothing documented must stay empty. A documented text ending in "..." is a prefix.
// So the documents cannot drift from the program.
#include "tests/e2e/ShellRig.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using dialwise::testing::ShellRig;

// Readable texts in failure messages.
inline void PrintTo(const QString &text, std::ostream *os)
{
    *os << '"' << text.toStdString() << '"';
}

namespace {

struct DocumentedCommand
{
    QString command;   // as a shell reads it, program name `dialwise`
    int exitStatus = -1;
    std::optional<QString> stdoutFirst;
    std::optional<QString> stderrFirst;
};

std::ostream &operator<<(std::ostream &os, const DocumentedCommand &command)
{
    return os << command.command.toStdString();
}

QString readSource(const char *relativePath)
{
    QFile file(QStringLiteral(DIALWISE_SOURCE_DIR "/") + QString::fromLatin1(relativePath));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// The quoted text after `keyword "`: it ends at the quote followed by a blank, a comma, a
// semicolon, a closing parenthesis or the end, so that quotes inside it survive.
std::optional<QString> quotedAfter(const QString &description, const QString &keyword)
{
    const QRegularExpression opening(QStringLiteral("\\b%1 \"").arg(keyword), QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = opening.match(description);
    if (!match.hasMatch())
        return std::nullopt;
    const qsizetype begin = match.capturedEnd();
    for (qsizetype i = begin; i < description.size(); ++i) {
        if (description[i] != u'"')
            continue;
        const QChar next = i + 1 < description.size() ? description[i + 1] : QChar(u' ');
        if (next == u' ' || next == u',' || next == u';' || next == u')')
            return description.mid(begin, i - begin);
    }
    return std::nullopt;
}

DocumentedCommand fromDescription(const QString &command, const QString &description)
{
    DocumentedCommand documented;
    documented.command = command.trimmed();
    const QRegularExpressionMatch exit = QRegularExpression(QStringLiteral("\\(exit (\\d)\\)")).match(description);
    if (exit.hasMatch())
        documented.exitStatus = exit.captured(1).toInt();
    documented.stdoutFirst = quotedAfter(description, QStringLiteral("prints"));
    documented.stderrFirst = quotedAfter(description, QStringLiteral("says"));
    return documented;
}

// The ```sh block under "## Usage": "build/dialwise ARGS   # what it does ... (exit N)".
QList<DocumentedCommand> readmeCommands()
{
    const QString readme = readSource("README.md");
    const qsizetype section = readme.indexOf(QStringLiteral("\n## Usage\n"));
    const qsizetype begin = readme.indexOf(QStringLiteral("```sh\n"), section);
    const qsizetype end = readme.indexOf(QStringLiteral("\n```"), begin);
    QList<DocumentedCommand> commands;
    if (section < 0 || begin < 0 || end < 0)
        return commands;
    const QString block = readme.mid(begin + 6, end - begin - 6);
    for (const QString &line : block.split(u'\n', Qt::SkipEmptyParts)) {
        const qsizetype comment = line.indexOf(QRegularExpression(QStringLiteral("\\s#\\s")));
        QString command = comment < 0 ? line : line.left(comment);
        command = command.trimmed();
        if (command.startsWith(QStringLiteral("build/")))
            command = command.mid(6);
        commands.append(fromDescription(command, comment < 0 ? QString() : line.mid(comment)));
    }
    return commands;
}

QString unescapeRoff(QString text)
{
    text.replace(QStringLiteral("\\(dq"), QStringLiteral("\""));
    text.replace(QStringLiteral("\\-"), QStringLiteral("-"));
    text.replace(QStringLiteral("\\e"), QStringLiteral("\\"));
    return text;
}

// The manual's EXAMPLES: ".TP", ".B COMMAND", then its description up to the next request.
QList<DocumentedCommand> manualExamples()
{
    const QString manual = readSource("data/dialwise.1");
    const qsizetype begin = manual.indexOf(QStringLiteral("\n.SH EXAMPLES\n"));
    const qsizetype end = manual.indexOf(QStringLiteral("\n.SH "), begin + 1);
    QList<DocumentedCommand> commands;
    if (begin < 0 || end < 0)
        return commands;
    const QStringList lines = manual.mid(begin + 1, end - begin).split(u'\n');
    for (qsizetype i = 0; i + 1 < lines.size(); ++i) {
        if (lines[i] != u".TP" || !lines[i + 1].startsWith(QStringLiteral(".B ")))
            continue;
        const QString command = unescapeRoff(lines[i + 1].mid(3));
        QString description;
        for (qsizetype j = i + 2; j < lines.size() && !lines[j].startsWith(u'.'); ++j)
            description += u' ' + lines[j];
        commands.append(fromDescription(command, unescapeRoff(description)));
    }
    return commands;
}

QString firstLine(const QByteArray &output)
{
    const QString text = QString::fromUtf8(output);
    return text.left(text.indexOf(u'\n'));
}

void expectFirstLine(const std::optional<QString> &documented, const QByteArray &output, const char *stream,
                     const DocumentedCommand &command)
{
    if (!documented) {
        EXPECT_EQ(QString::fromUtf8(output), QString()) << command << ": nothing documented on " << stream;
        return;
    }
    const QString line = firstLine(output);
    if (documented->endsWith(QStringLiteral("...")))
        EXPECT_TRUE(line.startsWith(documented->chopped(3))) << command << ": " << stream << " began " << line.toStdString();
    else
        EXPECT_EQ(line, *documented) << command << ": " << stream;
}

class DocumentedCommandsE2ETest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // `dialwise` as the documents write it: this build's program first in PATH, and the
        // source tree as the working folder for the paths they name.
        ASSERT_TRUE(m_bin.isValid());
        ASSERT_TRUE(QFile::link(ShellRig::program(), m_bin.filePath(QStringLiteral("dialwise"))));
        qputenv("PATH", m_bin.path().toLocal8Bit() + ':' + qgetenv("PATH"));
        ASSERT_TRUE(QDir::setCurrent(QStringLiteral(DIALWISE_SOURCE_DIR)));
        ASSERT_TRUE(m_rig.startStandIn());
        ASSERT_TRUE(m_rig.startPrimary()) << m_rig.primaryErrors().toStdString();
    }

    void runAll(const QList<DocumentedCommand> &commands)
    {
        for (const DocumentedCommand &command : commands) {
            ASSERT_NE(command.exitStatus, -1) << command << ": no \"(exit N)\" documented";
            if (command.command != u"dialwise --quit") {
                ASSERT_TRUE(m_rig.primaryRunning()) << "Dialwise ended before " << command;
            }
            const ShellRig::Run run = m_rig.runTool(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), command.command}, 30000);
            ASSERT_TRUE(run.finished) << command << " did not finish";
            EXPECT_EQ(run.exitCode, command.exitStatus) << command << "\nstderr: " << run.err.toStdString();
            expectFirstLine(command.stdoutFirst, run.out, "stdout", command);
            expectFirstLine(command.stderrFirst, run.err, "stderr", command);
        }
    }

    QTemporaryDir m_bin;
    ShellRig m_rig;
};

TEST_F(DocumentedCommandsE2ETest, readmeUsage_eachCommandDoesWhatItSays)
{
    const QList<DocumentedCommand> commands = readmeCommands();
    ASSERT_GE(commands.size(), 15) << "README usage block not found or shrunk";
    runAll(commands);
    // The block ends with --quit, which must have ended the running Dialwise.
    EXPECT_EQ(commands.last().command, QStringLiteral("dialwise --quit"));
    EXPECT_TRUE(ShellRig::waitUntil([&] { return !m_rig.primaryRunning(); }, 10000));
}

TEST_F(DocumentedCommandsE2ETest, manualExamples_eachDoesWhatItSays)
{
    const QList<DocumentedCommand> commands = manualExamples();
    ASSERT_GE(commands.size(), 8) << "manual EXAMPLES not found or shrunk";
    runAll(commands);
    EXPECT_TRUE(ShellRig::waitUntil([&] { return !m_rig.primaryRunning(); }, 10000));
}

// The reading itself, so that a document the parser misreads fails here and not as a puzzle.
TEST(DocumentedCommandsParseTest, descriptions_yieldExitAndFirstLines)
{
    const DocumentedCommand says = fromDescription(
        QStringLiteral("dialwise --explain a b"),
        QStringLiteral("Says \"dialwise: extra argument \"b\": --explain takes one text\" (exit 2)."));
    EXPECT_EQ(says.exitStatus, 2);
    EXPECT_EQ(says.stderrFirst, QString("dialwise: extra argument \"b\": --explain takes one text"));
    EXPECT_EQ(says.stdoutFirst, std::nullopt);
    const DocumentedCommand prints =
        fromDescription(QStringLiteral("dialwise --explain x"), QStringLiteral("# prints \"normalised: 1\", then more (exit 0)"));
    EXPECT_EQ(prints.exitStatus, 0);
    EXPECT_EQ(prints.stdoutFirst, QString("normalised: 1"));
    EXPECT_EQ(fromDescription(QStringLiteral("x"), QStringLiteral("# no status")).exitStatus, -1);
}

} // namespace
