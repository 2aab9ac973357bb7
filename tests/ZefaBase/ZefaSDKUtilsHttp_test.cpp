#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "ZefaBase/ZefaSDKUtils.h"
#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaRunLoop.h"
#include "tests/support/ZefaCallOutcome.h"
#include "tests/support/ZefaJsonSamples.h"
#include "tests/support/ZefaLogCapture.h"
#include "tests/support/ZefaRawSocketServer.h"
#include "tests/support/ZefaTestHttpServer.h"

namespace {

using Mode = ZefaRawSocketServer::Mode;
using testing::AllOf, testing::ElementsAre, testing::ElementsAreArray, testing::EndsWith,
    testing::HasSubstr, testing::MatchesRegex, testing::StartsWith;
using Object = std::optional<ZefaJsonObject>;
using ExpectedHeaders = std::vector<std::pair<std::string, std::optional<std::string>>>;
const ZefaJsonObject kEmpty{};  // present but empty; `{}` in a row's params means absent
const std::string kException = "response data exception";

std::string site(bool post) {
  return post ? "[E][ZefaSDKUtils][postJson(_:_:_:_:_:_:)]"
              : "[E][ZefaSDKUtils][get(_:_:_:_:_:_:)]";
}

class ZefaSDKUtilsHttpTest : public testing::Test {
 protected:
  void SetUp() override { ZefaPlatform::current().reset(); }
  void TearDown() override { ZefaPlatform::current().reset(); }

  static std::shared_ptr<ZefaCallOutcome> call(bool post, const std::string& url,
                                               const Object& params = std::nullopt,
                                               const std::optional<ZefaHeaders>& headers = {},
                                               double timeout = 10) {
    auto outcome = std::make_shared<ZefaCallOutcome>();
    (post ? ZefaSDKUtils::postJson : ZefaSDKUtils::get)(url, params, headers, timeout,
                                                        outcome->success(), outcome->httpFailed());
    outcome->returned = true;
    return outcome;
  }
};

TEST_F(ZefaSDKUtilsHttpTest, SendsTheRequestAsBuilt) {
  struct Row {
    const char* name;
    bool post;
    std::string path;
    Object params;
    std::optional<ZefaHeaders> headers;
    std::string target, body;
    ExpectedHeaders expected;
  };
  const ZefaHeaders given{{"X-Empty", ""}, {"X-A", "1"}, {"x-a", "2"}};
  const ZefaJsonObject values{{"b", "x/y"}, {"a", 1}, {"d", 1.0}, {"f", 0.1}, {"t", false}};
  const std::string query = "?b=x/y&a=1&d=1.0&f=0.1&t=false";
  const std::optional<std::string> none;
  const std::string big(1 << 20, 'x');
  // clang-format off
  const std::vector<Row> rows = {
      {"get, no params: address unchanged, empty body, default headers", false, "/g", {}, {}, "/g",
       "", {{"Content-Type", "x-www-form-urlencoded"}, {"Accept", "application/json"}}},
      {"get, empty params: a lone question mark", false, "/g", kEmpty, {}, "/g?", "?", {}},
      {"get, plain values in insertion order", false, "/g", values, {}, "/g" + query, query, {}},
      {"get, a query gains a second question mark", false, "/g?z=9", ZefaJsonObject{{"a", 1}}, {},
       "/g?z=9?a=1", "?a=1", {}},
      {"get, given headers only, empty kept, same name joined", false, "/g", {}, given, "/g", "",
       {{"X-Empty", ""}, {"X-A", "1, 2"}, {"Content-Type", none}}},
      {"post, no params: {} and default headers", true, "/p", {}, {}, "/p", "{}",
       {{"Content-Type", "application/json"}, {"Accept", "application/json"}}},
      {"post, compact body, length in bytes", true, "/p?t=1",
       ZefaJsonObject{{"a", "/x"}, {"n", "\xc3\xa9"}}, {}, "/p?t=1",
       "{\"a\":\"\\/x\",\"n\":\"\xc3\xa9\"}", {}},
      {"post, given headers only, empty dropped", true, "/p", kEmpty, given, "/p", "{}",
       {{"X-Empty", none}, {"X-A", "1, 2"}, {"Content-Type", none}}},
      {"post, a body past 1 MiB without a 100-continue round trip", true, "/p",
       ZefaJsonObject{{"k", big}}, {}, "/p", R"({"k":")" + big + R"("})", {{"Expect", none}}},
  };
  // clang-format on
  ZefaTestHttpServer server(ZefaScriptedReply{200, "{}"});
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    auto outcome = call(row.post, server.url(row.path), row.params, row.headers);
    ASSERT_TRUE(outcome->settle());
    EXPECT_EQ(outcome->data, ZefaJsonObject{});
    const ZefaRecordedRequest seen = server.requests().back();
    EXPECT_EQ(std::tie(seen.method, seen.target, seen.body),
              std::tuple(row.post ? "POST" : "GET", row.target, row.body));
    for (const auto& [name, value] : row.expected) EXPECT_EQ(seen.header(name), value) << name;
    // A post's length goes out once, spelled as the transport spells it.
    const std::pair<std::string, std::string> length{"Content-length",
                                                     std::to_string(row.body.size())};
    EXPECT_EQ(std::ranges::count(seen.headers, length), row.post ? 1 : 0);
  }
}

