// What the detector's end-to-end tests check happens, timed: how soon the strip goes once the
// popup under it closes without a click (the poll), how soon it goes after a click elsewhere,
// and how long a `dialwise tel:` hand-over takes while a scan waits on a stopped (SIGSTOP)
// program. Run under tests/run-in-desktop tests/with-accessibility-bus:
//   DetectorStallBench [ROUNDS=10] [qt|gtk]
#include "bench/Timing.h"
#include "tests/e2e/DetectorDesktop.h"
#include "tests/e2e/ShellRig.h"
#include "tests/support/PhoneLinkFixtureProcess.h"

#include <QElapsedTimer>
#include <QGuiApplication>

#include <cstdio>
#include <functional>
#include <memory>

using namespace dialwise::bench;
using namespace dialwise::testing;

namespace {

constexpr int kWaitMs = 10000;
// A spot on the bare desktop, beside the fixture's window.
const QPoint kDesktopSpot(1270, 1015);

// Milliseconds on the timer.
double msOn(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

// Clicks the number and waits for the popup's own strip (under it, overlapping it by 8, 30 high;
// a GTK fixture's number also gets a strip of the text path first); `click` times the click, for
// waiting its scans out.
bool openStrip(PhoneLinkFixtureProcess &fixture, QElapsedTimer &click)
{
    click.start();
    if (!xdotoolClick(fixture.numberCentre()))
        return false;
    const std::optional<QRect> popup = fixture.waitForPopup();
    if (!popup)
        return false;
    const QRect expected(popup->x(), popup->bottom() + 1 - 8, popup->width(), 30);
    return ShellRig::waitUntil([&] {
        const QList<unsigned long> strips = ShellRig::viewableWindowsTitled(kStripTitle);
        return !strips.isEmpty() && xwininfoGeometry(strips.first()) == expected;
    }, kWaitMs);
}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    const Arguments arguments(argc, argv);
    const int rounds = std::max(1, arguments.number(0, 10));
    const auto toolkit = PhoneLinkFixtureProcess::toolkitNamed(arguments.text(1, QStringLiteral("qt")));
    ShellRig rig;
    if (!rig.startStandIn() || !rig.startPrimary({QStringLiteral("--detect-phone-links")})) {
        std::fprintf(stderr, "dialwise did not start: %s\n", rig.primaryErrors().constData());
        return 1;
    }
    rig.closeVisibleWindows(kWaitMs);
    ShellRig::waitUntil([] { return ShellRig::logText().contains(QStringLiteral("Monitoring active.")); }, kWaitMs);

    Figures popupClosed, clickedAway, frozenHandOver;
    for (int i = 0; i < rounds; ++i) {
        std::unique_ptr<PhoneLinkFixtureProcess> fixture;
        QElapsedTimer click;
        QElapsedTimer timer;

        // A fresh fixture opens the strip; it is taken away as `takeAway` does, timed until gone.
        auto timeRemoval = [&](Figures &figures, const std::function<void()> &takeAway) {
            fixture = PhoneLinkFixtureProcess::start(toolkit);
            if (fixture && openStrip(*fixture, click)) {
                timer.start();
                takeAway();
                if (stripGone(kWaitMs))
                    figures.ms.append(msOn(timer));
                else
                    ++figures.failures;
            } else {
                ++figures.failures;
            }
            waitForScansAfter(click);
        };
        // The popup goes without a click, as when its program closes it.
        timeRemoval(popupClosed, [] {
            if (const auto popup = xwininfoWindowSized(260, 120))
                xdotool({QStringLiteral("windowunmap"), QString::number(popup->id)});
        });
        // A click on the bare desktop.
        timeRemoval(clickedAway, [] { xdotoolClick(kDesktopSpot); });

        // A hand-over while the first scan attempt waits on the stopped program.
        const qsizetype errBefore = rig.primaryErrors().size();
        fixture = PhoneLinkFixtureProcess::start(toolkit);
        if (!fixture) {
            ++frozenHandOver.failures;
            continue;
        }
        click.start();
        xdotoolClick(fixture->numberCentre());
        fixture->waitForPopup();
        fixture->freeze();
        const bool scanning = ShellRig::waitUntil(
            [&] { return rig.primaryErrors().mid(errBefore).contains("Dialwise: --- Scan attempt 1 ---"); }, kWaitMs);
        const QString digits = QStringLiteral("1202555%1").arg(100 + i, 4, 10, QChar(u'0'));
        const int before = int(rig.standIn().requestLines().size());
        timer.start();
        const ShellRig::Run run = rig.run(QStringList{QStringLiteral("tel:+") + digits}, kWaitMs);
        if (scanning && run.finished && run.exitCode == 0
            && rig.standIn().waitForTarget(ShellRig::newCallPrefix() + digits, kWaitMs, before))
            frozenHandOver.ms.append(msOn(timer));
        else
            ++frozenHandOver.failures;
        fixture->thaw();
        waitForScansAfter(click);
        rig.closeVisibleWindows(kWaitMs);
        fixture.reset();
        stripGone(kWaitMs);
    }
    std::printf("%s fixture, %d rounds\n", qPrintable(PhoneLinkFixtureProcess::toolkitName(toolkit)), rounds);
    popupClosed.print("popup closed -> strip gone");
    clickedAway.print("click elsewhere -> strip gone");
    frozenHandOver.print("hand-over, scan of a stopped program");
    return 0;
}
