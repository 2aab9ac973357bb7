#include "ZefaBase/ZefaServerCallRetry.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaRunLoop.h"
#include "tests/support/ZefaCallOutcome.h"
#include "tests/support/ZefaLogCapture.h"
#include "tests/support/ZefaTestHttpServer.h"

namespace {

// The prefix of the call's lines for the description " H /p ".
const std::string P = "ServerCall Optional(\" H /p \")";
const std::string kException = "response data exception";

std::string line(int number, const std::string& message) {
  return std::string(number == 112 || number == 132 ? "[I]" : "[E]") + "[ZefaServerCall][call()](" +
         std::to_string(number) + "):Zefa[Swift]-> " + message;
}
std::string startLine(const std::string& url) {
  return line(112, "start to call server Optional(\"" + url + "\") Optional([\"k\": \"v\"])");
}
std::string errorLine(int64_t code, const std::string& msg) {
  return line(141, P + " with error Optional(\"ZefaBaseCode{code=Optional(" + std::to_string(code) +
                       "), msg=Optional(\\\"" + msg + "\\\")}\")");
}

// The lines the call itself wrote (the transport's and JSON helper's are left out).
std::vector<std::string> callLines(const ZefaLogCapture& log) {
  std::vector<std::string> lines;
  for (const auto& entry : log.entries()) {
    if (entry.find("[ZefaServerCall][call()]") != std::string::npos) lines.push_back(entry);
  }
  return lines;
}

// Starts a call and lets go of it: what keeps it alive from then on is its own business.
std::weak_ptr<ZefaServerCallRetry> startCall(const std::string& url,
                                             std::optional<int64_t> retryTime,
                                             const std::shared_ptr<ZefaCallOutcome>& outcome) {
  auto call = std::make_shared<ZefaServerCallRetry>(
      " H /p ", url, ZefaJsonObject{{"k", "v"}}, retryTime, outcome->success(), outcome->failed());
  call->call();
  return call;
}

class ZefaServerCallRetryTest : public testing::Test {
 protected:
  void SetUp() override { ZefaPlatform::current().reset(); }
  void TearDown() override {
    ZefaServerCall::HOST = "";
    ZefaServerCall::DEVICE_ID = "";
    ZefaPlatform::current().reset();
  }
};

// One row per reply shape and per kind of transport failure; only a backend failure code with a
// message is retried, so every other row is given retries to prove it.
TEST_F(ZefaServerCallRetryTest, ReportsEveryReplyShapeOnceWithItsLogLine) {
  struct Row {
    const char* name;
    std::string reply;
    int64_t code;     // 0: success with {"a": 1}; otherwise the failed status
    std::string msg;  // for transport failures (line 162), how the message starts
    int line;
    std::string url = "";  // instead of the server's
  };
  const std::string bad = "http://127.0.0.1:1/a b";
  // clang-format off
  const std::vector<Row> rows = {
      {"code 0 with data, other members ignored",
       R"({"state":{"code":0,"msg":"ok","x":1},"data":{"a":1},"x":true})", 0, "", 132},
      {"data inside state", R"({"state":{"code":0,"data":{}}})", 11002, "lose data", 128},
      {"data is an array", R"({"state":{"code":0},"data":[1]})", 11002, "lose data", 128},
      {"failure code without msg", R"({"state":{"code":7}})", 11002, kException, 136},
      {"failure code, msg not text", R"({"state":{"code":7,"msg":5}})", 11002, kException, 136},
      {"code as a fraction", R"({"state":{"code":0.0},"data":{}})", 11002, kException, 121},
      {"code past 64 bits", R"({"state":{"code":18446744073709551615,"msg":"x"}})", 11002,
       kException, 121},
      {"no code", R"({"state":{"msg":"x"},"data":{}})", 11002, kException, 121},
      {"state not an object", R"({"state":[0],"data":{}})", 11002, kException, 121},
      {"backend failure, no retry left", R"({"state":{"code":-3,"msg":"bad"}})", -3, "bad", 141},
      {"reply that is not an object", "<html></html>", 11001, kException, 162},
      {"bare path fails at the client", "", 11001, "request error: ", 162, "/api/user/login"},
      {"address that does not parse (early)", "", 11001, "incorrect network address", 162, bad},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaTestHttpServer server(ZefaScriptedReply{200, row.reply});
    const std::string url = row.url.empty() ? server.url("/p?sessionToken=t") : row.url;
    const bool early = row.url == bad;
    ZefaLogCapture log;
    auto outcome = std::make_shared<ZefaCallOutcome>();
    const auto watched = startCall(url, row.line == 141 ? 0 : 2, outcome);
    outcome->returned = true;
    EXPECT_EQ(watched.expired(), early);  // else kept alive by its pending handlers
    ASSERT_TRUE(outcome->settle());
    EXPECT_EQ(outcome->how(), std::tuple(1, !early, early));
    std::string last;
    if (row.code == 0) {
      EXPECT_EQ(outcome->data, (ZefaJsonObject{{"a", 1}}));
      last = line(132, P + " success [\"a\": 1]");
    } else {
      ASSERT_TRUE(outcome->status && outcome->status->msg);
      EXPECT_EQ(outcome->status->code, row.code);
      const std::string& msg = *outcome->status->msg;
      EXPECT_TRUE(row.line == 162 ? msg.starts_with(row.msg) : msg == row.msg) << msg;
      last = row.line == 162   ? line(162, P + " " + msg + " with CLIENT_CONNECTION_ERROR")
             : row.line == 141 ? errorLine(row.code, row.msg)
                               : line(row.line, P + " with " + row.msg);
    }
    EXPECT_EQ(callLines(log), (std::vector<std::string>{startLine(url), last}));
    EXPECT_EQ(server.requests().size(), row.url.empty() ? 1u : 0u);
    EXPECT_EQ(ZefaRunLoop::main().secondsUntilNextTimer(), -1.0);
    EXPECT_TRUE(watched.expired());  // released after its one outcome
  }
}

TEST_F(ZefaServerCallRetryTest, BackendFailureIsPostedAgainEveryThreeSeconds) {
  ZefaTestHttpServer server(ZefaScriptedReply{200, R"({"state":{"code":7,"msg":"busy"}})"});
  ZefaServerCall::DEVICE_ID = "first";
  ZefaLogCapture log;
  auto outcome = std::make_shared<ZefaCallOutcome>();
  const auto watched = startCall(server.url("/p"), 2, outcome);
  outcome->returned = true;
  // While the retry timer waits, the timer alone keeps the call alive; headers are rebuilt.
  ASSERT_TRUE(
      ZefaRunLoop::main().run([&] { return ZefaRunLoop::main().secondsUntilNextTimer() > 0; }, 10));
  ASSERT_FALSE(watched.expired());
  EXPECT_EQ(watched.lock()->retryTime, 1);
  ZefaServerCall::DEVICE_ID = "second";

  ASSERT_TRUE(outcome->settle(20));
  EXPECT_EQ(outcome->how(), std::tuple(1, true, false));
  ASSERT_TRUE(outcome->status);
  EXPECT_EQ(outcome->status->toString(), R"(ZefaBaseCode{code=Optional(7), msg=Optional("busy")})");
  EXPECT_TRUE(watched.expired());
  const auto seen = server.requests();
  ASSERT_EQ(seen.size(), 3u);
  for (size_t i = 0; i < seen.size(); ++i) {
    EXPECT_EQ(seen[i].header("deviceId"), i == 0 ? "first" : "second");
    if (i == 0) continue;
    EXPECT_GE(seen[i].arrival - seen[i - 1].arrival, std::chrono::milliseconds(3000));
    EXPECT_LT(seen[i].arrival - seen[i - 1].arrival, std::chrono::milliseconds(4500));
  }
  const std::string start = startLine(server.url("/p")), error = errorLine(7, "busy");
  const std::string retry = line(153, P + " fail and retry");
  EXPECT_EQ(callLines(log),
            (std::vector<std::string>{start, error, retry, start, error, retry, start, error}));
}

TEST_F(ZefaServerCallRetryTest, MissingRetryCountAtARetryDecisionIsFatal) {
  EXPECT_DEATH(
      {
        ZefaTestHttpServer server(ZefaScriptedReply{200, R"({"state":{"code":7,"msg":"x"}})"});
        auto outcome = std::make_shared<ZefaCallOutcome>();
        startCall(server.url("/p"), std::nullopt, outcome);
        ZefaRunLoop::main().runFor(10);
      },
      "retryTime");
}

TEST_F(ZefaServerCallRetryTest, ThousandConcurrentCallsEachReportOnce) {
  constexpr size_t kCalls = 1000;
  ZefaTestHttpServer server([](const ZefaRecordedRequest& request) {
    return ZefaScriptedReply{200, R"({"state":{"code":0},"data":)" + request.body + "}"};
  });
  ZefaServerCall::HOST = server.url();
  ZefaLogCapture log(false);
  std::vector<int> reports(kCalls, 0);
  std::vector<std::string> failures;
  size_t total = 0;
  for (size_t i = 0; i < kCalls; ++i) {
    ZefaServerCall::postJsonAsync(
        false, "/api/n", ZefaJsonObject{{"i", i}},
        [&](const ZefaJsonObject& data) { ++total, ++reports.at(data.at("i").get<size_t>()); },
        [&](const ZefaStatusCodeRef& status) { ++total, failures.push_back(status->toString()); });
  }
  ASSERT_TRUE(ZefaRunLoop::main().run([&] { return total >= kCalls; }, 120));
  ZefaRunLoop::main().runFor(0.1);
  EXPECT_EQ(total, kCalls);
  EXPECT_EQ(failures, std::vector<std::string>{});
  EXPECT_EQ(reports, std::vector<int>(kCalls, 1));
  EXPECT_EQ(server.requests().size(), kCalls);
}

}  // namespace
