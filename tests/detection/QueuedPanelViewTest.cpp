// The strip asked for on the detector's thread and shown on the GUI thread: calls arrive in
// order on the strip's thread, clicks come back on the caller's, and a strip closed on the way
// is never shown or clicked.
#include "app/QueuedPanelView.h"
#include "tests/fakes/FakePanelView.h"

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>

using dialwise::Panel;
using dialwise::QueuedPanelView;
using dialwise::StripPlacement;
using dialwise::testing::FakePanelView;

namespace {

class QueuedPanelViewTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        thread.start();
        callerContext.moveToThread(&thread);
    }
    void TearDown() override
    {
        thread.quit();
        thread.wait();
    }

    // Runs work on the caller's (the detector's) thread and waits for it.
    void onCaller(const std::function<void()> &work)
    {
        QMetaObject::invokeMethod(&callerContext, work, Qt::BlockingQueuedConnection);
    }

    // Lets the GUI thread (this one) run what was queued to it.
    static void runGuiEvents() { QCoreApplication::processEvents(); }

    int argc = 1;
    char name[20] = "QueuedPanelViewTest";
    char *argv[2] = {name, nullptr};
    QCoreApplication app{argc, argv};
    QThread thread;
    QObject guiContext;
    QObject callerContext;
    std::shared_ptr<FakePanelView> inner = std::make_shared<FakePanelView>();
};

TEST_F(QueuedPanelViewTest, showThenClick_shownOnGuiThread_clickRunsOnCallerThread)
{
    QueuedPanelView view(inner, &guiContext, &callerContext);
    std::unique_ptr<Panel> panel;
    std::atomic<QThread *> clickedOn = nullptr;
    onCaller([&] {
        panel = view.showPanel(StripPlacement{QRectF(1, 2, 260, 120), 30, 8}, QStringLiteral("+15550104477"),
                               [&] { clickedOn = QThread::currentThread(); });
    });
    // Nothing is made on the caller's thread: the strip waits for the GUI thread's turn.
    EXPECT_TRUE(inner->shown.empty());
    runGuiEvents();
    ASSERT_EQ(inner->shown.size(), 1u);
    EXPECT_EQ(inner->shown[0]->placement, (StripPlacement{QRectF(1, 2, 260, 120), 30, 8}));
    EXPECT_EQ(inner->shown[0]->phoneNumber, QStringLiteral("+15550104477"));

    ASSERT_TRUE(inner->clickCurrent());
    onCaller([] {}); // the queued click has run on the caller's thread by now
    EXPECT_EQ(clickedOn.load(), &thread) << "the click must run on the caller's thread, not the GUI thread";

    onCaller([&] { panel.reset(); }); // dropping the handle closes the strip
    runGuiEvents();
    EXPECT_TRUE(inner->shown[0]->closed);
}

TEST_F(QueuedPanelViewTest, closedBeforeShown_neverShown)
{
    QueuedPanelView view(inner, &guiContext, &callerContext);
    onCaller([&] {
        std::unique_ptr<Panel> panel = view.showPanel(StripPlacement{QRectF(0, 0, 100, 60), 30, 8}, QString(), [] {});
        panel->close();
        panel->close(); // harmless twice
    });
    runGuiEvents();
    EXPECT_TRUE(inner->shown.empty());
}

TEST_F(QueuedPanelViewTest, clickOnItsWayWhenClosed_dropped)
{
    QueuedPanelView view(inner, &guiContext, &callerContext);
    std::unique_ptr<Panel> panel;
    std::atomic<int> clicks = 0;
    onCaller([&] { panel = view.showPanel(StripPlacement{QRectF(0, 0, 100, 60), 30, 8}, QString(), [&] { ++clicks; }); });
    runGuiEvents();
    // The caller is busy (a new click's scan, say) when the user clicks the strip, and closes the
    // strip before it comes round to that click.
    QMetaObject::invokeMethod(&callerContext, [&] {
        QThread::msleep(100);
        panel->close();
    }, Qt::QueuedConnection);
    ASSERT_TRUE(inner->clickCurrent());
    onCaller([] {});
    EXPECT_EQ(clicks.load(), 0);
}

TEST_F(QueuedPanelViewTest, stripsInTurn_shownAndClosedInTheOrderAsked)
{
    QueuedPanelView view(inner, &guiContext, &callerContext);
    std::unique_ptr<Panel> second;
    onCaller([&] {
        std::unique_ptr<Panel> first = view.showPanel(StripPlacement{QRectF(0, 0, 100, 60), 30, 8}, QStringLiteral("1"), [] {});
        first.reset();
        second = view.showPanel(StripPlacement{QRectF(0, 0, 100, 60), 30, 8}, QStringLiteral("2"), [] {});
    });
    runGuiEvents();
    // The first was closed before the GUI thread came round to it.
    ASSERT_EQ(inner->shown.size(), 1u);
    EXPECT_EQ(inner->shown[0]->phoneNumber, QStringLiteral("2"));
    EXPECT_FALSE(inner->shown[0]->closed);
    onCaller([&] { second->close(); });
    EXPECT_FALSE(inner->shown[0]->closed) << "closed on the GUI thread, in its turn";
    runGuiEvents();
    EXPECT_TRUE(inner->shown[0]->closed);
    onCaller([&] { second.reset(); });
}

} // namespace
