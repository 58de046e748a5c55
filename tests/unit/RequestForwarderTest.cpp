// Handing a request to the running Dialwise: which method each request becomes, and what each
// answer of the bus means (taken, nobody there, still starting, refused for a reason, no reply).
// Time is virtual: the forwarder's clock and its pauses between tries are the test's, so every
// count of tries is exact and nothing here sleeps.
#include "app/RequestForwarder.h"
#include "tests/fakes/FakeBusMethodCaller.h"
#include "tests/support/NamedRows.h"
#include "tests/unit/QtPrinting.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

using namespace std::chrono_literals;
using dialwise::LaunchRequest;
using dialwise::RequestFailure;
using dialwise::RequestForwarder;
using dialwise::testing::FakeBusMethodCaller;
using Status = dialwise::RequestForwarder::Result::Status;
using Argument = dialwise::BusMethodCaller::Argument;
using Ms = std::chrono::milliseconds;

namespace {

// The forwarder's clock and sleep: the clock reads `now`, and a pause moves it on and is written
// down. Nothing else moves it, unless a fake bus takes time to answer.
struct VirtualTime
{
    Ms now{0};
    std::vector<Ms> pauses;

    RequestForwarder forwarder(dialwise::BusMethodCaller &bus, Ms grace = RequestForwarder::kStartupGrace)
    {
        return RequestForwarder(bus, grace,
                                {[this] { return std::chrono::steady_clock::time_point(now); },
                                 [this](Ms pause) {
                                     pauses.push_back(pause);
                                     now += pause;
                                 }});
    }
};

// A request of one kind, with its links if it has any.
LaunchRequest requestOf(LaunchRequest::Kind kind, const QStringList &uris = {})
{
    LaunchRequest request;
    request.kind = kind;
    request.uris = uris;
    return request;
}

LaunchRequest callText(const QString &text)
{
    LaunchRequest request = requestOf(LaunchRequest::Kind::callText);
    request.text = text;
    return request;
}

struct MethodRow
{
    const char *name;
    LaunchRequest request;
    const char *interface;
    const char *method;
    std::vector<Argument> arguments;
};

bool sameArguments(const std::vector<Argument> &a, const std::vector<Argument> &b)
{
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (a[i].index() != b[i].index())
            return false;
        if (const auto *text = std::get_if<QString>(&a[i]); text && *text != std::get<QString>(b[i]))
            return false;
        if (const auto *list = std::get_if<QStringList>(&a[i]); list && *list != std::get<QStringList>(b[i]))
            return false;
        if (const auto *flag = std::get_if<dialwise::BusMethodCaller::BooleanParameter>(&a[i]);
            flag && flag->value != std::get<dialwise::BusMethodCaller::BooleanParameter>(b[i]).value)
            return false;
    }
    return true;
}

const MethodRow kMethodRows[] = {
    {"activate", LaunchRequest{}, "org.freedesktop.Application", "Activate",
     {dialwise::BusMethodCaller::EmptyDictionary{}}},
    {"openUris", requestOf(LaunchRequest::Kind::openUris, {"tel:5551234567", "callto:1"}),
     "org.freedesktop.Application", "Open",
     {QStringList{"tel:5551234567", "callto:1"}, dialwise::BusMethodCaller::EmptyDictionary{}}},
    {"callText", callText("call 555 123 4567"), "app.dialwise.Dialwise.Calls", "HandlePhoneCall",
     {QString("call 555 123 4567")}},
    {"callText_empty", callText(""), "app.dialwise.Dialwise.Calls", "HandlePhoneCall", {QString("")}},
    {"callSelection", requestOf(LaunchRequest::Kind::callSelection), "app.dialwise.Dialwise.Calls",
     "CallSelection", {}},
    // --quit: the same action the tray menu's quit item and a desktop's "Quit" use.
    {"quit", requestOf(LaunchRequest::Kind::quit), "org.freedesktop.Application", "ActivateAction",
     {QString("quit"), dialwise::BusMethodCaller::EmptyVariantArray{}, dialwise::BusMethodCaller::EmptyDictionary{}}},
};

LaunchRequest detectorSwitch(bool on, LaunchRequest request = {})
{
    request.detectPhoneLinks = on;
    return request;
}

std::vector<Argument> switchArguments(bool on)
{
    return {QString("detect-phone-links"), dialwise::BusMethodCaller::BooleanParameter{on},
            dialwise::BusMethodCaller::EmptyDictionary{}};
}

