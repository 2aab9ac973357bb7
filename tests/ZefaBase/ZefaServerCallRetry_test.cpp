#include "ZefaBase/ZefaServerCallRetry.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaRunLoop.h"
#include "tests/support/ZefaCallOutcome.h"
#include "tests/support/ZefaLogCapture.h"
#include "tests/support/ZefaTestHttpServer.h"

namespace {

using Clock = std::chrono::steady_clock;

// The prefix of the call's lines for the description " H /p ".
const std::string P = "ServerCall Optional(\" H /p \")";

std::string line(char level, int number, const std::string& message) {
  return std::string("[") + level + "][ZefaServerCall][call()](" + std::to_string(number) +
         "):Zefa[Swift]-> " + message;
}

// The lines the call itself wrote (the transport's and JSON helper's are left out).
std::vector<std::string> callLines(const ZefaLogCapture& log) {
  std::vector<std::string> lines;
  for (const auto& entry : log.entries()) {
    if (entry.find("[ZefaServerCall][call()]") != std::string::npos) lines.push_back(entry);
  }
  return lines;
}

std::shared_ptr<ZefaServerCallRetry> makeCall(const std::string& url, int64_t retryTime,
                                              const std::shared_ptr<ZefaCallOutcome>& outcome,
                                              std::optional<int64_t> retry = std::nullopt) {
  return std::make_shared<ZefaServerCallRetry>(" H /p ", url, ZefaJsonObject{{"k", "v"}},
                                               retry ? retry : std::optional<int64_t>(retryTime),
                                               outcome->success(), outcome->failed());
}

class ZefaServerCallRetryTest : public testing::Test {
 protected:
  void SetUp() override { ZefaPlatform::current().reset(); }
  void TearDown() override {
    ZefaServerCall::DEVICE_ID = "";
    ZefaPlatform::current().reset();
  }
};

TEST_F(ZefaServerCallRetryTest, ReadsEveryShapeOfTheReplyEnvelope) {
  struct Row {
    const char* name;
    unsigned status;
    std::string reply;
    std::optional<ZefaJsonObject> data;
    std::optional<int64_t> code;
    std::optional<std::string> msg;
    std::vector<std::string> lines;  // after the start line
  };
  const std::string lose = P + " with lose data";
  const std::string exception = P + " with response data exception";
  // clang-format off
  const std::vector<Row> rows = {
      {"code 0 with empty data", 200, R"({"state":{"code":0},"data":{}})", ZefaJsonObject{},
       std::nullopt, std::nullopt, {line('I', 132, P + " success [:]")}},
      {"code 0 with data, other members ignored", 200,
       R"({"state":{"code":0,"msg":"ok","x":1},"data":{"a":1},"extra":true})",
       ZefaJsonObject{{"a", 1}}, std::nullopt, std::nullopt,
       {line('I', 132, P + " success [\"a\": 1]")}},
      {"error status with a good envelope", 500, R"({"state":{"code":0},"data":{"a":1}})",
       ZefaJsonObject{{"a", 1}}, std::nullopt, std::nullopt,
       {line('I', 132, P + " success [\"a\": 1]")}},
      {"code 0 without data", 200, R"({"state":{"code":0,"msg":"x"}})", std::nullopt, 11002,
       "lose data", {line('E', 128, lose)}},
      {"data is an array", 200, R"({"state":{"code":0},"data":[1]})", std::nullopt, 11002,
       "lose data", {line('E', 128, lose)}},
      {"data is null", 200, R"({"state":{"code":0},"data":null})", std::nullopt, 11002, "lose data",
       {line('E', 128, lose)}},
      {"data inside state", 200, R"({"state":{"code":0,"data":{}}})", std::nullopt, 11002,
       "lose data", {line('E', 128, lose)}},
      {"failure code without msg, retries left", 200, R"({"state":{"code":7}})", std::nullopt,
       11002, "response data exception", {line('E', 136, exception)}},
      {"failure code with a msg that is not text", 200, R"({"state":{"code":7,"msg":5}})",
       std::nullopt, 11002, "response data exception", {line('E', 136, exception)}},
      {"code as text", 200, R"({"state":{"code":"0"},"data":{}})", std::nullopt, 11002,
       "response data exception", {line('E', 121, exception)}},
      {"code as a fraction", 200, R"({"state":{"code":0.0},"data":{}})", std::nullopt, 11002,
       "response data exception", {line('E', 121, exception)}},
      {"code past 64 bits", 200, R"({"state":{"code":18446744073709551615,"msg":"x"}})",
       std::nullopt, 11002, "response data exception", {line('E', 121, exception)}},
      {"no code", 200, R"({"state":{"msg":"x"},"data":{}})", std::nullopt, 11002,
       "response data exception", {line('E', 121, exception)}},
      {"state is not an object", 200, R"({"state":[0],"data":{}})", std::nullopt, 11002,
       "response data exception", {line('E', 121, exception)}},
      {"no state", 200, R"({"data":{}})", std::nullopt, 11002, "response data exception",
       {line('E', 121, exception)}},
      {"backend failure with no retry left", 200, R"({"state":{"code":-3,"msg":"bad"}})",
       std::nullopt, -3, "bad",
       {line('E', 141, P + " with error Optional(\"ZefaBaseCode{code=Optional(-3), "
                           "msg=Optional(\\\"bad\\\")}\")")}},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaTestHttpServer server(ZefaTestHttpServer::always({row.status, row.reply}));
    const std::string url = server.url("/p?sessionToken=t");
    // Rows that must not retry get retries to prove it; the last row has none left.
    const int64_t retries = row.code == -3 ? 0 : 2;
    ZefaLogCapture log;
    auto outcome = ZefaCallOutcome::make();
    std::weak_ptr<ZefaServerCallRetry> watched;
    {
      auto call = makeCall(url, retries, outcome);
      watched = call;
      call->call();
    }
    outcome->returned();
    EXPECT_FALSE(watched.expired());  // kept alive by its pending handlers
    ASSERT_TRUE(outcome->settle());
    EXPECT_EQ(outcome->calls, 1);
    EXPECT_TRUE(outcome->onMainLoop);
    EXPECT_FALSE(outcome->beforeReturn);
    EXPECT_EQ(outcome->data, row.data);
    if (row.code) {
      ASSERT_TRUE(outcome->status);
      EXPECT_EQ(outcome->status->code, row.code);
      EXPECT_EQ(outcome->status->msg, row.msg);
    } else {
      EXPECT_FALSE(outcome->status);
    }
    std::vector<std::string> expected{
        line('I', 112, "start to call server Optional(\"" + url + "\") Optional([\"k\": \"v\"])")};
    expected.insert(expected.end(), row.lines.begin(), row.lines.end());
    EXPECT_EQ(callLines(log), expected);
    EXPECT_EQ(server.requestCount(), 1u);
    EXPECT_EQ(ZefaRunLoop::main().secondsUntilNextTimer(), -1.0);
    EXPECT_TRUE(watched.expired());  // released after its one outcome
  }
}

TEST_F(ZefaServerCallRetryTest, TransportFailuresAreNeverRetried) {
  struct Row {
    const char* name;
    std::string url;  // "html" is replaced by the address of a server answering HTML
    bool early;
    std::string messagePrefix;
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"bare path fails at the client", "/api/user/login", false, "request error: "},
      {"reply that is not an object", "html", false, "response data exception"},
      {"address that does not parse", "http://127.0.0.1:1/a b", true, "incorrect network address"},
  };
  // clang-format on
  ZefaTestHttpServer html(ZefaTestHttpServer::always({500, "<html></html>", "text/html"}));
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string url = row.url == "html" ? html.url("/p") : row.url;
    ZefaLogCapture log(false);
    auto outcome = ZefaCallOutcome::make();
    makeCall(url, 5, outcome)->call();
    outcome->returned();
    EXPECT_EQ(outcome->calls, row.early ? 1 : 0);
    ASSERT_TRUE(outcome->settle());
    EXPECT_EQ(outcome->calls, 1);
    EXPECT_EQ(outcome->beforeReturn, row.early);
    EXPECT_EQ(outcome->onMainLoop, !row.early);
    ASSERT_TRUE(outcome->status);
    EXPECT_EQ(outcome->status->code, 11001);
    ASSERT_TRUE(outcome->status->msg);
    const std::string& message = *outcome->status->msg;
    EXPECT_EQ(message.rfind(row.messagePrefix, 0), 0u) << message;
    EXPECT_EQ(callLines(log), std::vector<std::string>{line(
                                  'E', 162, P + " " + message + " with CLIENT_CONNECTION_ERROR")});
    EXPECT_EQ(ZefaRunLoop::main().secondsUntilNextTimer(), -1.0);
  }
}

