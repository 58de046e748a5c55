#pragma once

// A DataDetectorMonitor on fakes: a scripted desktop, a virtual clock, the real phone finder (or
// a table one) and a call manager that only records what it was asked. Every logged message is
// kept in `logs`.
#include "detection/DataDetectorMonitor.h"
#include "detection/LibPhoneNumberFinder.h"
#include "tests/fakes/CallManagerRig.h"
#include "tests/fakes/FakeClickSource.h"
#include "tests/fakes/FakeElementTree.h"
#include "tests/fakes/FakePanelView.h"
#include "tests/fakes/FakeScreen.h"
#include "tests/fakes/FakeWindowList.h"
#include "tests/fakes/ManualScheduler.h"

#include <QStringList>

#include <chrono>
#include <memory>
#include <ostream>

inline void PrintTo(const QString &text, std::ostream *os)
{
    *os << '"' << text.toStdString() << '"';
}

namespace dialwise::testing {

using namespace std::chrono_literals;

// A calling core on fakes whose requests (calls and the dial dialog) are written down, in order,
// as they are asked for.
class RecordingCallManager final
{
public:
    explicit RecordingCallManager(QStringList *events)
        : m_manager(m_rig.makeManager())
    {
        QObject::connect(m_manager.get(), &CallManager::callRequested, m_manager.get(),
                         [events](const QString &number) { events->append(QStringLiteral("call ") + number); });
        QObject::connect(m_manager.get(), &CallManager::dialDialogRequested, m_manager.get(),
                         [events] { events->append(QStringLiteral("dial-dialog")); });
    }
    operator CallManager &() { return *m_manager; }
    CallManager &manager() { return *m_manager; }
    // What the fake desktop was asked for (no real URL is opened, no dialog is shown).
    FakeDesktopServices &desktop() { return *m_rig.desktop; }

private:
    CallManagerRig m_rig;
    std::unique_ptr<CallManager> m_manager;
};

struct MonitorRig
{
    std::shared_ptr<FakeElementTree> tree = std::make_shared<FakeElementTree>();
    std::shared_ptr<FakeWindowList> windows = std::make_shared<FakeWindowList>();
    std::shared_ptr<FakeScreen> screen = std::make_shared<FakeScreen>();
    std::shared_ptr<FakeClickSource> clicks = std::make_shared<FakeClickSource>();
    std::shared_ptr<FakePanelView> panels = std::make_shared<FakePanelView>();
    std::shared_ptr<ManualScheduler> scheduler = std::make_shared<ManualScheduler>();
    std::shared_ptr<PhoneFinder> finder = std::make_shared<LibPhoneNumberFinder>(QStringLiteral("US"));
    // Log messages and calls, in the order they happened.
    QStringList logs;
    QStringList calls;
    RecordingCallManager callManager{&calls};
    std::unique_ptr<DataDetectorMonitor> monitor;

    DataDetectorMonitor::Services services()
    {
        DataDetectorMonitor::Services services;
        services.platform = {tree, windows, screen, clicks, panels};
        services.phoneFinder = finder;
        services.scheduler = scheduler;
        services.logToStandardError = false;
        services.logObserver = [this](const QString &message) { logs.append(message); };
        return services;
    }

    DataDetectorMonitor &make()
    {
        monitor = std::make_unique<DataDetectorMonitor>(services(), callManager);
        logs.clear(); // the "initialized" line; tests about it read it before clearing
        return *monitor;
    }

    // A click at a bottom-left-origin point against the main screen, as the log lines write it.
    void clickAt(double x, double y)
    {
        screen->setPointerFromBottomLeft(QPointF(x, y));
        clicks->click();
    }

    // An element with a role, a frame and texts.
    ElementHandle element(const QString &role, const QRectF &frame = QRectF(), const QString &title = QString())
    {
        ElementHandle e = tree->add(role);
        tree->set(e, u"AXRole", role);
        if (!frame.isNull()) {
            tree->set(e, u"AXPosition", frame.topLeft());
            tree->set(e, u"AXSize", frame.size());
        }
        if (!title.isEmpty())
            tree->set(e, u"AXTitle", title);
        return e;
    }

    // The usual popup: a window of the given frame holding a number and the FaceTime entry.
    ElementHandle popup(const QRectF &frame, const QString &number = QStringLiteral("+1 (555) 010-0000"))
    {
        ElementHandle window = element(QStringLiteral("AXWindow"), frame);
        QList<ElementHandle> children;
        if (!number.isEmpty()) {
            ElementHandle text = element(QStringLiteral("AXStaticText"));
            tree->set(text, u"AXValue", number);
            children.append(text);
        }
        children.append(element(QStringLiteral("AXButton"), QRectF(), QStringLiteral("FaceTime")));
        tree->setChildren(window, children);
        return window;
    }

    // An application whose windows are these.
    ElementHandle application(qint64 pid, const QList<ElementHandle> &appWindows)
    {
        ElementHandle app = element(QStringLiteral("AXApplication"));
        tree->set(app, u"AXWindows", appWindows);
        tree->setApplication(pid, app);
        return app;
    }
};

} // namespace dialwise::testing
