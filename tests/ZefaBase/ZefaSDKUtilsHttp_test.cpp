#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZefaBase/ZefaSDKUtils.h"
#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaRunLoop.h"
#include "tests/support/ZefaCallOutcome.h"
#include "tests/support/ZefaLogCapture.h"
#include "tests/support/ZefaRawSocketServer.h"
#include "tests/support/ZefaTestHttpServer.h"

namespace {

constexpr const char* kGetSite = "[E][ZefaSDKUtils][get(_:_:_:_:_:_:)]";
constexpr const char* kPostSite = "[E][ZefaSDKUtils][postJson(_:_:_:_:_:_:)]";

class ZefaSDKUtilsHttpTest : public testing::Test {
 protected:
  void SetUp() override { ZefaPlatform::current().reset(); }
  void TearDown() override { ZefaPlatform::current().reset(); }

  static std::shared_ptr<ZefaCallOutcome> call(bool post, const std::string& url,
                                               const std::optional<ZefaJsonObject>& params,
                                               const std::optional<ZefaHeaders>& headers,
                                               double timeout = 10) {
    auto outcome = ZefaCallOutcome::make();
    (post ? ZefaSDKUtils::postJson : ZefaSDKUtils::get)(
        url, params, headers, timeout, outcome->httpSuccess(), outcome->httpFailed());
    outcome->returned();
    return outcome;
  }
  static void settle(const std::shared_ptr<ZefaCallOutcome>& outcome) {
    ASSERT_TRUE(outcome->settle());
    EXPECT_EQ(outcome->calls, 1);  // a second report would have shown up while settling
  }
};

TEST_F(ZefaSDKUtilsHttpTest, GetSendsQueryInAddressAndBody) {
  struct Row {
    const char* name;
    std::string path;
    std::optional<ZefaJsonObject> params;
    std::optional<ZefaHeaders> headers;
    std::string target;
    std::string body;
    std::vector<std::pair<std::string, std::optional<std::string>>> expectedHeaders;
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"no params: address unchanged, empty body, default headers", "/g", std::nullopt,
       std::nullopt, "/g", "",
       {{"Content-Type", "x-www-form-urlencoded"}, {"Accept", "application/json"}}},
      {"empty params: a lone question mark", "/g", ZefaJsonObject{}, std::nullopt, "/g?", "?", {}},
      {"insertion order, no trailing ampersand", "/g", ZefaJsonObject{{"b", "x"}, {"a", 1}},
       std::nullopt, "/g?b=x&a=1", "?b=x&a=1", {}},
      {"plain text of values", "/g",
       ZefaJsonObject{{"d", 1.0}, {"f", 0.1}, {"t", true}, {"n", -3}, {"s", "a/b"}}, std::nullopt,
       "/g?d=1.0&f=0.1&t=true&n=-3&s=a/b", "?d=1.0&f=0.1&t=true&n=-3&s=a/b", {}},
      {"an existing query gains a second question mark", "/g?z=9", ZefaJsonObject{{"a", 1}},
       std::nullopt, "/g?z=9?a=1", "?a=1", {}},
      {"given headers replace the defaults, empty values kept", "/g", std::nullopt,
       ZefaHeaders{{"X-Empty", ""}, {"X-A", "1"}}, "/g", "",
       {{"X-Empty", ""}, {"X-A", "1"}, {"Content-Type", std::nullopt}}},
  };
  // clang-format on
  ZefaTestHttpServer server(ZefaTestHttpServer::always({200, "{\"ok\":true}"}));
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const size_t before = server.requestCount();
    auto outcome = call(false, server.url(row.path), row.params, row.headers);
    settle(outcome);
    ASSERT_TRUE(outcome->data.has_value());
    EXPECT_EQ(*outcome->data, (ZefaJsonObject{{"ok", true}}));
    ASSERT_EQ(server.requestCount(), before + 1);
    const ZefaRecordedRequest seen = server.requests().back();
    EXPECT_EQ(seen.method, "GET");
    EXPECT_EQ(seen.target, row.target);
    EXPECT_EQ(seen.body, row.body);
    for (const auto& [name, value] : row.expectedHeaders)
      EXPECT_EQ(seen.header(name), value) << name;
  }
}