TEST_F(ZefaServerCallRetryTest, BackendFailureIsPostedAgainEveryThreeSeconds) {
  std::mutex mutex;
  std::vector<Clock::time_point> arrivals;
  std::vector<std::string> deviceIds;
  ZefaTestHttpServer server([&](const ZefaRecordedRequest& request) {
    std::lock_guard lock(mutex);
    arrivals.push_back(Clock::now());
    deviceIds.push_back(request.header("deviceId").value_or("<none>"));
    return ZefaScriptedReply{200, R"({"state":{"code":7,"msg":"busy"}})"};
  });
  ZefaServerCall::DEVICE_ID = "first";
  ZefaLogCapture log;
  auto outcome = ZefaCallOutcome::make();
  std::weak_ptr<ZefaServerCallRetry> watched;
  {
    auto call = makeCall(server.url("/p"), 2, outcome);
    watched = call;
    call->call();
  }
  // While the retry timer waits, the timer alone keeps the call alive; headers are rebuilt.
  ASSERT_TRUE(
      ZefaRunLoop::main().run([&] { return ZefaRunLoop::main().secondsUntilNextTimer() > 0; }, 10));
  EXPECT_FALSE(watched.expired());
  EXPECT_EQ(watched.lock()->retryTime, 1);
  ZefaServerCall::DEVICE_ID = "second";

  ASSERT_TRUE(outcome->settle(20));
  EXPECT_EQ(outcome->calls, 1);
  EXPECT_TRUE(outcome->onMainLoop);
  ASSERT_TRUE(outcome->status);
  EXPECT_EQ(outcome->status->code, 7);
  EXPECT_EQ(outcome->status->msg, "busy");
  EXPECT_TRUE(watched.expired());

  std::lock_guard lock(mutex);
  ASSERT_EQ(arrivals.size(), 3u);
  for (size_t i = 1; i < arrivals.size(); ++i) {
    const auto gap = arrivals[i] - arrivals[i - 1];
    EXPECT_GE(gap, std::chrono::milliseconds(3000));
    EXPECT_LT(gap, std::chrono::milliseconds(4500));
  }
  EXPECT_EQ(deviceIds, (std::vector<std::string>{"first", "second", "second"}));

  const std::string start =
      line('I', 112,
           "start to call server Optional(\"" + server.url("/p") + "\") Optional([\"k\": \"v\"])");
  const std::string error = line(
      'E', 141,
      P + " with error Optional(\"ZefaBaseCode{code=Optional(7), msg=Optional(\\\"busy\\\")}\")");
  const std::string retry = line('E', 153, P + " fail and retry");
  EXPECT_EQ(callLines(log),
            (std::vector<std::string>{start, error, retry, start, error, retry, start, error}));
}

