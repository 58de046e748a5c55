// The history part of the tray menu with the real AppDelegate and web window in this process.
// A real start always has an empty history (it is kept in memory only), so only here can the
// menu be built with calls in it: the CallManager is given seven calls before launch.
#include "app/AppDelegate.h"
#include "calling/CallManager.h"
#include "tests/fakes/FakeDesktopServices.h"
#include "tests/fakes/ManualClock.h"
#include "tests/fakes/ManualScheduler.h"
#include "tests/fakes/MemorySettingsStore.h"
#include "tests/support/VoiceStandIn.h"
#include "webcall/GoogleVoiceWindow.h"

#include <QApplication>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

using dialwise::AppDelegate;
using dialwise::CallManager;

namespace {

dialwise::testing::VoiceStandIn *standIn = nullptr;

// What the GUI entry would build: a manager with fakes for the desktop and settings, pointed at
// the stand-in, a clock that stands still (so a call made now is exactly "0 sec. ago") and a
// scheduler (virtual time: nothing here waits on the window's timers).
struct Services
{
    CallManager manager{CallManager::Services{std::make_shared<dialwise::testing::MemorySettingsStore>(),
                                              std::make_shared<dialwise::testing::FakeDesktopServices>(),
                                              std::make_shared<dialwise::testing::ManualClock>(), standIn->baseUrl()}};
    dialwise::testing::ManualScheduler scheduler;
};

QStringList titles(const QMenu *menu)
{
    QStringList result;
    for (const QAction *action : menu->actions())
        result.append(action->isSeparator() ? QStringLiteral("-") : action->text());
    return result;
}

QList<QAction *> historyActions(const QMenu *menu)
{
    QList<QAction *> result;
    for (QAction *action : menu->actions()) {
        if (action->data().typeId() == QMetaType::QString)
            result.append(action);
    }
    return result;
}

TEST(TrayHistoryMenuTest, sevenCalls_newestFiveListedAndChosenEntryCalledAndListedFirst)
{
    Services services;
    CallManager &manager = services.manager;
    // Newest first: 2025550101 is the latest call, 2025550107 the oldest.
    QList<CallManager::CallRecord> history;
    for (int i = 1; i <= 7; ++i) {
        history.append(CallManager::CallRecord(QStringLiteral("+120255501%1").arg(i, 2, 10, QChar(u'0')),
                                               manager.now().addSecs(-300 * i), CallManager::Provider::googleVoice));
    }
    manager.setCallHistory(history);

    AppDelegate delegate(manager, services.scheduler);
    const int before = int(standIn->requestLines().size());
    delegate.applicationDidFinishLaunching({});
    ASSERT_TRUE(delegate.statusItem());
    const QMenu *menu = delegate.statusItem()->contextMenu();
    ASSERT_TRUE(menu);

    const QStringList shown = titles(menu);
    ASSERT_EQ(shown.size(), 12) << shown.join(" | ").toStdString();
    EXPECT_EQ(shown.mid(0, 5), QStringList({"Dialwise", "-", "Show Dialwise", "-", "Recent Calls:"}));
    EXPECT_EQ(shown.mid(10), QStringList({"-", "Quit Dialwise"}));
    EXPECT_TRUE(shown[5].startsWith("  +1 (202) 555-0101  ")) << shown[5].toStdString();
    EXPECT_TRUE(shown[9].startsWith("  +1 (202) 555-0105  ")) << shown[9].toStdString();
    EXPECT_FALSE(menu->actions()[0]->isEnabled());
    EXPECT_TRUE(menu->actions()[0]->font().bold());
    EXPECT_EQ(menu->actions()[0]->font().pointSize(), 13);
    EXPECT_FALSE(menu->actions()[4]->isEnabled());
    EXPECT_EQ(menu->actions()[2]->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_1));
    EXPECT_EQ(menu->actions()[11]->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Q));

    const QList<QAction *> entries = historyActions(menu);
    ASSERT_EQ(entries.size(), 5);
    EXPECT_EQ(entries[2]->data().toString(), QString("+12025550103"));

    // Choosing the third entry calls its number in the window and rebuilds the menu.
    entries[2]->trigger();
    EXPECT_TRUE(standIn->waitForTarget("/u/0/calls?a=nc,%2B12025550103", 10000, before))
        << standIn->requestTargets().mid(before).join(' ').toStdString();
    EXPECT_TRUE(delegate.gvWindow()->isVisible());

    const QMenu *rebuilt = delegate.statusItem()->contextMenu();
    ASSERT_TRUE(rebuilt);
    EXPECT_NE(rebuilt, menu);
    const QList<QAction *> newEntries = historyActions(rebuilt);
    ASSERT_EQ(newEntries.size(), 5);
    EXPECT_EQ(newEntries[0]->data().toString(), QString("+12025550103"));
    EXPECT_TRUE(newEntries[0]->text().startsWith("  +1 (202) 555-0103  0 sec. ago"))
        << newEntries[0]->text().toStdString();
    EXPECT_EQ(newEntries[1]->data().toString(), QString("+12025550101"));
    EXPECT_EQ(manager.callHistory().size(), 8);
}

