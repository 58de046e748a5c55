// Placing calls from the web calling window: the new-call address the web app sees, what the
// phone field shows, and what lands in the call history.
#include "tests/display/WindowTestRig.h"

#include "calling/PhoneNumbers.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using dialwise::CallManager;
using dialwise::GoogleVoiceWindow;
using dialwise::testing::WindowRig;

namespace {

constexpr char kNewCallPrefix[] = "/u/0/calls?a=nc,";
// How long "nothing arrives" is watched for: several times what a local load takes.
constexpr int kQuietMs = 3000;

class GoogleVoiceWindowCall : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(rig.waitForPage(QStringLiteral("/u/0/calls"))); }

    int newCallRequests() const { return rig.standIn.countTargetsStartingWith(QString::fromLatin1(kNewCallPrefix)); }

    QString placeholder() const { return rig.window->phoneField()->placeholderText(); }

    void pressReturnWith(const QString &text)
    {
        rig.window->phoneField()->setText(text);
        QTest::keyClick(rig.window->phoneField(), Qt::Key_Return);
    }

    WindowRig rig;
};

TEST_F(GoogleVoiceWindowCall, showAndCall_tenDigits_loadsNewCallWithOneAndRecords)
{
    const int from = static_cast<int>(rig.standIn.requestLines().size());
    rig.window->showAndCall(QStringLiteral("(202) 555-0123"));

    EXPECT_TRUE(rig.standIn.waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B12025550123"), dialwise::testing::kLoadTimeoutMs, from));
    EXPECT_TRUE(rig.window->isVisible());
    EXPECT_EQ(rig.window->phoneField()->text(), QStringLiteral("(202) 555-0123"));
    const QList<CallManager::CallRecord> history = rig.callManager.callHistory();
    ASSERT_EQ(history.size(), 1);
    EXPECT_EQ(history[0].number, QStringLiteral("(202) 555-0123"));
    EXPECT_EQ(history[0].provider, CallManager::Provider::googleVoice);
    EXPECT_LE(qAbs(history[0].timestamp.secsTo(QDateTime::currentDateTime())), 60);
    EXPECT_EQ(rig.callManager.lastCalledNumber(), std::optional<QString>(QStringLiteral("(202) 555-0123")));
}

struct DialCase
{
    const char *given;
    const char *expectedTarget;
    const char *expectedField;
};

class GoogleVoiceWindowDial : public GoogleVoiceWindowCall, public ::testing::WithParamInterface<DialCase>
{
};

TEST_P(GoogleVoiceWindowDial, initiateCall_loadsDigitsAndRecordsNumberAsGiven)
{
    const DialCase c = GetParam();
    const QString given = QString::fromUtf8(c.given);
    const int from = static_cast<int>(rig.standIn.requestLines().size());
    rig.window->initiateCall(given);

    EXPECT_TRUE(rig.standIn.waitForTarget(QString::fromUtf8(c.expectedTarget), dialwise::testing::kLoadTimeoutMs, from))
        << "seen: " << rig.standIn.requestTargets().join(u' ').toStdString();
    EXPECT_EQ(newCallRequests(), 1);
    EXPECT_EQ(rig.window->phoneField()->text(), QString::fromUtf8(c.expectedField));
    ASSERT_EQ(rig.callManager.callHistory().size(), 1);
    EXPECT_EQ(rig.callManager.callHistory()[0].number, given);
    EXPECT_EQ(rig.callManager.lastCalledNumber(), std::optional<QString>(given));
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, GoogleVoiceWindowDial,
    ::testing::Values(DialCase{"(202) 555-0123", "/u/0/calls?a=nc,%2B12025550123", "(202) 555-0123"},
                      DialCase{"+1 202 555 0123", "/u/0/calls?a=nc,%2B12025550123", "+1 (202) 555-0123"},
                      DialCase{"+12025550123", "/u/0/calls?a=nc,%2B12025550123", "+1 (202) 555-0123"},
                      DialCase{"+44 20 12 34 56 78", "/u/0/calls?a=nc,%2B442012345678", "+44 20 12 34 56 78"},
                      DialCase{"202 555 012", "/u/0/calls?a=nc,%2B202555012", "202 555 012"},
                      DialCase{"call me", "/u/0/calls?a=nc,%2B", "call me"}));

TEST_F(GoogleVoiceWindowCall, initiateCall_arabicIndicDigits_loadsNothingButRecords)
{
    const QString given = QStringLiteral(u"\u0662\u0660\u0662\u0665\u0665\u0665\u0660\u0661\u0662\u0663");
    rig.window->initiateCall(given);

    EXPECT_FALSE(rig.standIn.waitForTarget(
        [](const QString &target) { return target.startsWith(QString::fromLatin1(kNewCallPrefix)); }, kQuietMs));
    // Ten numeric characters: the display form applies to them as to ASCII digits.
    EXPECT_EQ(rig.window->phoneField()->text(),
              QStringLiteral(u"(\u0662\u0660\u0662) \u0665\u0665\u0665-\u0660\u0661\u0662\u0663"));
    ASSERT_EQ(rig.callManager.callHistory().size(), 1);
    EXPECT_EQ(rig.callManager.callHistory()[0].number, given);
    EXPECT_EQ(rig.callManager.lastCalledNumber(), std::optional<QString>(given));
}

TEST_F(GoogleVoiceWindowCall, initiateCall_fullHistory_keepsFiftyAndDropsOldest)
{
    QList<CallManager::CallRecord> full;
    for (int i = 0; i < 50; ++i)
        full.append(CallManager::CallRecord(QStringLiteral("+1202555%1").arg(1000 + i), QDateTime::currentDateTime(),
                                            CallManager::Provider::browserTel));
    rig.callManager.setCallHistory(full);

    rig.window->initiateCall(QStringLiteral("+12025550123"));

    const QList<CallManager::CallRecord> history = rig.callManager.callHistory();
    ASSERT_EQ(history.size(), 50);
    EXPECT_EQ(history[0].number, QStringLiteral("+12025550123"));
    EXPECT_EQ(history[0].provider, CallManager::Provider::googleVoice);
    EXPECT_EQ(history[1].number, QStringLiteral("+12025551000"));
    EXPECT_EQ(history[49].number, QStringLiteral("+12025551048"));
}

TEST_F(GoogleVoiceWindowCall, initiateCall_shortHistory_growsByOne)
{
    rig.window->initiateCall(QStringLiteral("+12025550123"));
    rig.window->initiateCall(QStringLiteral("+12025550124"));

    const QList<CallManager::CallRecord> history = rig.callManager.callHistory();
    ASSERT_EQ(history.size(), 2);
    EXPECT_EQ(history[0].number, QStringLiteral("+12025550124"));
    EXPECT_EQ(history[1].number, QStringLiteral("+12025550123"));
}

TEST_F(GoogleVoiceWindowCall, returnInField_validNumber_callsNormalisedNumber)
{
    rig.window->show();
    const int from = static_cast<int>(rig.standIn.requestLines().size());
    pressReturnWith(QStringLiteral("  tel:202-555-0123 \n"));

    EXPECT_TRUE(rig.standIn.waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B12025550123"), dialwise::testing::kLoadTimeoutMs, from));
    EXPECT_EQ(rig.window->phoneField()->text(), QStringLiteral("(202) 555-0123"));
    ASSERT_EQ(rig.callManager.callHistory().size(), 1);
    EXPECT_EQ(rig.callManager.callHistory()[0].number, QStringLiteral("2025550123"));
    EXPECT_EQ(rig.callManager.lastCalledNumber(), std::optional<QString>(QStringLiteral("2025550123")));
}

TEST_F(GoogleVoiceWindowCall, callButton_validNumber_callsLikeReturn)
{
    rig.window->show();
    const int from = static_cast<int>(rig.standIn.requestLines().size());
    rig.window->phoneField()->setText(QStringLiteral("+44 20 1234 5678"));
    QTest::mouseClick(rig.window->callButton(), Qt::LeftButton);

    EXPECT_TRUE(rig.standIn.waitForTarget(QStringLiteral("/u/0/calls?a=nc,%2B442012345678"), dialwise::testing::kLoadTimeoutMs, from));
    ASSERT_EQ(rig.callManager.callHistory().size(), 1);
    EXPECT_EQ(rig.callManager.callHistory()[0].number, QStringLiteral("+442012345678"));
}

TEST_F(GoogleVoiceWindowCall, returnInField_invalidText_clearsAndHintsThenRestores)
{
    rig.window->show();
    const auto enteredAt = rig.scheduler.now();
    pressReturnWith(QStringLiteral("hello"));

    EXPECT_TRUE(rig.window->phoneField()->text().isEmpty());
    EXPECT_EQ(placeholder(), QStringLiteral("Invalid number, try again..."));
    EXPECT_TRUE(rig.callManager.callHistory().isEmpty());
    EXPECT_FALSE(rig.callManager.lastCalledNumber().has_value());

    rig.scheduler.advanceTo(enteredAt + GoogleVoiceWindow::kInvalidHint - 1ms);
    EXPECT_EQ(placeholder(), QStringLiteral("Invalid number, try again..."));
    rig.scheduler.advanceTo(enteredAt + GoogleVoiceWindow::kInvalidHint);
    EXPECT_EQ(placeholder(), QStringLiteral("Enter phone number..."));
    EXPECT_EQ(newCallRequests(), 0);
}

TEST_F(GoogleVoiceWindowCall, returnInField_blankText_doesNothing)
{
    rig.window->show();
    const int before = static_cast<int>(rig.standIn.requestLines().size());
    pressReturnWith(QStringLiteral(" \t "));

    EXPECT_EQ(rig.window->phoneField()->text(), QStringLiteral(" \t "));
    EXPECT_EQ(rig.window->phoneField()->placeholderText(), QStringLiteral("Enter phone number..."));
    EXPECT_TRUE(rig.callManager.callHistory().isEmpty());
    // The browser's own favicon fetch may still come; anything else would be a load.
    EXPECT_FALSE(rig.standIn.waitForTarget([](const QString &t) { return t != u"/favicon.ico"; }, kQuietMs, before));
}

TEST_F(GoogleVoiceWindowCall, twoInvalidEntries_firstRestoreBringsBackPlaceholder)
{
    rig.window->show();
    const auto firstAt = rig.scheduler.now();
    pressReturnWith(QStringLiteral("nope"));
    // The second entry comes while the first hint is still up.
    rig.scheduler.advanceBy(1000ms);
    pressReturnWith(QStringLiteral("still nope"));
    EXPECT_EQ(placeholder(), QStringLiteral("Invalid number, try again..."));

    rig.scheduler.advanceTo(firstAt + GoogleVoiceWindow::kInvalidHint - 1ms);
    EXPECT_EQ(placeholder(), QStringLiteral("Invalid number, try again..."));
    // The first entry's restore, not the second's (due at 3 s), brings the placeholder back.
    rig.scheduler.advanceTo(firstAt + GoogleVoiceWindow::kInvalidHint);
    EXPECT_EQ(placeholder(), QStringLiteral("Enter phone number..."));
}

} // namespace
