// The phone-link detector end to end: the real `dialwise --detect-phone-links` on a private X
// desktop with the AT-SPI bus, the Qt and GTK fixtures clicked with xdotool, a recording xdg-open
// first on PATH standing in for the browser, geometry read back with xwininfo.
#include "platform/linux/AtspiElementTree.h"
#include "platform/linux/X11Connection.h"
#include "tests/e2e/DetectorDesktop.h"
#include "tests/e2e/ShellSuite.h"
#include "tests/support/PhoneLinkFixtureProcess.h"
#include "tests/support/RecordingOpener.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/types.h>

// The rigs and the desktop helpers of the detector's tests.
using namespace dialwise::testing;
using Toolkit = PhoneLinkFixtureProcess::Toolkit;

namespace {

dialwise::testing::RecordingOpener *g_opener = nullptr;

// The fixture's number as the Google Voice provider dials it.
const QString kDigits = QStringLiteral("15550104477");
// Long enough for all four scan attempts of a click (the last at 1.5 s) and their log lines.
constexpr int kScanBurstMs = 2500;
// How long something that must not appear gets to appear anyway: a strip comes 0.3 s after a
// click, so twice the whole scan burst is ample.
constexpr int kAbsenceWindowMs = 2 * kScanBurstMs;

QStringList openedUrls()
{
    return g_opener->openedUrls();
}

// The strip's window and its geometry as xwininfo reports it.
struct Strip
{
    unsigned long id = 0;
    QRect geometry;
};

std::optional<Strip> waitForStrip(int timeoutMs, const std::optional<QRect> &expected = std::nullopt)
{
    std::optional<Strip> strip;
    ShellRig::waitUntil([&] {
        const QList<unsigned long> windows = ShellRig::viewableWindowsTitled(kStripTitle);
        if (windows.isEmpty())
            return false;
        const std::optional<QRect> geometry = xwininfoGeometry(windows.first());
        if (!geometry)
            return false;
        strip = Strip{windows.first(), *geometry};
        return !expected || *geometry == *expected;
    }, timeoutMs);
    return strip;
}

// The popup's own strip. A fixture whose number is a GTK label also shows the number in text the
// detector reads at the click, so a strip under the number comes first and the popup's strip
// takes its place when an attempt finds the popup; this waits for the latter (and answers the
// last strip seen when it does not come, for the failure message).
std::optional<Strip> waitForPopupStrip(const QRect &popup, int timeoutMs);

// The element a screen reader finds at the strip's centre, through Dialwise's own accessibility
// tree, which the toolkit publishes a moment after the window appears.
struct StripButton
{
    QString name;
    QString role;
    std::string miss; // what the last look-up that found nothing ran into
};

StripButton readStripButton(dialwise::AtspiElementTree &tree, const QRect &strip)
{
    StripButton found;
    ShellRig::waitUntil([&] {
        dialwise::ElementHandle button;
        const int code = tree.copyElementAtPosition(float(strip.center().x()), float(strip.center().y()), button);
        if (code != dialwise::ElementTree::kSuccess || !button) {
            found.miss = "no element at the strip's centre (code " + std::to_string(code) + ")";
            return false;
        }
        dialwise::AttributeValue title, role;
        const int titleCode = tree.copyAttributeValue(button, dialwise::Attribute::title, title);
        tree.copyAttributeValue(button, dialwise::Attribute::role, role);
        const auto *text = std::get_if<QString>(&title);
        const auto *roleText = std::get_if<QString>(&role);
        found.name = text ? text->trimmed() : QString();
        found.role = roleText ? *roleText : QString();
        if (found.name.isEmpty())
            found.miss = "element without a title (code " + std::to_string(titleCode) + ", role " +
                found.role.toStdString() + ")";
        return !found.name.isEmpty();
    }, 5000);
    return found;
}

QRect expectedStrip(const QRect &popup)
{
    // Under the popup, overlapping its lower edge by 8, as wide as it, 30 high.
    return QRect(popup.x(), popup.y() + popup.height() - 8, popup.width(), 30);
}

std::optional<Strip> waitForPopupStrip(const QRect &popup, int timeoutMs)
{
    return waitForStrip(timeoutMs, expectedStrip(popup));
}

// A click on the fixture's number brings its popup and the strip; a click on `away` takes the
// strip away again; then that click's last scans run out.
void expectStripComesAndGoes(PhoneLinkFixtureProcess &fixture, const QPoint &away)
{
    ASSERT_TRUE(xdotoolClick(fixture.numberCentre()));
    ASSERT_TRUE(fixture.waitForPopup());
    ASSERT_TRUE(waitForStrip(kScanBurstMs)) << ShellRig::logText().toStdString();
    ASSERT_TRUE(xdotoolClick(away));
    EXPECT_TRUE(stripGone(kAbsenceWindowMs));
    ShellRig::pump(kScanBurstMs);
}

class PhoneLinkDetection : public ShellSuite<::testing::TestWithParam<Toolkit>>
{
protected:
    static void SetUpTestSuite() { startDetecting(); }