// Longer than any of these steps takes on a loaded machine; the waits end as soon as done.
constexpr int kStepWaitMs = 10000;

QMenu *openTrayMenu(const AppDelegate &delegate)
{
    QMenu *menu = delegate.statusItem()->contextMenu();
    if (!menu)
        return nullptr;
    menu->popup(QPoint(100, 100));
    return QTest::qWaitForWindowExposed(menu) ? menu : nullptr;
}

TEST(TrayMenuKeysTest, ctrl1WithMenuOpen_showsWindowAndClosesMenu)
{
    Services services;
    AppDelegate delegate(services.manager, services.scheduler);
    delegate.applicationDidFinishLaunching({});
    delegate.gvWindow()->hide();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !delegate.gvWindow()->isVisible(); }, kStepWaitMs));

    QMenu *menu = openTrayMenu(delegate);
    ASSERT_TRUE(menu);
    QTest::keyClick(menu, Qt::Key_1, Qt::ControlModifier);

    EXPECT_TRUE(QTest::qWaitFor([&] { return delegate.gvWindow()->isVisible(); }, kStepWaitMs));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !menu->isVisible(); }, kStepWaitMs));
}

TEST(TrayMenuKeysTest, ctrlQWithMenuOpen_quitsDialwise)
{
    Services services;
    AppDelegate delegate(services.manager, services.scheduler);
    delegate.applicationDidFinishLaunching({});

    // Quitting ends the application's event loop, so the key press is made from inside it.
    bool pressed = false;
    bool timedOut = false;
    QTimer::singleShot(0, &delegate, [&] {
        QMenu *menu = openTrayMenu(delegate);
        if (!menu)
            return;
        pressed = true;
        QTest::keyClick(menu, Qt::Key_Q, Qt::ControlModifier);
    });
    // Ends the loop if Ctrl+Q does not; a local timer, so it cannot outlive this test.
    QTimer guard;
    guard.setSingleShot(true);
    QObject::connect(&guard, &QTimer::timeout, [&] {
        timedOut = true;
        QCoreApplication::exit(3);
    });
    guard.start(kStepWaitMs);
    const int exitCode = QApplication::exec();
    EXPECT_TRUE(pressed) << "the menu never opened";
    EXPECT_FALSE(timedOut) << "Ctrl+Q did not quit";
    EXPECT_EQ(exitCode, 0);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    ::testing::InitGoogleTest(&argc, argv);

    dialwise::testing::VoiceStandIn server;
    if (!server.start())
        return 1;
    standIn = &server;
    // The relative times are checked in English.
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    return RUN_ALL_TESTS();
}