TEST_F(ZefaServerCallRetryTest, ProgrammingErrorsStopTheProgram) {
  EXPECT_DEATH(
      {
        ZefaServerCallRetry onStack(" H /p ", "http://127.0.0.1:1/", {}, 0, nullptr, nullptr);
        onStack.call();
      },
      "shared_ptr");
  EXPECT_DEATH(
      {
        ZefaTestHttpServer server(
            ZefaTestHttpServer::always({200, R"({"state":{"code":7,"msg":"x"}})"}));
        auto call = std::make_shared<ZefaServerCallRetry>(
            " H /p ", server.url("/p"), ZefaJsonObject{}, std::nullopt, nullptr, nullptr);
        call->call();
        ZefaRunLoop::main().runFor(10);
      },
      "retryTime");
}

TEST_F(ZefaServerCallRetryTest, ThousandConcurrentCallsEachReportOnce) {
  constexpr int kCalls = 1000;
  ZefaTestHttpServer server([](const ZefaRecordedRequest& request) {
    return ZefaScriptedReply{200, R"({"state":{"code":0},"data":)" + request.body + "}"};
  });
  ZefaServerCall::HOST = server.url();
  ZefaLogCapture log(false);
  std::vector<int> reports(kCalls, 0);
  std::vector<std::string> failures;
  int total = 0;
  for (int i = 0; i < kCalls; ++i) {
    ZefaServerCall::postJsonAsync(
        false, "/api/n", ZefaJsonObject{{"i", i}},
        [&](const ZefaJsonObject& data) {
          ++reports.at(data.at("i").get<size_t>());
          ++total;
        },
        [&](const ZefaStatusCodeRef& status) {
          failures.push_back(status->toString());
          ++total;
        });
  }
  ASSERT_TRUE(ZefaRunLoop::main().run([&] { return total >= kCalls; }, 120));
  ZefaRunLoop::main().runFor(0.1);
  EXPECT_EQ(total, kCalls);
  EXPECT_EQ(failures, std::vector<std::string>{});
  for (int i = 0; i < kCalls; ++i) EXPECT_EQ(reports[i], 1) << i;
  EXPECT_EQ(server.requestCount(), static_cast<size_t>(kCalls));
  ZefaServerCall::HOST = "";
}

}  // namespace