    void TearDown() override
    {
        fixture.reset();
        // Whatever a test left on screen goes: Dialwise's windows (the Dial Number dialog too)
        // are closed, and a click on the empty desktop removes any strip.
        rig->closeVisibleWindows();
        lastClick.start();
        xdotoolClick(QPoint(1270, 1015));
        stripGone(2000);
        // This click's scan attempts, and any left of the test's own clicks, must be over before
        // the next test's clicks.
        waitForScansOfLastClick();
    }

    void startFixture(const QStringList &arguments = {})
    {
        fixture = PhoneLinkFixtureProcess::start(GetParam(), arguments);
        ASSERT_TRUE(fixture);
    }

    QRect clickNumberForPopup()
    {
        lastClick.start();
        EXPECT_TRUE(xdotoolClick(fixture->numberCentre()));
        const std::optional<QRect> popup = fixture->waitForPopup();
        EXPECT_TRUE(popup);
        return popup.value_or(QRect());
    }

    void waitForScansOfLastClick() { waitForScansAfter(lastClick); }

    std::unique_ptr<PhoneLinkFixtureProcess> fixture;
    QElapsedTimer lastClick;
};


TEST_P(PhoneLinkDetection, clickOnNumber_stripUnderPopup_clickCallsAndRemovesStrip)
{
    startFixture();
    const qsizetype logBefore = ShellRig::logText().size();
    const QRect popup = clickNumberForPopup();
    ASSERT_EQ(popup.size(), QSize(260, 120));
    const std::optional<XWindowListing> listed = xwininfoWindowSized(260, 120);
    ASSERT_TRUE(listed);
    ASSERT_EQ(listed->geometry, popup) << "fixture and xwininfo disagree about the popup";

    const std::optional<Strip> strip = waitForPopupStrip(listed->geometry, kScanBurstMs);
    ASSERT_TRUE(strip) << ShellRig::logText().mid(logBefore).toStdString() << rig->primaryErrors().right(3000).toStdString();
    EXPECT_EQ(strip->geometry, expectedStrip(listed->geometry));
    const QString log = ShellRig::logText().mid(logBefore);
    EXPECT_TRUE(log.contains(QStringLiteral("FOUND via new-window detection: +1 (555) 010-4477 at ") + logFrame(popup)))
        << log.toStdString() << rig->primaryErrors().right(3000).toStdString();

    // A screen reader finds the button, with the number it calls.
    dialwise::AtspiElementTree tree(dialwise::X11Connection::open());
    const StripButton button = readStripButton(tree, strip->geometry);
    EXPECT_EQ(button.name, QStringLiteral("Call with Dialwise +1 (555) 010-4477")) << button.miss;
    EXPECT_EQ(button.role, QStringLiteral("AXPushButton"));

    waitForScansOfLastClick();
    const qsizetype openedBefore = openedUrls().size();
    ASSERT_TRUE(xdotoolClick(strip->geometry.center()));
    ASSERT_TRUE(ShellRig::waitUntil([&] { return openedUrls().size() > openedBefore; }, 5000)) << "xdg-open was not run";
    EXPECT_EQ(openedUrls().mid(openedBefore),
              QStringList{rig->standIn().baseUrl().toString() + ShellRig::newCallPrefix() + kDigits});
    EXPECT_TRUE(stripGone(1000));
}

TEST_P(PhoneLinkDetection, popupCloses_stripGoes)
{
    startFixture();
    const qsizetype logBefore = ShellRig::logText().size();
    const QRect popup = clickNumberForPopup();
    ASSERT_TRUE(waitForPopupStrip(popup, kScanBurstMs)) << ShellRig::logText().mid(logBefore).toStdString();
    const std::optional<XWindowListing> listed = xwininfoWindowSized(260, 120);
    ASSERT_TRUE(listed);
    // The popup goes away without any click (as when its program closes it).
    ASSERT_TRUE(xdotool({QStringLiteral("windowunmap"), QString::number(listed->id)}));
    // Nothing else would take it away; how soon it goes is bench/DetectorStallBench.cpp's figure.
    EXPECT_TRUE(stripGone(kAbsenceWindowMs));
}

TEST_P(PhoneLinkDetection, clickElsewhere_removesStrip)
{
    startFixture();
    const qsizetype logBefore = ShellRig::logText().size();
    const QRect popup = clickNumberForPopup();
    ASSERT_TRUE(waitForPopupStrip(popup, kScanBurstMs)) << ShellRig::logText().mid(logBefore).toStdString()
                                                        << rig->primaryErrors().right(6000).toStdString();
    ASSERT_TRUE(xdotoolClick(QPoint(1270, 1015)));
    // How soon it goes is bench/DetectorStallBench.cpp's figure.
    EXPECT_TRUE(stripGone(kAbsenceWindowMs));
}

TEST_P(PhoneLinkDetection, popupOpenBeforeClick_foundByClickPositionScan)
{
    startFixture({QStringLiteral("--popup-at-start")});
    // Open before the fixture says it is ready, so read it off the X server.
    std::optional<QRect> popup;
    ASSERT_TRUE(ShellRig::waitUntil([&] {
        const auto listed = xwininfoWindowSized(260, 120);
        popup = listed ? std::optional<QRect>(listed->geometry) : std::nullopt;
        return popup.has_value();
    }, 5000));
    const qsizetype logBefore = ShellRig::logText().size();
    // A click inside the open popup, on one of its entries.
    lastClick.start();
    ASSERT_TRUE(xdotoolClick(popup->topLeft() + QPoint(130, 60)));
    const std::optional<Strip> strip = waitForPopupStrip(*popup, kScanBurstMs);
    ASSERT_TRUE(strip) << ShellRig::logText().mid(logBefore).toStdString();
    EXPECT_EQ(strip->geometry, expectedStrip(*popup));
    const QString log = ShellRig::logText().mid(logBefore);
    EXPECT_TRUE(log.contains(QStringLiteral("FOUND via AX-at-position: +1 (555) 010-4477 at ") + logFrame(*popup)))
        << log.toStdString();
    EXPECT_FALSE(log.contains(QStringLiteral("FOUND via new-window detection")));
}

TEST_P(PhoneLinkDetection, popupWithoutNumber_stripOpensDialDialog)
{
    startFixture({QStringLiteral("--no-number")});
    const qsizetype logBefore = ShellRig::logText().size();
    const QRect popup = clickNumberForPopup();
    const std::optional<Strip> strip = waitForPopupStrip(popup, kScanBurstMs);
    ASSERT_TRUE(strip);
    EXPECT_EQ(strip->geometry, expectedStrip(popup));
    EXPECT_TRUE(ShellRig::logText().mid(logBefore).contains(QStringLiteral(": unknown at ") + logFrame(popup)))
        << ShellRig::logText().mid(logBefore).toStdString();

    // The strip's button names no number.
    dialwise::AtspiElementTree tree(dialwise::X11Connection::open());
    const StripButton button = readStripButton(tree, strip->geometry);
    // On a miss, the windows Dialwise's tree does list say where the strip went.
    std::string listed;
    if (button.name.isEmpty()) {
        const dialwise::ElementHandle application = tree.applicationElement(rig->primaryPid());
        dialwise::AttributeValue windows;
        if (application && tree.copyAttributeValue(application, dialwise::Attribute::windows, windows) == dialwise::ElementTree::kSuccess) {
            for (const dialwise::ElementHandle &window : std::get<QList<dialwise::ElementHandle>>(windows)) {
                dialwise::AttributeValue title, position, size;
                tree.copyAttributeValue(window, dialwise::Attribute::title, title);
                tree.copyAttributeValue(window, dialwise::Attribute::position, position);
                tree.copyAttributeValue(window, dialwise::Attribute::size, size);
                const auto *text = std::get_if<QString>(&title);
                const auto *origin = std::get_if<QPointF>(&position);
                const auto *extent = std::get_if<QSizeF>(&size);
                listed += "\nDialwise window \"" + (text ? text->toStdString() : std::string("?")) + "\" at " +
                          std::to_string(origin ? origin->x() : -1) + "," + std::to_string(origin ? origin->y() : -1) +
                          " size " + std::to_string(extent ? extent->width() : -1) + "x" +
                          std::to_string(extent ? extent->height() : -1);
            }
        }
    }
    EXPECT_EQ(button.name, QStringLiteral("Call with Dialwise")) << button.miss << listed;
    EXPECT_EQ(button.role, QStringLiteral("AXPushButton"));

    waitForScansOfLastClick();
    const qsizetype openedBefore = openedUrls().size();
    ASSERT_TRUE(xdotoolClick(strip->geometry.center()));
    EXPECT_TRUE(stripGone(1000));
    // The Dial Number dialog comes up in Dialwise; nothing is dialled.
    bool dialogShown = ShellRig::waitUntil([&] {
        const dialwise::ElementHandle application = tree.applicationElement(rig->primaryPid());
        if (!application)
            return false;
        dialwise::AttributeValue windows;
        tree.copyAttributeValue(application, dialwise::Attribute::windows, windows);
        const auto *list = std::get_if<QList<dialwise::ElementHandle>>(&windows);
        if (!list)
            return false;
        std::function<bool(const dialwise::ElementHandle &, int)> holdsDialNumber = [&](const dialwise::ElementHandle &e, int depth) {
            dialwise::AttributeValue name;
            tree.copyAttributeValue(e, dialwise::Attribute::title, name);
            if (std::holds_alternative<QString>(name) && std::get<QString>(name) == QStringLiteral("Dial Number"))
                return true;
            dialwise::AttributeValue children;
            if (depth > 6 || tree.copyAttributeValue(e, dialwise::Attribute::visibleChildren, children) != dialwise::ElementTree::kSuccess)
                return false;
            for (const auto &child : std::get<QList<dialwise::ElementHandle>>(children))
                if (holdsDialNumber(child, depth + 1))
                    return true;
            return false;
        };
        for (const auto &window : *list)
            if (holdsDialNumber(window, 0))
                return true;
        return false;
    }, 5000);
    EXPECT_TRUE(dialogShown) << "no \"Dial Number\" in Dialwise's windows";
    EXPECT_EQ(openedUrls().size(), openedBefore);
    // Escape cancels the dialog.
    xdotool({QStringLiteral("key"), QStringLiteral("Escape")});
}

TEST_P(PhoneLinkDetection, frozenProgram_handOverDuringScanServed)
{
    startFixture();
    const qsizetype errBefore = rig->primaryErrors().size();
    clickNumberForPopup();
    // Freeze it with the popup up: every accessibility request to it goes unanswered.
    fixture->freeze();
    ASSERT_TRUE(ShellRig::waitUntil([&] {
        return rig->primaryErrors().mid(errBefore).contains("Dialwise: --- Scan attempt 1 ---");
    }, kScanBurstMs)) << rig->primaryErrors().mid(errBefore).toStdString();
    // Served at all, while the scan waits on the frozen program; how soon is
    // bench/DetectorStallBench.cpp's figure.
    EXPECT_TRUE(rig->requestDials({QStringLiteral("tel:+12025550147")}, QStringLiteral("12025550147")));
    // And the scans end.
    EXPECT_TRUE(ShellRig::waitUntil([&] {
        return rig->primaryErrors().mid(errBefore).contains("Dialwise: All scan attempts exhausted. No DD popup found.");
    }, 2 * kScanBurstMs)) << rig->primaryErrors().mid(errBefore).toStdString();
    fixture->thaw();
    // The web window came up for the call; out of the way again for the next test.
    rig->closeVisibleWindows();
}

TEST_P(PhoneLinkDetection, largeProgram_handOverAndCallSelectionDuringScan_servedAndScanCompletes)
{
    // 1,000 more labels: a click on an empty spot of its window opens no popup, so every scan
    // attempt walks and probes the big window (up to half a second each with the Qt fixture).
    startFixture({QStringLiteral("--elements"), QStringLiteral("1000")});
    const QPoint emptySpot(650, 450);
    const qsizetype errBefore = rig->primaryErrors().size();

    // The hand-over brings Dialwise's window up over the click spot: only once the click was
    // taken (its scan began), or the click would be read as one on Dialwise's own window.
    const auto scanBegan = [&](qsizetype from) {
        return ShellRig::waitUntil([&] { return rig->primaryErrors().mid(from).contains("Dialwise: --- Scan attempt 1 ---"); },
                                   kScanBurstMs);
    };
    lastClick.start();
    ASSERT_TRUE(xdotoolClick(emptySpot));
    ASSERT_TRUE(scanBegan(errBefore)) << rig->primaryErrors().mid(errBefore).toStdString();
    EXPECT_TRUE(rig->requestDials({QStringLiteral("tel:+12025550148")}, QStringLiteral("12025550148")));
    waitForScansOfLastClick();
    // The call brought the web window up over the fixture; a click on it would be Dialwise's own.
    ASSERT_TRUE(rig->closeVisibleWindows(10000));

    ASSERT_TRUE(QGuiApplication::clipboard()->supportsSelection());
    QGuiApplication::clipboard()->setText(QStringLiteral("Call me at (202) 555-0149"), QClipboard::Selection);
    const qsizetype errBeforeSecond = rig->primaryErrors().size();
    lastClick.start();
    ASSERT_TRUE(xdotoolClick(emptySpot));
    ASSERT_TRUE(scanBegan(errBeforeSecond)) << rig->primaryErrors().mid(errBeforeSecond).toStdString();
    EXPECT_TRUE(rig->requestDials({QStringLiteral("--call-selection")}, QStringLiteral("12025550149")));

    // Both clicks' scans ran to their end all the same.
    EXPECT_TRUE(ShellRig::waitUntil([&] {
        return rig->primaryErrors().mid(errBefore).count("Dialwise: All scan attempts exhausted. No DD popup found.") >= 2;
    }, 2 * kScanBurstMs)) << rig->primaryErrors().mid(errBefore).toStdString();
    rig->closeVisibleWindows();
}

INSTANTIATE_TEST_SUITE_P(Toolkits, PhoneLinkDetection, ::testing::Values(Toolkit::qt, Toolkit::gtk),
                         PhoneLinkFixtureProcess::TestName());

// Without the option nothing of the detector runs: run as a ctest of its own, on a fresh desktop.
TEST(PhoneLinkDetectionOff, withoutOption_noClickListenerNoLog)
{
    ShellRig rig;
    ASSERT_TRUE(rig.startStandIn());
    ASSERT_TRUE(rig.startPrimary()) << rig.primaryErrors().toStdString();
    rig.closeVisibleWindows();
    auto fixture = PhoneLinkFixtureProcess::start(Toolkit::qt);
    ASSERT_TRUE(fixture);
    ASSERT_TRUE(xdotoolClick(fixture->numberCentre()));
    ASSERT_TRUE(fixture->waitForPopup());
    // Bounded absence: a listening detector would have shown its strip by now.
    EXPECT_FALSE(ShellRig::waitUntil([] { return !ShellRig::viewableWindowsTitled(kStripTitle).isEmpty(); },
                                     kAbsenceWindowMs));
    EXPECT_FALSE(QFile::exists(ShellRig::logPath()));
    EXPECT_FALSE(rig.primaryErrors().contains("Dialwise: ")) << rig.primaryErrors().toStdString();
    EXPECT_FALSE(QDir(qEnvironmentVariable("XDG_STATE_HOME") + QStringLiteral("/Dialwise")).exists());
}

// `dialwise --detect-phone-links` and `--detect-phone-links=off` handed to a Dialwise that runs
// without the detector: run as a ctest of its own, on a fresh desktop.
TEST(PhoneLinkDetectionSwitch, handedOver_turnsDetectorOnThenOff)
{
    ShellRig rig;
    ASSERT_TRUE(rig.startStandIn());
    ASSERT_TRUE(rig.startPrimary()) << rig.primaryErrors().toStdString();
    ASSERT_TRUE(rig.closeVisibleWindows(10000));
    auto fixture = PhoneLinkFixtureProcess::start(Toolkit::gtk);
    ASSERT_TRUE(fixture);
    const QPoint away(650, 450);

    const ShellRig::Run on = rig.run(QStringList{QStringLiteral("--detect-phone-links")}, 5000);
    ASSERT_TRUE(on.finished);
    EXPECT_EQ(on.exitCode, 0) << on.err.toStdString();
    EXPECT_EQ(on.err, QByteArray("dialwise: phone-link detection turned on in the running Dialwise\n"));
    // Its window stays hidden: the switch is the whole request.
    EXPECT_TRUE(ShellRig::viewableWindowsTitled(QStringLiteral("Dialwise")).isEmpty());
    ASSERT_TRUE(ShellRig::waitUntil([] { return ShellRig::logText().contains(QStringLiteral("Monitoring active.")); }, 10000))
        << rig.primaryErrors().toStdString();
    ASSERT_NO_FATAL_FAILURE(expectStripComesAndGoes(*fixture, away));

    const ShellRig::Run off = rig.run(QStringList{QStringLiteral("--detect-phone-links=off")}, 5000);
    ASSERT_TRUE(off.finished);
    EXPECT_EQ(off.exitCode, 0) << off.err.toStdString();
    EXPECT_EQ(off.err, QByteArray("dialwise: phone-link detection turned off in the running Dialwise\n"));
    ASSERT_TRUE(ShellRig::waitUntil([] { return ShellRig::logText().contains(QStringLiteral("Monitoring stopped.")); }, 5000));
    const qsizetype logBefore = ShellRig::logText().size();
    ASSERT_TRUE(xdotoolClick(fixture->numberCentre()));
    ASSERT_TRUE(fixture->waitForPopup());
    // Bounded absence: a listening detector would have shown its strip by now.
    EXPECT_FALSE(ShellRig::waitUntil([] { return !ShellRig::viewableWindowsTitled(kStripTitle).isEmpty(); },
                                     kAbsenceWindowMs));
    EXPECT_FALSE(ShellRig::logText().mid(logBefore).contains(QStringLiteral("Scan attempt"))) << ShellRig::logText().toStdString();

    // And on again: the same monitor listens again.
    const ShellRig::Run again = rig.run(QStringList{QStringLiteral("--detect-phone-links")}, 5000);
    EXPECT_EQ(again.exitCode, 0) << again.err.toStdString();
    ASSERT_TRUE(xdotoolClick(away));
    fixture->waitForPopupClosed();
    ASSERT_TRUE(ShellRig::waitUntil([] { return ShellRig::logText().count(QStringLiteral("Monitoring active.")) == 2; }, 5000));
    ASSERT_TRUE(xdotoolClick(fixture->numberCentre()));
    ASSERT_TRUE(fixture->waitForPopup());
    EXPECT_TRUE(waitForStrip(kScanBurstMs)) << ShellRig::logText().toStdString();
}

// The accessibility bus's owner on the session bus: the at-spi-bus-launcher.
qint64 accessibilityBusLauncherPid()
{
    QDBusMessage ask = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                                      QStringLiteral("org.freedesktop.DBus"),
                                                      QStringLiteral("GetConnectionUnixProcessID"));
    ask << QStringLiteral("org.a11y.Bus");
    const QDBusMessage reply = QDBusConnection::sessionBus().call(ask, QDBus::Block, 2000);
    return reply.type() == QDBusMessage::ReplyMessage ? qint64(reply.arguments().value(0).toUInt()) : 0;
}

