// `dialwise --call-selection` while the program owning the X11 primary selection never answers
// (tests/support/SilentSelectionOwner.cpp). The running Dialwise once waited about 15 s per
// request on its main thread; now each request gives up after a second, and hand-overs in the
// meantime still dial at once.
#include "tests/e2e/ShellRig.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <xcb/xcb.h>

using dialwise::testing::ShellRig;

namespace {

constexpr qint64 kHandOverBudgetMs = 1000;
// The owner's one second, plus starting the launcher and the bus round trips around it.
constexpr qint64 kSelectionRequestBudgetMs = 2000;
constexpr int kQueuedRequests = 5;

bool selectionOwned()
{
    xcb_connection_t *connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return false;
    }
    xcb_get_selection_owner_reply_t *owner =
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, XCB_ATOM_PRIMARY), nullptr);
    const bool owned = owner && owner->owner != XCB_NONE;
    std::free(owner);
    xcb_disconnect(connection);
    return owned;
}

class HostileSelectionE2ETest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        rig = new ShellRig;
        ASSERT_TRUE(rig->startStandIn());
        ASSERT_TRUE(rig->startPrimary()) << rig->primaryErrors().toStdString();
        owner = rig->startProcess({qgetenv("DIALWISE_E2E_SILENT_OWNER")});
        ASSERT_GT(owner, 0);
        ASSERT_TRUE(ShellRig::waitUntil(selectionOwned, 10000)) << "the silent owner did not take the selection";
    }
    static void TearDownTestSuite()
    {
        if (owner > 0) {
            ::kill(owner, SIGKILL);
            ShellRig::waitProcess(owner, 5000);
        }
        delete rig;
        rig = nullptr;
    }

    static void expectHandOverDialsWithinASecond(int serial)
    {
        const QString line = QStringLiteral("%1").arg(200 + serial, 4, 10, QLatin1Char('0'));
        const QString target = QStringLiteral("/u/0/calls?a=nc,%2B1303555") + line;
        const int from = int(rig->standIn().requestLines().size());
        QElapsedTimer timer;
        timer.start();
        const ShellRig::Run run = rig->run(QStringList{"--call-text", "call 303 555 " + line});
        EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
        EXPECT_TRUE(rig->standIn().waitForTarget(target, int(std::max<qint64>(1, kHandOverBudgetMs - timer.elapsed())), from))
            << "after " << timer.elapsed() << " ms";
        EXPECT_LE(timer.elapsed(), kHandOverBudgetMs);
    }

    static ShellRig *rig;
    static pid_t owner;
};

ShellRig *HostileSelectionE2ETest::rig = nullptr;
pid_t HostileSelectionE2ETest::owner = -1;

TEST_F(HostileSelectionE2ETest, ownerNeverAnswers_noTextProvidedWithinASecond)
{
    QElapsedTimer timer;
    timer.start();
    const ShellRig::Run run = rig->run(QStringList{"--call-selection"});
    const qint64 elapsed = timer.elapsed();
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, QByteArray("dialwise: No text provided\n"));
    EXPECT_LE(elapsed, kSelectionRequestBudgetMs);
    expectHandOverDialsWithinASecond(0);
}

TEST_F(HostileSelectionE2ETest, fiveQueuedRequests_handOverStillDialsAtOnce)
{
    QList<pid_t> requests;
    for (int i = 0; i < kQueuedRequests; ++i)
        requests.append(rig->startProcess({ShellRig::program().toLocal8Bit(), "--call-selection"}));
    expectHandOverDialsWithinASecond(1);
    for (pid_t request : requests)
        EXPECT_EQ(ShellRig::waitProcess(request, int(kSelectionRequestBudgetMs) * 2), 1);
    EXPECT_TRUE(rig->primaryRunning());
}

} // namespace