TEST_F(ZefaSDKUtilsHttpTest, PostJsonSendsSerialisedBodyWithItsLength) {
  struct Row {
    const char* name;
    std::string path;
    std::optional<ZefaJsonObject> params;
    std::optional<ZefaHeaders> headers;
    std::string body;
    std::vector<std::pair<std::string, std::optional<std::string>>> expectedHeaders;
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"no params: {} of length 2 with default headers", "/p", std::nullopt, std::nullopt, "{}",
       {{"Content-Type", "application/json"}, {"Accept", "application/json"},
        {"Content-Length", "2"}}},
      {"compact body, slash escaped", "/p?sessionToken=t", ZefaJsonObject{{"a", "/x"}, {"n", 1}},
       std::nullopt, "{\"a\":\"\\/x\",\"n\":1}", {{"Content-Length", "17"}}},
      {"length counts bytes, not characters", "/p", ZefaJsonObject{{"n", "\xc3\xa9"}}, std::nullopt,
       "{\"n\":\"\xc3\xa9\"}", {{"Content-Length", "10"}}},
      {"given headers without a content type send none", "/p", ZefaJsonObject{},
       ZefaHeaders{{"X-A", "1"}}, "{}",
       {{"X-A", "1"}, {"Content-Type", std::nullopt}, {"Content-Length", "2"}}},
      {"headers with empty values are dropped", "/p", std::nullopt,
       ZefaHeaders{{"X-Empty", ""}, {"Accept", "text/x"}}, "{}",
       {{"X-Empty", std::nullopt}, {"Accept", "text/x"}}},
  };
  // clang-format on
  ZefaTestHttpServer server(ZefaTestHttpServer::always({200, "{}"}));
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const size_t before = server.requestCount();
    auto outcome = call(true, server.url(row.path), row.params, row.headers);
    settle(outcome);
    EXPECT_TRUE(outcome->data.has_value());
    ASSERT_EQ(server.requestCount(), before + 1);
    const ZefaRecordedRequest seen = server.requests().back();
    EXPECT_EQ(seen.method, "POST");
    EXPECT_EQ(seen.target, row.path);
    EXPECT_EQ(seen.body, row.body);
    for (const auto& [name, value] : row.expectedHeaders)
      EXPECT_EQ(seen.header(name), value) << name;
    // The length header goes out once, spelled as the transport spells it.
    int lengthHeaders = 0;
    for (const auto& [name, value] : seen.headers) {
      if (name == "Content-length") ++lengthHeaders;
    }
    EXPECT_EQ(lengthHeaders, 1);
  }
}

TEST_F(ZefaSDKUtilsHttpTest, ReplyBodyDecidesTheOutcomeWhateverTheStatus) {
  struct Row {
    const char* name;
    unsigned status;
    std::string body;
    std::optional<ZefaJsonObject> result;
    bool jsonErrorLine;  // the JSON helper's own line, never one of the transport's
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"object", 200, "{\"a\":[1,2]}", ZefaJsonObject{{"a", ZefaJsonArray{1, 2}}}, false},
      {"server error with an object body", 500, "{\"code\":1}", ZefaJsonObject{{"code", 1}}, false},
      {"not found with an object body", 404, "{}", ZefaJsonObject{}, false},
      {"array body", 200, "[1,2]", std::nullopt, false},
      {"html error page", 502, "<html>bad gateway</html>", std::nullopt, true},
      {"empty body", 200, "", std::nullopt, true},
      {"bytes that are not UTF-8", 200, "{\"a\":\"\xff\xfe\"}", std::nullopt, false},
  };
  // clang-format on
  for (const bool post : {false, true}) {
    for (const Row& row : rows) {
      SCOPED_TRACE(std::string(row.name) + (post ? " (postJson)" : " (get)"));
      ZefaTestHttpServer server(ZefaTestHttpServer::always({row.status, row.body, "text/html"}));
      ZefaLogCapture log;
      auto outcome = call(post, server.url("/r"), std::nullopt, std::nullopt);
      settle(outcome);
      EXPECT_EQ(outcome->data, row.result);
      EXPECT_EQ(outcome->message,
                row.result ? std::nullopt : std::optional<std::string>("response data exception"));
      EXPECT_TRUE(outcome->onMainLoop);
      EXPECT_FALSE(outcome->beforeReturn);
      const auto lines = log.entries();
      EXPECT_EQ(lines.size(), row.jsonErrorLine ? 1u : 0u) << testing::PrintToString(lines);
      for (const auto& line : lines)
        EXPECT_NE(line.find("jsonStringToDictionary"), std::string::npos);
    }
  }
}