// The detector switch: its own action first, then the rest of the request, if it has any.
TEST(RequestForwarderDetectorSwitch, alone_onlyTheAction_withRequest_actionThenRequest)
{
    struct Row
    {
        LaunchRequest request;
        std::vector<std::pair<const char *, std::vector<Argument>>> calls; // method, arguments
    };
    const Row rows[] = {
        {detectorSwitch(true), {{"ActivateAction", switchArguments(true)}}},
        {detectorSwitch(false), {{"ActivateAction", switchArguments(false)}}},
        {detectorSwitch(true, requestOf(LaunchRequest::Kind::openUris, {"tel:5551234567"})),
         {{"ActivateAction", switchArguments(true)},
          {"Open", {QStringList{"tel:5551234567"}, dialwise::BusMethodCaller::EmptyDictionary{}}}}},
        {detectorSwitch(false, callText("555 123 4567")),
         {{"ActivateAction", switchArguments(false)}, {"HandlePhoneCall", {QString("555 123 4567")}}}},
    };
    for (const Row &row : rows) {
        FakeBusMethodCaller bus;
        bus.queue(FakeBusMethodCaller::ok());
        VirtualTime time;
        EXPECT_EQ(time.forwarder(bus).forward(row.request).status, Status::delivered);
        ASSERT_EQ(bus.calls.size(), row.calls.size());
        for (size_t i = 0; i < row.calls.size(); ++i) {
            EXPECT_EQ(bus.calls[i].method, QString::fromLatin1(row.calls[i].first));
            EXPECT_TRUE(sameArguments(bus.calls[i].arguments, row.calls[i].second)) << row.calls[i].first;
        }
        EXPECT_EQ(bus.calls[0].interface, QStringLiteral("org.freedesktop.Application"));
    }
}

TEST(RequestForwarderDetectorSwitch, nobodyRuns_noInstance_andTheRequestIsNotSentOn)
{
    FakeBusMethodCaller bus; // answers ServiceUnknown
    VirtualTime time;
    const RequestForwarder::Result result =
        time.forwarder(bus).forward(detectorSwitch(true, requestOf(LaunchRequest::Kind::openUris, {"tel:1"})));
    EXPECT_EQ(result.status, Status::noInstance);
    EXPECT_EQ(bus.calls.size(), 1u);
}

using RequestForwarderMethod = ::testing::TestWithParam<MethodRow>;

TEST_P(RequestForwarderMethod, forward_callsTheMethodOfTheRequest)
{
    FakeBusMethodCaller bus;
    bus.queue(FakeBusMethodCaller::ok());
    VirtualTime time;
    const RequestForwarder::Result result = time.forwarder(bus).forward(GetParam().request);

    EXPECT_EQ(result.status, Status::delivered);
    ASSERT_EQ(bus.calls.size(), 1u);
    EXPECT_EQ(bus.calls[0].service, QStringLiteral("app.dialwise.Dialwise"));
    EXPECT_EQ(bus.calls[0].path, QStringLiteral("/app/dialwise/Dialwise"));
    EXPECT_EQ(bus.calls[0].interface, QString::fromLatin1(GetParam().interface));
    EXPECT_EQ(bus.calls[0].method, QString::fromLatin1(GetParam().method));
    EXPECT_TRUE(sameArguments(bus.calls[0].arguments, GetParam().arguments));
    EXPECT_GT(bus.calls[0].timeoutMs, 0);
}

INSTANTIATE_TEST_SUITE_P(Requests, RequestForwarderMethod, ::testing::ValuesIn(kMethodRows),
                         dialwise::testing::RowName());

struct ErrorRow
{
    const char *name;
    const char *errorName;
    const char *errorMessage;
    Status status;
    std::optional<RequestFailure> failure;
    const char *error;
};

const ErrorRow kErrorRows[] = {
    {"serviceUnknown_noInstance", "org.freedesktop.DBus.Error.ServiceUnknown", "", Status::noInstance, std::nullopt, ""},
    {"nameHasNoOwner_noInstance", "org.freedesktop.DBus.Error.NameHasNoOwner", "", Status::noInstance, std::nullopt, ""},
    // Dialwise's own reasons are told in its own words, whatever text the bus carried.
    {"noText", "app.dialwise.Dialwise.Error.NoText", "something else", Status::failed, RequestFailure::noText,
     "No text provided"},
    {"noNumber", "app.dialwise.Dialwise.Error.NoNumber", "", Status::failed, RequestFailure::noNumber,
     "No valid phone number found"},
    {"noReply", "org.freedesktop.DBus.Error.NoReply", "Did not receive a reply", Status::failed, std::nullopt,
     "the running Dialwise did not take the request (Did not receive a reply)"},
    {"otherError_withoutMessage_namesIt", "org.example.Error.Odd", "", Status::failed, std::nullopt,
     "the running Dialwise did not take the request (org.example.Error.Odd)"},
};

using RequestForwarderAnswer = ::testing::TestWithParam<ErrorRow>;

