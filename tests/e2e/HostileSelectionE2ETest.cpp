// `dialwise --call-selection` while the program owning the X11 primary selection never answers
// (tests/support/SilentSelectionOwner.cpp). The running Dialwise once waited about 15 s per
// request on its main thread; now each request gives up after a second, and hand-overs in the
// meantime still dial (bench/SilentSelectionBench.cpp and bench/HostileLoadBench.cpp time both).
#include "tests/e2e/ShellSuite.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <xcb/xcb.h>

using dialwise::testing::ShellRig;
using dialwise::testing::ShellSuite;

namespace {

// A request waits one second for the owner; this only keeps a request that never ends from
// hanging the test. How long one takes is bench/SilentSelectionBench.cpp's figure.
constexpr int kSelectionRequestWaitMs = 15000;
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

class HostileSelectionE2ETest : public ShellSuite<>
{
protected:
    static void SetUpTestSuite()
    {
        ASSERT_NO_FATAL_FAILURE(startShell());
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
        ShellSuite::TearDownTestSuite();
    }

    static pid_t owner;
};

pid_t HostileSelectionE2ETest::owner = -1;

TEST_F(HostileSelectionE2ETest, ownerNeverAnswers_noTextProvided)
{
    const ShellRig::Run run = rig->run(QStringList{"--call-selection"}, kSelectionRequestWaitMs);
    EXPECT_TRUE(run.finished) << "the request never ended";
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, QByteArray("dialwise: No text provided\n"));
    EXPECT_TRUE(rig->callTextDials(QStringLiteral("0200")));
}

TEST_F(HostileSelectionE2ETest, fiveQueuedRequests_handOverStillDials)
{
    QList<pid_t> requests;
    for (int i = 0; i < kQueuedRequests; ++i)
        requests.append(rig->startProcess({ShellRig::program().toLocal8Bit(), "--call-selection"}));
    EXPECT_TRUE(rig->callTextDials(QStringLiteral("0201")));
    for (pid_t request : requests)
        EXPECT_EQ(ShellRig::waitProcess(request, kSelectionRequestWaitMs), 1);
    EXPECT_TRUE(rig->primaryRunning());
}

} // namespace
