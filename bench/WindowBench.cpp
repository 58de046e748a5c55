// Figures for the web calling window, run in a private desktop:
//   tests/run-in-desktop build/bench_window [iterations]
// 1. resident memory: proportional set size of this process and every process it started
//    (Qt WebEngine's zygotes, renderer and any GPU or utility process) with one window showing
//    the stand-in's calls page, measured first so nothing else has run yet,
// 2. construction to the web app's first request (the calls page) at a local stand-in,
// 3. showAndCall() to the new-call request at the stand-in.
// Prints one line per figure; medians over the iterations.
#include "app/RendererSetup.h"
#include "bench/ProcessTree.h"
#include "bench/Timing.h"
#include "calling/CallManager.h"
#include "calling/QtScheduler.h"
#include "calling/VoiceAddress.h"
#include "tests/support/VoiceStandIn.h"
#include "tests/support/WebEngineTestSetup.h"
#include "webcall/GoogleVoiceWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <QWebEnginePage>
#include <QWebEngineView>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>

namespace {

using dialwise::GoogleVoiceWindow;
using dialwise::testing::VoiceStandIn;

// Long enough for a loaded machine to start a render process; the waits end when done.
constexpr int kWaitMs = 30000;

// Runs the event loop until the condition holds. Not QTest::qWaitFor: that sleeps 10 ms between
// rounds of events, and Chromium's browser tasks run on this thread, so every step of a
// navigation would wait out a sleep and the figures would measure the test, not the window.
bool spinUntil(const std::function<bool()> &condition, int timeoutMs)
{
    if (condition())
        return true;
    QEventLoop loop;
    QTimer poll;
    poll.setInterval(1);
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (condition())
            loop.quit();
    });
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
    poll.start();
    deadline.start(timeoutMs);
    loop.exec();
    return condition();
}

void report(const char *what, const std::vector<double> &ms)
{
    const dialwise::bench::Summary s = dialwise::bench::summarize(ms);
    std::printf("%-44s median %8.2f ms  min %8.2f  max %8.2f  (n=%lld)\n", what, s.median, s.min, s.max,
                static_cast<long long>(s.count));
}

// Milliseconds from `start` until the stand-in sees a request whose target satisfies
// `matches`; negative when none comes.
double msUntilRequest(VoiceStandIn &standIn, const std::function<void()> &start,
                      const std::function<bool(const QString &)> &matches)
{
    QElapsedTimer timer;
    qint64 arrivedNs = -1;
    const QMetaObject::Connection connection =
        QObject::connect(&standIn, &VoiceStandIn::requestReceived, [&](const QString &line) {
            if (arrivedNs < 0 && matches(line.section(u' ', 1, 1)))
                arrivedNs = timer.nsecsElapsed();
        });
    timer.start();
    start();
    const bool arrived = spinUntil([&] { return arrivedNs >= 0; }, kWaitMs);
    QObject::disconnect(connection);
    return arrived ? arrivedNs / 1e6 : -1.0;
}

bool waitForIdle(GoogleVoiceWindow &window, const QString &title)
{
    return spinUntil(
        [&] {
            QWebEnginePage *page = window.webView()->page();
            return !page->isLoading() && page->title() == title;
        },
        kWaitMs);
}

} // namespace

int main(int argc, char **argv)
{
    dialwise::testing::prepareWebEngineForTests();
    // Drawn the way Dialwise would draw on this display (DIALWISE_RENDERER chooses otherwise).
    dialwise::RendererSetup renderer = dialwise::RendererSetup::beforeApplication();
    QApplication app(argc, argv);
    renderer.applicationCreated();
    const int iterations = std::max(1, dialwise::bench::Arguments(argc, argv).number(0, 15));

    VoiceStandIn standIn;
    if (!standIn.start()) {
        std::fprintf(stderr, "bench_window: the stand-in could not listen\n");
        return 1;
    }
    const QString callsTitle = QStringLiteral("Voice stand-in");
    dialwise::CallManager callManager(dialwise::CallManager::Services{nullptr, nullptr, nullptr, standIn.baseUrl()});
    // The application's own scheduler: the window's timers run on the real clock here.
    dialwise::QtScheduler scheduler;

    auto isCallsPage = [](const QString &target) { return target == u"/u/0/calls"; };
    std::unique_ptr<GoogleVoiceWindow> window;

    // 1. Memory, first, while the process holds just what the application would: one window
    // with the stand-in's calls page loaded and shown.
    {
        QElapsedTimer timer;
        timer.start();
        const double ms = msUntilRequest(standIn, [&] {
            window = std::make_unique<GoogleVoiceWindow>(callManager, scheduler);
            window->showAndActivate();
        }, isCallsPage);
        if (ms < 0 || !waitForIdle(*window, callsTitle)) {
            std::fprintf(stderr, "bench_window: the calls page never loaded\n");
            return 1;
        }
        std::printf("%-44s %8.2f ms\n", "first window (starts WebEngine) -> GET", ms);
        std::printf("%-44s %8.2f ms\n", "first window -> calls page loaded", timer.nsecsElapsed() / 1e6);
    }
    spinUntil([] { return false; }, 2000); // let the renderer settle after the load
    const dialwise::bench::TreeTotals memory = dialwise::bench::treeTotals(pid_t(QCoreApplication::applicationPid()));
    for (const dialwise::bench::ProcessInfo &process : memory.processes)
        std::printf("  pid %-8d %-22s PSS %8.1f MiB\n", int(process.pid), qPrintable(process.label), process.pssMiB);
    std::printf("%-44s %8.1f MiB\n", "PSS, process and its children", memory.pssMiB);

    // 2. Construction to first request, with Qt WebEngine already running (the first window
    // above started it).
    std::vector<double> construction;
    for (int i = 0; i < iterations; ++i) {
        window.reset();
        spinUntil([] { return false; }, 200); // let the previous window's processes wind down
        const double ms = msUntilRequest(standIn, [&] { window = std::make_unique<GoogleVoiceWindow>(callManager, scheduler); }, isCallsPage);
        if (ms < 0 || !waitForIdle(*window, callsTitle)) {
            std::fprintf(stderr, "bench_window: the calls page never loaded\n");
            return 1;
        }
        construction.push_back(ms);
    }
    report("construction -> GET /u/0/calls", construction);

    // 3. showAndCall to the new-call request, each from an idle page.
    window->showAndActivate();
    std::vector<double> calls;
    for (int i = 0; i < iterations * 2; ++i) {
        // Calls come seconds apart in use; the pause lets the previous page's trailing work
        // (favicon, style script) end, so each call starts from an idle page.
        spinUntil([] { return false; }, 300);
        const QString number = QStringLiteral("+1 202 555 %1").arg(1000 + i);
        const QString target = QStringLiteral("/u/0/calls?a=nc,%2B1202555%1").arg(1000 + i);
        const double ms = msUntilRequest(standIn, [&] { window->showAndCall(number); },
                                         [&](const QString &t) { return t == target; });
        if (ms < 0 || !waitForIdle(*window, callsTitle)) {
            std::fprintf(stderr, "bench_window: no new-call request for %s\n", qPrintable(number));
            return 1;
        }
        calls.push_back(ms);
    }
    report("showAndCall -> GET /u/0/calls?a=nc,...", calls);

    window.reset();
    return 0;
}
