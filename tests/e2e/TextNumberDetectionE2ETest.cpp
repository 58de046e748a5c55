// Clicks on phone numbers written in real programs' ordinary text, end to end: the real `dialwise
// --detect-phone-links` on a private X desktop with the AT-SPI bus; a GTK 3 label (zenity), the GTK
// editor (mousepad), a Qt QTextEdit (text-fixture-qt) and a page in Firefox ESR, clicked with
// xdotool. The number's rectangle is read by the test itself through the program's accessibility
// tree (tests/support/text-range-extents.py), the strip's geometry with xwininfo, and a recording
// xdg-open first on PATH stands in for the browser.
#include "tests/e2e/ShellRig.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QRect>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <iostream>
#include <optional>

using dialwise::testing::ShellRig;

namespace {

QTemporaryDir *g_bin = nullptr;

const QString kStripTitle = QStringLiteral("Call with Dialwise");
// Every program shows this number; the Google Voice provider dials these digits for it.
const QString kDigits = QStringLiteral("15550104477");
// The popup path's four attempts after a click end 1.5 s after it.
constexpr int kLastAttemptMs = 1500;
// The text path answers at the click: a strip that has not come within this long is not coming.
constexpr int kTextStripWaitMs = 2000;

struct Program
{
    const char *name;
    QString needle; // the number exactly as the program writes it
    QString beside; // a word on the same line
    int waitSeconds; // how long the program may take to show its text on the bus
    // Drawn at this density (GDK_SCALE): the program's tree then speaks its logical pixels, and
    // the number is drawn at this many times their coordinates on the screen.
    int scale = 1;
};

QStringList openedUrls()
{
    QFile log(g_bin->filePath(QStringLiteral("opened.log")));
    if (!log.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(log.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

QString logText()
{
    QFile log(qEnvironmentVariable("XDG_STATE_HOME") + QStringLiteral("/Dialwise/Dialwise.log"));
    if (!log.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(log.readAll());
}

bool click(const QPoint &at)
{
    QProcess xdotool;
    xdotool.start(QStringLiteral("xdotool"), {QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y()),
                                              QStringLiteral("click"), QStringLiteral("1")});
    return xdotool.waitForFinished(5000) && xdotool.exitCode() == 0;
}

std::optional<QRect> xwininfoGeometry(unsigned long id)
{
    QProcess xwininfo;
    xwininfo.start(QStringLiteral("xwininfo"), {QStringLiteral("-id"), QString::number(id)});
    xwininfo.waitForFinished(5000);
    const QString out = QString::fromUtf8(xwininfo.readAllStandardOutput());
    auto field = [&](const char *name) {
        const QRegularExpression re(QString::fromLatin1(name) + QStringLiteral(R"(:\s*(-?\d+))"));
        const QRegularExpressionMatch match = re.match(out);
        return match.hasMatch() ? std::optional<int>(match.captured(1).toInt()) : std::nullopt;
    };
    const auto x = field("Absolute upper-left X"), y = field("Absolute upper-left Y");
    const auto w = field("Width"), h = field("Height");
    if (!x || !y || !w || !h)
        return std::nullopt;
    return QRect(*x, *y, *w, *h);
}

std::optional<QRect> waitForStrip(int timeoutMs)
{
    std::optional<QRect> strip;
    ShellRig::waitUntil([&] {
        const QList<unsigned long> windows = ShellRig::viewableWindowsTitled(kStripTitle);
        strip = windows.isEmpty() ? std::nullopt : xwininfoGeometry(windows.first());
        return strip.has_value();
    }, timeoutMs);
    return strip;
}

bool stripGone(int timeoutMs)
{
    return ShellRig::waitUntil([] { return ShellRig::viewableWindowsTitled(kStripTitle).isEmpty(); }, timeoutMs);
}

QString logFrame(const QRect &rect)
{
    return QStringLiteral("(%1.0, %2.0, %3.0, %4.0)").arg(rect.x()).arg(rect.y()).arg(rect.width()).arg(rect.height());
}

class TextNumberDetection : public ::testing::TestWithParam<Program>
{
protected:
    static void SetUpTestSuite()
    {
        rig = new ShellRig;
        ASSERT_TRUE(rig->startStandIn());
        ASSERT_TRUE(rig->startPrimary({QStringLiteral("--detect-phone-links")})) << rig->primaryErrors().toStdString();
        for (const QString &window : rig->visibleWindows())
            rig->closeWindow(window);
        ASSERT_TRUE(ShellRig::waitUntil([] { return ShellRig::viewableWindowsTitled(QStringLiteral("Dialwise")).isEmpty(); }, 10000));
        ASSERT_TRUE(ShellRig::waitUntil([] { return logText().contains(QStringLiteral("Monitoring active.")); }, 10000))
            << logText().toStdString() << rig->primaryErrors().toStdString();
    }
    static void TearDownTestSuite()
    {
        delete rig;
        rig = nullptr;
    }

    void TearDown() override
    {
        if (program) {
            program->kill();
            program->waitForFinished(5000);
            program.reset();
        }
        for (const QString &window : rig->visibleWindows())
            rig->closeWindow(window);
        stripGone(2000);
        waitForScansOfLastClick();
    }

    // Starts the program showing the number and reads where it draws the number and the word
    // beside it, as its own tree tells.
    void startProgram()
    {
        const Program &p = GetParam();
        const QString samples = scratch.path();
        QStringList command;
        const QString name = QString::fromLatin1(p.name);
        if (name.startsWith(u"gtk-label")) {
            command = {QStringLiteral("zenity"), QStringLiteral("--info"), QStringLiteral("--no-wrap"),
                       QStringLiteral("--text"), QStringLiteral("Front desk: %1 today").arg(p.needle)};
        } else if (name == u"gtk-editor") {
            const QString file = samples + QStringLiteral("/office-hours.txt");
            QFile text(file);
            ASSERT_TRUE(text.open(QIODevice::WriteOnly));
            text.write(QStringLiteral("Office hours: 9 to 5\nCall the desk at %1 today\nThanks\n").arg(p.needle).toUtf8());
            text.close();
            command = {QStringLiteral("mousepad"), file};
        } else if (name == u"qt-editor") {
            command = {qEnvironmentVariable("DIALWISE_E2E_TEXT_FIXTURE_QT"), QStringLiteral("--label"),
                       QStringLiteral("No number in this label"), QStringLiteral("--edit"),
                       QStringLiteral("Office hours\nRing %1 today\nThanks").arg(p.needle)};
        } else {
            const QString page = samples + QStringLiteral("/contact.html");
            QFile html(page);
            ASSERT_TRUE(html.open(QIODevice::WriteOnly));
            html.write(QStringLiteral("<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><title>Contact</title>"
                                      "</head><body style=\"font: 16px sans-serif; margin: 40px\"><h1>Contact</h1>"
                                      "<p>Call %1 today, or write to us.</p></body></html>")
                           .arg(p.needle)
                           .toUtf8());
            html.close();
            const QString profile = samples + QStringLiteral("/firefox");
            QDir().mkpath(profile);
            command = {QStringLiteral("firefox-esr"), QStringLiteral("--no-remote"), QStringLiteral("--new-instance"),
                       QStringLiteral("--profile"), profile, QStringLiteral("file://") + page};
        }
        program = std::make_unique<QProcess>();
        QProcessEnvironment environment = rig->environment();
        if (p.scale != 1)
            environment.insert(QStringLiteral("GDK_SCALE"), QString::number(p.scale));
        program->setProcessEnvironment(environment);
        program->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        program->setStandardOutputFile(QProcess::nullDevice());
        program->start(command.takeFirst(), command);
        ASSERT_TRUE(program->waitForStarted(10000)) << command.join(u' ').toStdString();

        QProcess reader;
        reader.setProcessEnvironment(rig->environment());
        reader.start(QStringLiteral("/usr/bin/python3"),
                     {qEnvironmentVariable("DIALWISE_E2E_TEXT_EXTENTS"), QString::number(program->processId()),
                      QString::number(p.waitSeconds), p.needle, p.beside});
        ASSERT_TRUE(reader.waitForFinished((p.waitSeconds + 20) * 1000));
        const QStringList lines = QString::fromUtf8(reader.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
        ASSERT_EQ(lines.size(), 2) << reader.readAllStandardError().toStdString();
        auto rect = [&p](const QString &line) {
            const QStringList v = line.split(u' ');
            return v.size() == 4 ? QRect(v[0].toInt() * p.scale, v[1].toInt() * p.scale, v[2].toInt() * p.scale,
                                         v[3].toInt() * p.scale)
                                 : QRect();
        };
        number = rect(lines[0]);
        beside = rect(lines[1]);
        ASSERT_FALSE(number.isEmpty()) << "the number is not on the program's accessibility tree";
        ASSERT_FALSE(beside.isEmpty()) << "the word beside it is not on the program's accessibility tree";
    }

    void clickAt(const QPoint &at)
    {
        lastClick.start();
        ASSERT_TRUE(click(at));
    }

    void waitForScansOfLastClick()
    {
        if (lastClick.isValid())
            ShellRig::waitUntil([&] { return lastClick.hasExpired(kLastAttemptMs + 200); }, kLastAttemptMs + 500);
    }

    static ShellRig *rig;
    QTemporaryDir scratch;
    std::unique_ptr<QProcess> program;
    QRect number;
    QRect beside;
    QElapsedTimer lastClick;
};

ShellRig *TextNumberDetection::rig = nullptr;

TEST_P(TextNumberDetection, clickOnNumber_stripUnderIt_clickCalls_clickBesideShowsNothing)
{
    ASSERT_NO_FATAL_FAILURE(startProgram());
    const QString needle = GetParam().needle;

    // Beside the number, on the same line: nothing.
    qsizetype logBefore = logText().size();
    ASSERT_NO_FATAL_FAILURE(clickAt(beside.center()));
    EXPECT_FALSE(ShellRig::waitUntil([] { return !ShellRig::viewableWindowsTitled(kStripTitle).isEmpty(); },
                                     kTextStripWaitMs))
        << logText().mid(logBefore).toStdString();
    EXPECT_FALSE(logText().mid(logBefore).contains(QStringLiteral("FOUND via text"))) << logText().mid(logBefore).toStdString();
    waitForScansOfLastClick();

    // On the number: the strip, its top-left corner at the number's bottom-left one.
    logBefore = logText().size();
    ASSERT_NO_FATAL_FAILURE(clickAt(number.center()));
    const std::optional<QRect> strip = waitForStrip(kTextStripWaitMs);
    ASSERT_TRUE(strip) << logText().mid(logBefore).toStdString() << rig->primaryErrors().right(3000).toStdString();
    EXPECT_EQ(*strip, QRect(number.left(), number.bottom() + 1, 260, 30)) << "number at " << number.x() << ","
                                                                           << number.y() << " " << number.width() << "x"
                                                                           << number.height();
    const QString log = logText().mid(logBefore);
    EXPECT_TRUE(log.contains(QStringLiteral("FOUND via text under the click: ") + needle + QStringLiteral(" at ")
                             + logFrame(number)))
        << log.toStdString();
    // Still there when the click's popup attempts are over: nothing else took it away.
    waitForScansOfLastClick();
    ASSERT_FALSE(ShellRig::viewableWindowsTitled(kStripTitle).isEmpty()) << logText().mid(logBefore).toStdString();

    // Its click calls the number.
    const qsizetype openedBefore = openedUrls().size();
    ASSERT_TRUE(click(strip->center()));
    ASSERT_TRUE(ShellRig::waitUntil([&] { return openedUrls().size() > openedBefore; }, 5000)) << "xdg-open was not run";
    EXPECT_EQ(openedUrls().mid(openedBefore),
              QStringList{rig->standIn().baseUrl().toString() + ShellRig::newCallPrefix() + kDigits});
    EXPECT_TRUE(stripGone(1000));
}

INSTANTIATE_TEST_SUITE_P(Programs, TextNumberDetection,
                         ::testing::Values(Program{"gtk-label", QStringLiteral("+1 555 010 4477"), QStringLiteral("desk"), 30},
                                           Program{"gtk-label-2x", QStringLiteral("+1 555 010 4477"), QStringLiteral("desk"), 30, 2},
                                           Program{"gtk-editor", QStringLiteral("555-010-4477"), QStringLiteral("desk"), 30},
                                           Program{"qt-editor", QStringLiteral("555-010-4477"), QStringLiteral("Ring"), 30},
                                           Program{"firefox", QStringLiteral("+1 555 010 4477"), QStringLiteral("write"), 90}),
                         [](const ::testing::TestParamInfo<Program> &row) {
                             QString name = QString::fromLatin1(row.param.name);
                             return name.replace(u'-', u'_').toStdString();
                         });

} // namespace

int main(int argc, char **argv)
{
    // A recording xdg-open first on PATH stands in for the user's browser.
    QTemporaryDir bin;
    g_bin = &bin;
    QFile script(bin.filePath(QStringLiteral("xdg-open")));
    if (!script.open(QIODevice::WriteOnly))
        return 2;
    script.write("#!/bin/sh\nprintf '%s\\n' \"$*\" >> \"" + bin.filePath(QStringLiteral("opened.log")).toUtf8() + "\"\n");
    script.close();
    script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("PATH", bin.path().toUtf8() + ':' + qgetenv("PATH"));

    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