TEST_P(RequestForwarderAnswer, forward_reportsWhatTheAnswerMeans)
{
    FakeBusMethodCaller bus;
    bus.queue(FakeBusMethodCaller::error(GetParam().errorName, GetParam().errorMessage));
    VirtualTime time;
    const RequestForwarder::Result result = time.forwarder(bus).forward(callText("hello"));

    EXPECT_EQ(result.status, GetParam().status);
    EXPECT_EQ(result.failure, GetParam().failure);
    EXPECT_EQ(result.error, QString::fromLatin1(GetParam().error));
    // None of these is worth asking again.
    EXPECT_EQ(bus.calls.size(), 1u);
    EXPECT_TRUE(time.pauses.empty());
}

INSTANTIATE_TEST_SUITE_P(Answers, RequestForwarderAnswer, ::testing::ValuesIn(kErrorRows),
                         dialwise::testing::RowName());

// What a Dialwise answers while it owns its name but has not exported its objects yet.
const char *const kNotReadyYet[] = {
    "org.freedesktop.DBus.Error.UnknownObject",
    "org.freedesktop.DBus.Error.UnknownInterface",
    "org.freedesktop.DBus.Error.UnknownMethod",
};

using RequestForwarderStartup = ::testing::TestWithParam<const char *>;

TEST_P(RequestForwarderStartup, startingInstance_retriedUntilItAnswers)
{
    FakeBusMethodCaller bus;
    for (int i = 0; i < 3; ++i)
        bus.queue(FakeBusMethodCaller::error(GetParam()));
    bus.queue(FakeBusMethodCaller::ok());

    VirtualTime time;
    const RequestForwarder::Result result = time.forwarder(bus).forward(callText("5551234567"));
    EXPECT_EQ(result.status, Status::delivered);
    EXPECT_EQ(bus.calls.size(), 4u);
    EXPECT_EQ(time.pauses, std::vector<Ms>(3, 20ms));
}

TEST_P(RequestForwarderStartup, startingInstance_afterGrace_isAFailure)
{
    FakeBusMethodCaller bus;
    bus.queue(FakeBusMethodCaller::error(GetParam(), "not there yet"));

    // No grace at all: the first "not ready" answer is final.
    VirtualTime time;
    const RequestForwarder::Result result = time.forwarder(bus, 0ms).forward(callText("5551234567"));
    EXPECT_EQ(result.status, Status::failed);
    EXPECT_EQ(result.failure, std::nullopt);
    EXPECT_EQ(result.error, QStringLiteral("the running Dialwise did not take the request (not there yet)"));
    EXPECT_EQ(bus.calls.size(), 1u);
    EXPECT_TRUE(time.pauses.empty());
}

// Each test is named after the last part of the error's name ("UnknownObject").
INSTANTIATE_TEST_SUITE_P(Starting, RequestForwarderStartup, ::testing::ValuesIn(kNotReadyYet),
                         [](const ::testing::TestParamInfo<const char *> &error) {
                             return QString::fromLatin1(error.param).section(u'.', -1).toStdString();
                         });

TEST(RequestForwarderGrace, neverReady_triesEveryPauseUntilGraceRunsOut)
{
    // With every answer at once, a try is made at the start and after each 20 ms pause; a pause is
    // taken only while the grace lasts, so the last try is the first one at or past its end.
    const std::tuple<Ms, size_t, Ms> rows[] = {
        // grace, tries, time of the last try
        {200ms, 11, 200ms},
        {210ms, 12, 220ms}, // not a whole number of pauses
        {RequestForwarder::kStartupGrace, 501, 10000ms},
    };
    for (const auto &[grace, tries, lastTry] : rows) {
        SCOPED_TRACE("grace " + std::to_string(grace.count()) + " ms");
        FakeBusMethodCaller bus;
        bus.queue(FakeBusMethodCaller::error("org.freedesktop.DBus.Error.UnknownObject"));
        VirtualTime time;
        EXPECT_EQ(time.forwarder(bus, grace).forward(callText("5551234567")).status, Status::failed);
        ASSERT_EQ(bus.calls.size(), tries);
        EXPECT_EQ(time.pauses, std::vector<Ms>(tries - 1, 20ms));
        EXPECT_EQ(time.now, lastTry);
    }
}

TEST(RequestForwarderSlowReplies, timeSpentWaitingForAnswers_countsAgainstTheGrace)
{
    FakeBusMethodCaller bus;
    bus.queue(FakeBusMethodCaller::error("org.freedesktop.DBus.Error.UnknownMethod"));
    VirtualTime time;
    bus.whileAnswering = [&time] { time.now += 50ms; };

    // Tries end at 50, 120, 190 (each then pauses 20 ms) and 260 ms, past the 200 ms grace.
    const RequestForwarder::Result result = time.forwarder(bus, 200ms).forward(callText("5551234567"));
    EXPECT_EQ(result.status, Status::failed);
    EXPECT_EQ(bus.calls.size(), 4u);
    EXPECT_EQ(time.pauses.size(), 3u);
    EXPECT_EQ(time.now, 260ms);
}

} // namespace
