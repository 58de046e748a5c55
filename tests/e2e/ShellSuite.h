#pragma once

#include "tests/e2e/ShellRig.h"

#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

namespace dialwise::testing {

// A test suite around one running Dialwise: starting the web engine is what takes the time, so
// every test of the suite shares the primary that SetUpTestSuite started. Base is the gtest
// fixture, ::testing::TestWithParam<T> for parameterised suites. Suites that need more around the
// start write their own SetUpTestSuite from openRig() and startShell().
template <typename Base = ::testing::Test>
class ShellSuite : public Base
{
public:
    static void SetUpTestSuite() { startShell(); }
    static void TearDownTestSuite()
    {
        delete rig;
        rig = nullptr;
    }

protected:
    // The rig with its stand-in listening, nothing started yet.
    static void openRig()
    {
        rig = new ShellRig;
        ASSERT_TRUE(rig->startStandIn());
    }

    // The rig and a primary `dialwise arguments...`.
    static void startShell(const QStringList &arguments = {})
    {
        if (!rig) {
            ASSERT_NO_FATAL_FAILURE(openRig());
        }
        ASSERT_TRUE(rig->startPrimary(arguments)) << rig->primaryErrors().toStdString();
    }

    // A primary with the phone-link detector on and its web window closed (it would cover the
    // programs the tests click), once the detector says it is watching.
    static void startDetecting()
    {
        ASSERT_NO_FATAL_FAILURE(startShell({QStringLiteral("--detect-phone-links")}));
        ASSERT_TRUE(rig->closeVisibleWindows(10000));
        ASSERT_TRUE(ShellRig::waitUntil([] { return ShellRig::logText().contains(QStringLiteral("Monitoring active.")); }, 10000))
            << ShellRig::logText().toStdString() << rig->primaryErrors().toStdString();
    }

    static inline ShellRig *rig = nullptr;
};

} // namespace dialwise::testing