TEST_F(ZefaSDKUtilsHttpTest, RequestErrorsArriveOnTheMainThreadWithTheirText) {
  struct Row {
    const char* name;
    ZefaRawSocketServer::Mode mode;
    double timeout;
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"connection refused", ZefaRawSocketServer::Mode::Refuse, 10},
      {"connection closed without reply", ZefaRawSocketServer::Mode::CloseAfterRequest, 10},
      {"idle timeout", ZefaRawSocketServer::Mode::HoldOpen, 1},
  };
  // clang-format on
  for (const bool post : {false, true}) {
    for (const Row& row : rows) {
      SCOPED_TRACE(std::string(row.name) + (post ? " (postJson)" : " (get)"));
      ZefaRawSocketServer server(row.mode);
      ZefaLogCapture log;
      auto outcome = call(post, server.url("/e"), std::nullopt, std::nullopt, row.timeout);
      settle(outcome);
      ASSERT_TRUE(outcome->message.has_value());
      const std::string& text = *outcome->message;
      EXPECT_EQ(text.rfind("request error: ", 0), 0u) << text;
      EXPECT_GT(text.size(), std::string("request error: ;").size());
      EXPECT_EQ(text.back(), ';');
      EXPECT_TRUE(outcome->onMainLoop);
      EXPECT_FALSE(outcome->beforeReturn);
      EXPECT_EQ(log.entries(), std::vector<std::string>{std::string(post ? kPostSite : kGetSite) +
                                                        "(318):Zefa[Swift]-> " + text});
    }
  }
}

TEST_F(ZefaSDKUtilsHttpTest, EarlyFailuresAreReportedBeforeReturning) {
  struct Row {
    const char* name;
    bool post;
    std::string url;
    std::optional<ZefaJsonObject> params;
    std::string expected;
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"empty address (get)", false, "", std::nullopt, "incorrect network address"},
      {"empty address (postJson)", true, "", std::nullopt, "incorrect network address"},
      {"space in a query value is not encoded", false, "http://127.0.0.1:1/g",
       ZefaJsonObject{{"q", "a b"}}, "incorrect network address"},
      {"space in the address", true, "http://127.0.0.1:1/a b", std::nullopt,
       "incorrect network address"},
      {"number with no JSON form", true, "http://127.0.0.1:1/p", ZefaJsonObject{{"x", NAN}},
       "request parameter error"},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaLogCapture log;
    auto outcome = call(row.post, row.url, row.params, std::nullopt);
    EXPECT_EQ(outcome->calls, 1);
    EXPECT_EQ(outcome->message, row.expected);
    EXPECT_TRUE(outcome->beforeReturn);
    EXPECT_TRUE(outcome->onCallerThread);
    EXPECT_FALSE(outcome->onMainLoop);
    ASSERT_EQ(log.entries().size(), 1u);
    const std::string line = log.entries()[0];
    EXPECT_EQ(line.rfind(row.post ? kPostSite : kGetSite, 0), 0u) << line;
    EXPECT_NE(line.find(":Zefa[Swift]-> " + row.expected), std::string::npos) << line;
    ZefaRunLoop::main().runFor(0.05);
    EXPECT_EQ(outcome->calls, 1);
  }
}

TEST_F(ZefaSDKUtilsHttpTest, WithoutCallbacksTheRequestIsStillMadeAndLogged) {
  ZefaTestHttpServer server(ZefaTestHttpServer::always({200, "{}"}));
  ZefaRawSocketServer refusing(ZefaRawSocketServer::Mode::Refuse);
  ZefaLogCapture log;
  ZefaSDKUtils::postJson(server.url("/quiet"), std::nullopt, std::nullopt, 10, nullptr, nullptr);
  ZefaSDKUtils::get(refusing.url("/quiet"), std::nullopt, std::nullopt, 10, nullptr, nullptr);
  ZefaSDKUtils::get("", std::nullopt, std::nullopt, 10, nullptr, nullptr);
  EXPECT_TRUE(ZefaRunLoop::main().run(
      [&] { return server.requestCount() == 1 && log.entries().size() == 2; }, 10));
  const auto lines = log.entries();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(
      lines[0].rfind(std::string(kGetSite) + "(262):Zefa[Swift]-> incorrect network address", 0),
      0u);
  EXPECT_EQ(lines[1].rfind(std::string(kGetSite) + "(318):Zefa[Swift]-> request error: ", 0), 0u);
}

}  // namespace