// Replies of every shape, from a real server or from a raw socket that breaks HTTP, and failures
// found before the start: each gets one report, from the right place, with its log line.
TEST_F(ZefaSDKUtilsHttpTest, ReportsEveryOutcomeOnceWithItsLogLine) {
  using std::chrono::milliseconds;
  enum Logged { kNoLine, kJsonHelperLine, kTransportLine };
  struct Row {
    const char* name;
    bool post;
    std::string reply;  // "refuse": a raw socket refuses the connection
    Object result;      // none: failed, with a text matching `message`
    std::string message;
    Logged logged;
    unsigned status = 200;
    std::string url = "";  // instead of a server's: the failure is found before the start
    Object params = {};
    ZefaRawSocketServer::Script script = nullptr;  // a raw socket answers instead of the server
  };
  const std::string bad = "incorrect network address", requestError = "request error: .+;";
  const std::string nowhere = "http://127.0.0.1:1/", ok = "HTTP/1.1 200 OK\r\n";
  const auto answer = [](std::string reply, bool reset = false) {
    return [reply, reset](ZefaRawConnection& connection) {
      if (!connection.readRequest()) return;
      connection.write(reply);
      if (reset) connection.reset();
    };
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"object", false, R"({"a":[1,2]})", ZefaJsonObject{{"a", ZefaJsonArray{1, 2}}}, "", kNoLine},
      {"server error with an object body", true, R"({"code":1})", ZefaJsonObject{{"code", 1}}, "",
       kNoLine, 500},
      {"array body", false, "[1,2]", {}, kException, kNoLine},
      {"html error page", true, "<html>bad gateway</html>", {}, kException, kJsonHelperLine, 502},
      {"bytes that are not UTF-8", true, "{\"a\":\"\xff\xfe\"}", {}, kException, kNoLine},
      {"bytes after a NUL", true, std::string("{}\0<html>", 8), {}, kException, kJsonHelperLine},
      {"connection refused", false, "refuse", {}, requestError, kTransportLine},
      {"get: a space in a value is not encoded", false, "", {}, bad, kTransportLine, 200,
       nowhere + "g", ZefaJsonObject{{"q", "a b"}}},
      {"post: a space in the address", true, "", {}, bad, kTransportLine, 200, nowhere + "a b"},
      {"post: a number with no JSON form", true, "", {}, "request parameter error", kTransportLine,
       200, nowhere + "p", ZefaJsonObject{{"x", NAN}}},
      {"reset in the body", true, "", {}, requestError, kTransportLine, 200, "", {},
       answer(ok + "Content-Length: 20\r\n\r\n{\"a\":", true)},
      {"short body", true, "", {}, requestError, kTransportLine, 200, "", {},
       answer(ok + "Content-Length: 50\r\n\r\n{}")},
      {"chunked", true, "", kEmpty, "", kNoLine, 200, "", {},
       answer(ok + "Transfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n")},
      {"HTTP/1.0 ended by a close", true, "", kEmpty, "", kNoLine, 200, "", {},
       answer("HTTP/1.0 200 OK\r\n\r\n{}")},
      {"silent past the timeout", true, "", {}, requestError, kTransportLine, 200, "", {},
       [](ZefaRawConnection& c) { c.readRequest(), c.pause(milliseconds(5000)); }},
      {"a drip that outlasts the timeout but is never idle that long", true, "", kEmpty, "",
       kNoLine, 200, "", {}, [&](ZefaRawConnection& c) {
         if (c.readRequest()) c.write(ok + "Content-Length: 6\r\n\r\n"), c.write("{    }", milliseconds(300));
       }},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaTestHttpServer server(ZefaScriptedReply{row.status, row.reply});
    const auto raw = row.script ? std::make_unique<ZefaRawSocketServer>(row.script)
                                : std::make_unique<ZefaRawSocketServer>(Mode::Refuse);
    const bool early = !row.url.empty(), toRaw = row.script || row.reply == "refuse";
    ZefaLogCapture log;
    const std::string url = early ? row.url : toRaw ? raw->url("/r") : server.url("/r");
    auto outcome = call(row.post, url, row.params, {}, 1.0);
    ASSERT_TRUE(outcome->settle());
    EXPECT_EQ(outcome->how(), std::tuple(1, !early, early));  // one report, from the right place
    EXPECT_EQ(outcome->data, row.result);
    const std::string text = outcome->message.value_or("");
    EXPECT_THAT(text, MatchesRegex(row.message));
    std::vector<testing::Matcher<std::string>> lines;
    if (row.logged == kJsonHelperLine) lines.push_back(HasSubstr("jsonStringToDictionary"));
    if (row.logged == kTransportLine) {
      lines.push_back(AllOf(StartsWith(site(row.post)), EndsWith("-> " + text)));
    }
    EXPECT_THAT(log.entries(), ElementsAreArray(lines));
  }
  // Refused before the start, whatever the depth (a table row would copy it recursively).
  auto deep = call(true, nowhere + "p", zefaNestedObject(100'000));
  EXPECT_EQ(deep->how(), std::tuple(1, false, true));
  EXPECT_EQ(deep->message, "request parameter error");
}

TEST_F(ZefaSDKUtilsHttpTest, AMainQueueReplacedInFlightDropsTheReportUnrun) {
  ZefaRawSocketServer slow([](ZefaRawConnection& connection) {
    if (!connection.readRequest()) return;
    connection.pause(std::chrono::milliseconds(300));
    connection.write("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
  });
  ZefaPlatform::current().install(std::make_shared<ZefaRunLoop>());
  auto outcome = call(true, slow.url("/r"));
  const std::weak_ptr<ZefaCallOutcome> watched = outcome;
  outcome.reset();
  auto replacement = std::make_shared<ZefaRunLoop>();
  ZefaPlatform::current().install(replacement);  // the first loop is now held by the request
  // The reply reaches the first loop, which goes away with it: the callbacks are released.
  EXPECT_TRUE(replacement->run([&] { return watched.expired(); }, 10));
}

// What a game's callbacks hold may only be touched on the main thread: it goes away there too,
// whether the request failed or succeeded.
TEST_F(ZefaSDKUtilsHttpTest, TheCallbacksAreReleasedOnTheMainThread) {
  struct Held {
    std::vector<std::thread::id>* releasedOn;
    ~Held() { releasedOn->push_back(std::this_thread::get_id()); }
  };
  std::vector<std::thread::id> releasedOn;
  const auto post = [&](const std::string& url) {
    auto held = std::make_shared<Held>(&releasedOn);
    ZefaSDKUtils::postJson(
        url, {}, {}, 10, [held](const ZefaJsonObject&) {}, [held](const std::string&) {});
  };
  // The failure first: its error line reads the time zone before any server thread has (glibc
  // guards that state with a lock the thread checker does not see).
  ZefaRawSocketServer refusing(Mode::Refuse);
  post(refusing.url("/refused"));
  EXPECT_TRUE(ZefaRunLoop::main().run([&] { return releasedOn.size() == 1; }, 10));
  ZefaTestHttpServer server(ZefaScriptedReply{200, "{}"});
  post(server.url("/ok"));
  EXPECT_TRUE(ZefaRunLoop::main().run([&] { return releasedOn.size() == 2; }, 10));
  EXPECT_THAT(releasedOn, ElementsAre(std::this_thread::get_id(), std::this_thread::get_id()));
}

TEST_F(ZefaSDKUtilsHttpTest, WithoutCallbacksTheRequestIsStillMadeAndLogged) {
  ZefaTestHttpServer server(ZefaScriptedReply{200, "{}"});
  ZefaRawSocketServer refusing(Mode::Refuse);
  ZefaLogCapture log;
  ZefaSDKUtils::postJson(server.url("/quiet"), {}, {}, 10, nullptr, nullptr);
  ZefaSDKUtils::get(refusing.url("/quiet"), {}, {}, 10, nullptr, nullptr);
  ZefaSDKUtils::get("", {}, {}, 10, nullptr, nullptr);
  EXPECT_TRUE(ZefaRunLoop::main().run(
      [&] { return server.requests().size() == 1 && log.entries().size() == 2; }, 10));
  EXPECT_THAT(log.entries(),
              ElementsAre(site(false) + "(262):Zefa[Swift]-> incorrect network address",
                          StartsWith(site(false) + "(318):Zefa[Swift]-> request error: ")));
}

}  // namespace