// The processes a process started (the launcher's dbus-daemon).
QList<qint64> childrenOf(qint64 pid)
{
    QList<qint64> children;
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    for (const QString &task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file(tasks.filePath(task + QStringLiteral("/children")));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray &child : file.readAll().split(' ')) {
            bool ok = false;
            const qint64 id = child.trimmed().toLongLong(&ok);
            if (ok)
                children.append(id);
        }
    }
    return children;
}

QString accessibilityBusAddress()
{
    QDBusMessage ask = QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                                                      QStringLiteral("org.a11y.Bus"), QStringLiteral("GetAddress"));
    // Only the launcher this test starts: the session bus would otherwise start one of its own.
    ask.setAutoStartService(false);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(ask, QDBus::Block, 2000);
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0).toString() : QString();
}

// The accessibility bus goes away under a running Dialwise and a new one comes up (a desktop
// shell restarting): a program started afterwards is on the new bus only. Run as a ctest of its
// own, on a fresh desktop: the bus it leaves behind is this test's own launcher's.
TEST(PhoneLinkDetectionBusRestart, busKilledAndStartedAgain_clickAfterwardsShowsStrip)
{
    ShellRig rig;
    ASSERT_TRUE(rig.startStandIn());
    ASSERT_TRUE(rig.startPrimary({QStringLiteral("--detect-phone-links")})) << rig.primaryErrors().toStdString();
    ASSERT_TRUE(rig.closeVisibleWindows(10000));
    ASSERT_TRUE(ShellRig::waitUntil([] { return ShellRig::logText().contains(QStringLiteral("Monitoring active.")); }, 10000))
        << rig.primaryErrors().toStdString();
    const QPoint away(1270, 1015);

    // Found on the first bus.
    auto fixture = PhoneLinkFixtureProcess::start(Toolkit::gtk);
    ASSERT_TRUE(fixture);
    ASSERT_NO_FATAL_FAILURE(expectStripComesAndGoes(*fixture, away));
    fixture.reset();

    // Three times: from the second on, libatspi's objects are those brought back the time before.
    std::vector<std::unique_ptr<QProcess>> launchers;
    struct StopLaunchers
    {
        std::vector<std::unique_ptr<QProcess>> &launchers;
        ~StopLaunchers()
        {
            for (const auto &launcher : launchers) {
                if (launcher->state() == QProcess::NotRunning)
                    continue;
                const QList<qint64> daemons = childrenOf(launcher->processId());
                launcher->terminate();
                if (!launcher->waitForFinished(3000))
                    launcher->kill();
                for (const qint64 daemon : daemons)
                    ::kill(pid_t(daemon), SIGTERM);
            }
        }
    } stopLaunchers{launchers};
    const Toolkit programs[] = {Toolkit::gtk, Toolkit::qt};
    for (int restart = 1; restart <= 3; ++restart) {
        SCOPED_TRACE("restart " + std::to_string(restart));
        // The launcher and its bus daemon are killed, as a crashing desktop shell takes them along.
        const qint64 launcher = accessibilityBusLauncherPid();
        ASSERT_GT(launcher, 0);
        const QList<qint64> daemons = childrenOf(launcher);
        ASSERT_FALSE(daemons.isEmpty()) << "the launcher has no bus daemon";
        for (const qint64 daemon : daemons)
            ASSERT_EQ(::kill(pid_t(daemon), SIGKILL), 0);
        ASSERT_EQ(::kill(pid_t(launcher), SIGKILL), 0);
        ASSERT_TRUE(ShellRig::waitUntil([] { return accessibilityBusLauncherPid() == 0; }, 5000));
        // Dialwise goes on without one for a while, and a click's scans find no bus.
        ShellRig::pump(500);
        ASSERT_TRUE(xdotoolClick(away));
        ShellRig::pump(kScanBurstMs);
        ASSERT_EQ(::kill(rig.primaryPid(), 0), 0) << "Dialwise ended without the bus: " << rig.primaryErrors().toStdString();
        const QByteArray errorsBeforeRestart = rig.primaryErrors();
        EXPECT_EQ(errorsBeforeRestart.count("Accessibility bus restarted; reconnected"), restart - 1);

        // A new bus, switched on as the helper script does it.
        launchers.push_back(std::make_unique<QProcess>());
        launchers.back()->start(QStringLiteral("/usr/libexec/at-spi-bus-launcher"), {QStringLiteral("--launch-immediately")});
        ASSERT_TRUE(launchers.back()->waitForStarted(5000));
        ASSERT_TRUE(ShellRig::waitUntil([] { return !accessibilityBusAddress().isEmpty(); }, 10000));
        QDBusMessage enable = QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                                                             QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Set"));
        enable << QStringLiteral("org.a11y.Status") << QStringLiteral("IsEnabled") << QVariant::fromValue(QDBusVariant(true));
        EXPECT_EQ(QDBusConnection::sessionBus().call(enable, QDBus::Block, 2000).type(), QDBusMessage::ReplyMessage);

        // A program started afterwards is on the new bus; a click on its number shows the strip.
        for (const Toolkit toolkit : programs) {
            SCOPED_TRACE(PhoneLinkFixtureProcess::toolkitName(toolkit).toStdString());
            fixture = PhoneLinkFixtureProcess::start(toolkit);
            ASSERT_TRUE(fixture);
            const qsizetype logBefore = ShellRig::logText().size();
            ASSERT_TRUE(xdotoolClick(fixture->numberCentre()));
            const std::optional<QRect> popup = fixture->waitForPopup();
            ASSERT_TRUE(popup);
            // The GTK fixture's number is itself text: its strip comes at the click, and the
            // popup's strip takes its place at the first scan attempt.
            const std::optional<Strip> strip = waitForPopupStrip(*popup, kScanBurstMs);
            ASSERT_TRUE(strip) << ShellRig::logText().mid(logBefore).toStdString()
                               << rig.primaryErrors().mid(errorsBeforeRestart.size()).toStdString();
            EXPECT_EQ(strip->geometry, expectedStrip(*popup));
            EXPECT_TRUE(ShellRig::logText().mid(logBefore).contains(QStringLiteral("FOUND via new-window detection: +1 (555) 010-4477 at ") +
                                                          logFrame(*popup)))
                << ShellRig::logText().mid(logBefore).toStdString();
            ASSERT_TRUE(xdotoolClick(away));
            EXPECT_TRUE(stripGone(1000));
            ShellRig::pump(kScanBurstMs); // the last scans of that click run out
            fixture.reset();
        }
        // Said once for each restart.
        EXPECT_EQ(rig.primaryErrors().count("Accessibility bus restarted; reconnected"), restart) << rig.primaryErrors().toStdString();
        // Nothing of libatspi's or GLib's complaints about objects used after their end.
        const QByteArray afterRestart = rig.primaryErrors().mid(errorsBeforeRestart.size());
        EXPECT_FALSE(afterRestart.contains("CRITICAL")) << afterRestart.toStdString();
    }
}

} // namespace

int main(int argc, char **argv)
{
    return dialwise::testing::runTestsWithOpener<QGuiApplication>(argc, argv, g_opener);
}
