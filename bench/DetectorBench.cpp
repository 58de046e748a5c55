// The phone-link detector's cost: one performScan() over element trees of growing size (time per
// scan and per element, to show that the walk grows linearly), and `dialwise --replay-detector`
// on a 1,000-element scenario from process start to exit.
#include "calling/CallManager.h"
#include "calling/VirtualScheduler.h"
#include "detection/DataDetectorMonitor.h"
#include "detection/LibPhoneNumberFinder.h"
#include "detection/replay/ScriptedDesktop.h"
#include "tests/fakes/CallManagerRig.h"

#include <benchmark/benchmark.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <memory>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

using namespace dialwise;

// Branching of the fake trees: wide enough that 10,000 elements stay well inside the depth bound.
constexpr int kBranching = 6;

// The scans measured here find no popup, so the calling core is never asked for anything; it
// only has to exist. Fakes keep it off the real settings file and desktop.
std::unique_ptr<CallManager> makeQuietCallManager()
{
    return std::make_unique<CallManager>(dialwise::testing::CallManagerRig().services());
}

// A frontmost program with one popup-sized window holding `count` elements in a balanced tree,
// none of them a popup entry, so that the whole tree is walked and every label is searched. Labels
// are either plain words, as most of a program's texts are, or carry digits ("Entry 4711"), which
// makes every one of them a job for libphonenumber.
struct TreeDesktop
{
    // What the monitor reads; the panels are kept apart to see whether a strip was asked for.
    DetectorPlatform platform;
    std::shared_ptr<RecordingPanelView> panels = std::make_shared<RecordingPanelView>();

    TreeDesktop(int count, bool digits)
    {
        const auto tree = std::make_shared<ScriptedElementTree>();
        const auto windows = std::make_shared<ScriptedWindowList>();
        platform = {tree, windows, std::make_shared<ScriptedScreen>(), std::make_shared<ScriptedClickSource>(), panels};
        ElementHandle window = tree->add();
        tree->set(window, u"AXRole", QStringLiteral("AXWindow"));
        tree->set(window, u"AXPosition", QPointF(500, 300));
        tree->set(window, u"AXSize", QSizeF(260, 120));
        QList<ElementHandle> level{window};
        int made = 1;
        while (made < count) {
            QList<ElementHandle> next;
            for (const ElementHandle &parent : level) {
                QList<ElementHandle> children;
                for (int i = 0; i < kBranching && made < count; ++i, ++made) {
                    ElementHandle child = tree->add();
                    tree->set(child, u"AXRole", QStringLiteral("AXStaticText"));
                    tree->set(child, u"AXTitle", digits ? QStringLiteral("Entry %1").arg(made) : QStringLiteral("Entry"));
                    children.append(child);
                }
                tree->setChildren(parent, children);
                next += children;
            }
            level = next;
        }
        ElementHandle app = tree->add();
        tree->set(app, u"AXWindows", QList<ElementHandle>{window});
        tree->setApplication(42, app);
        windows->windows = QList<WindowInfo>{ScriptedWindowList::window(7, 42, QStringLiteral("Notes"), 0, QRectF(0, 0, 800, 600))};
        windows->frontmost = FrontmostApplication{42, QStringLiteral("Notes")};
    }
};

void performScans(benchmark::State &state, bool digits)
{
    const int count = int(state.range(0));
    TreeDesktop desktop(count, digits);
    const std::unique_ptr<CallManager> quietManager = makeQuietCallManager();
    CallManager &callManager = *quietManager;
    DataDetectorMonitor::Services services;
    services.platform = desktop.platform;
    services.phoneFinder = std::make_shared<LibPhoneNumberFinder>(QStringLiteral("US"));
    services.scheduler = std::make_shared<VirtualScheduler>();
    services.logToStandardError = false;
    DataDetectorMonitor monitor(std::move(services), callManager);
    monitor.snapshotWindowIDs();

    for (auto _ : state)
        monitor.performScan();

    if (!desktop.panels->shown.empty())
        state.SkipWithError("the fake tree was taken for a popup");
    state.counters["elements"] = count;
    // Seconds per element per scan; printed inverted, i.e. as a time.
    state.counters["per_element"] =
        benchmark::Counter(double(count), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
void BM_PerformScan_WordLabels(benchmark::State &state) { performScans(state, false); }
void BM_PerformScan_DigitLabels(benchmark::State &state) { performScans(state, true); }
BENCHMARK(BM_PerformScan_WordLabels)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PerformScan_DigitLabels)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

// A scenario whose popup is a new window with `count` elements: one click, found at 0.3 s.
QByteArray replayScenario(int count, bool digits)
{
    QJsonObject elements;
    QJsonArray children;
    for (int i = 1; i < count - 1; ++i) {
        const QString id = QStringLiteral("e%1").arg(i);
        elements.insert(id, QJsonObject{{"AXRole", "AXStaticText"}, {"AXTitle", digits ? QStringLiteral("Entry %1").arg(i) : QStringLiteral("Entry")},
                                        {"AXParent", "popup"}});
        children.append(id);
    }
    elements.insert("ft", QJsonObject{{"AXRole", "AXButton"}, {"AXTitle", "FaceTime"}, {"AXParent", "popup"}});
    children.append("ft");
    elements.insert("popup", QJsonObject{{"AXRole", "AXWindow"}, {"AXPosition", QJsonArray{500, 300}},
                                         {"AXSize", QJsonArray{260, 120}}, {"AXChildren", children}});
    elements.insert("app", QJsonObject{{"AXRole", "AXApplication"}, {"AXWindows", QJsonArray{"popup"}}});
    const QJsonObject window{{"number", 9}, {"pid", 77}, {"owner", "Helper"}, {"layer", 101},
                             {"bounds", QJsonObject{{"X", 500}, {"Y", 300}, {"Width", 260}, {"Height", 120}}}};
    const QJsonArray timeline{QJsonObject{{"at", 0}, {"start", true}}, QJsonObject{{"at", 1.0}, {"click", QJsonArray{520, 790}}},
                              QJsonObject{{"at", 1.1}, {"windows", QJsonArray{window}}}};
    return QJsonDocument(QJsonObject{{"elements", elements}, {"applications", QJsonObject{{"77", "app"}}},
                                     {"timeline", timeline}, {"until", 25}})
        .toJson();
}

void replayProcess(benchmark::State &state, bool digits)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("scenario.json"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(replayScenario(int(state.range(0)), digits)) < 0) {
        state.SkipWithError("cannot write the scenario");
        return;
    }
    file.close();
    const QByteArray scenario = path.toLocal8Bit();
    char program[] = DIALWISE_PROGRAM_PATH;
    char option[] = "--replay-detector";
    char *argv[] = {program, option, const_cast<char *>(scenario.constData()), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);

    for (auto _ : state) {
        pid_t pid = 0;
        if (posix_spawn(&pid, program, &actions, nullptr, argv, environ) != 0) {
            state.SkipWithError("cannot start dialwise");
            break;
        }
        int status = 0;
        waitpid(pid, &status, 0);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            state.SkipWithError("dialwise --replay-detector failed");
            break;
        }
    }
    posix_spawn_file_actions_destroy(&actions);
    state.counters["elements"] = double(state.range(0));
}
void BM_ReplayProcess_WordLabels(benchmark::State &state) { replayProcess(state, false); }
void BM_ReplayProcess_DigitLabels(benchmark::State &state) { replayProcess(state, true); }
BENCHMARK(BM_ReplayProcess_WordLabels)->Arg(1000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ReplayProcess_DigitLabels)->Arg(1000)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
