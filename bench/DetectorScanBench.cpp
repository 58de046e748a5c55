// One performScan() of the phone-link detector against a real program with a big element tree:
// the Qt or GTK fixture with 1,000 more labels in its main window, read over AT-SPI and X11 by
// the Linux backends, in this process (no strip is drawn; a recording panel view stands in).
// Run under tests/run-in-desktop tests/with-accessibility-bus (bench/detector.sh).
//   bench_detector_scan [ITERATIONS=20] [qt|gtk] [ELEMENTS=1000]
#include "bench/Timing.h"
#include "calling/CallManager.h"
#include "calling/Clock.h"
#include "calling/QtScheduler.h"
#include "detection/DataDetectorMonitor.h"
#include "detection/LibPhoneNumberFinder.h"
#include "detection/replay/ScriptedDesktop.h"
#include "platform/linux/LinuxDetectionBackends.h"
#include "tests/fakes/CallManagerRig.h"
#include "tests/support/PhoneLinkFixtureProcess.h"

#include <QApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

using dialwise::testing::PhoneLinkFixtureProcess;
using namespace dialwise::bench;

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const Arguments arguments(argc, argv);
    const int iterations = std::max(1, arguments.number(0, 20));
    const auto toolkit = PhoneLinkFixtureProcess::toolkitNamed(arguments.text(1, QStringLiteral("qt")));
    const int elements = arguments.number(2, 1000);

    auto fixture = PhoneLinkFixtureProcess::start(toolkit, {QStringLiteral("--elements"), QString::number(elements)});
    if (!fixture) {
        std::fprintf(stderr, "fixture did not start\n");
        return 1;
    }

    dialwise::testing::CallManagerRig callRig;
    auto callManager = callRig.makeManager();
    dialwise::LinuxDetectionBackends backends = dialwise::LinuxDetectionBackends::create();
    auto panels = std::make_shared<dialwise::RecordingPanelView>();
    dialwise::DataDetectorMonitor::Services services;
    services.platform = {backends.elementTree, backends.windowList, backends.screen, backends.clickSource, panels};
    services.phoneFinder = std::make_shared<dialwise::LibPhoneNumberFinder>();
    services.scheduler = std::make_shared<dialwise::QtScheduler>();
    services.clock = std::make_shared<dialwise::SystemClock>();
    services.logToStandardError = qEnvironmentVariableIsSet("DIALWISE_BENCH_LOG");
    dialwise::DataDetectorMonitor monitor(services, *callManager);

    // A program with a big tree takes a moment after its window shows before it answers on the
    // accessibility bus (the first request builds its side of the tree); measure a settled one.
    QElapsedTimer settling;
    settling.start();
    for (;;) {
        const dialwise::ElementHandle application = backends.elementTree->applicationElement(fixture->pid());
        dialwise::AttributeValue windows;
        if (application && backends.elementTree->copyAttributeValue(application, dialwise::Attribute::windows, windows) ==
                               dialwise::ElementTree::kSuccess) {
            const auto *list = std::get_if<QList<dialwise::ElementHandle>>(&windows);
            if (list && !list->isEmpty())
                break;
        }
        if (settling.elapsed() > 30000) {
            std::fprintf(stderr, "the fixture never showed its windows on the accessibility bus\n");
            return 1;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    }
    std::printf("fixture answering on the accessibility bus %lld ms after its window showed\n", settling.elapsed());

    const QPoint away(650, 450);
    std::vector<double> found, missed;
    int misses = 0;
    for (int i = 0; i < iterations; ++i) {
        // The popup opens after the snapshot, as after a real click.
        monitor.snapshotWindowIDs();
        click(fixture->numberCentre());
        if (!fixture->waitForPopup()) {
            std::fprintf(stderr, "no popup\n");
            return 1;
        }
        monitor.lastClickPosition = backends.screen->pointerPosition();
        monitor.scanAttempts = 1;
        const std::size_t before = panels->shown.size();
        QElapsedTimer timer;
        timer.start();
        monitor.performScan();
        found.push_back(double(timer.nsecsElapsed()) / 1e6);
        if (panels->shown.size() != before + 1) {
            std::fprintf(stderr, "iteration %d: the scan found no popup\n", i);
            ++misses;
        }
        monitor.dismissCompanionPanel();

        // The popup closed: all three strategies run and find nothing (the position scan's 14
        // probes land in the big main window).
        click(away);
        fixture->waitForPopupClosed();
        monitor.snapshotWindowIDs();
        monitor.lastClickPosition = backends.screen->pointerPosition();
        timer.restart();
        monitor.performScan();
        missed.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    const Summary hit = summarize(found), miss = summarize(missed);
    const char *name = qPrintable(PhoneLinkFixtureProcess::toolkitName(toolkit));
    std::printf("performScan, %s fixture with %d more elements, %d runs:\n", name, elements, iterations);
    std::printf("  popup open (found by new-window detection): median %.2f ms, min %.2f, max %.2f\n", hit.median,
                hit.min, hit.max);
    std::printf("  runs whose open popup was not found: %d\n", misses);
    std::printf("  no popup (all three strategies miss):        median %.2f ms, min %.2f, max %.2f\n", miss.median,
                miss.min, miss.max);
    return 0;
}
