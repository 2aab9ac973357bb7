#include "platform/windows/ZefaWinHttpClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "platform/ZefaTaskQueue.h"
#include "tests/platform/windows/ZefaWinsockTestServer.h"

namespace {

using Clock = std::chrono::steady_clock;
using Kind = ZefaWinsockReply::Kind;
using testing::HasSubstr, testing::Optional;

// Completions arrive on the client's thread; they are handed to a queue this thread drains.
struct Completions {
  ZefaTaskQueue queue;
  std::vector<ZefaHttpResponse> responses;
  std::function<void(ZefaHttpResponse)> slot() {
    return [this](ZefaHttpResponse r) { queue.async([this, r] { responses.push_back(r); }); };
  }
  bool waitFor(size_t count, double seconds = 10) {
    return queue.run([&] { return responses.size() >= count; }, seconds);
  }
};

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

TEST(ZefaWinHttpClientTest, RequestsArriveAsSentAndRepliesComeBack) {
  struct Row {
    const char* name;
    ZefaHttpRequest request;
    ZefaWinsockReply reply;                  // to every request but one for /to
    std::string method, target, body;        // what the server saw last
    std::vector<std::string> contentLength;  // the Content-Length values it saw last
    std::optional<std::string> replied;      // the reply body the client hands on
    int64_t status;
  };
  const std::string big(100'000, 'b');
  const std::vector<Row> rows = {
      {"a get with a reply body",
       {"GET", "/", {}, "", 5},
       ZefaWinsockReply::reply(200, "[1]"),
       "GET",
       "/",
       "",
       {},
       "[1]",
       200},
      {"a post body arrives intact, its length sent once",
       {"POST",
        "/p?q=1",
        {{"Content-Type", "application/json"}, {"Content-length", "100000"}},
        big,
        5},
       ZefaWinsockReply::reply(500, "{}"),
       "POST",
       "/p?q=1",
       big,
       {"100000"},
       "{}",
       500},
      {"303 turns a post into a bodiless get",
       {"POST", "/from", {{"Content-Type", "text/plain"}, {"Content-length", "2"}}, "{}", 5},
       ZefaWinsockReply::redirect(303, "/to"),
       "GET",
       "/to",
       "",
       {},
       R"({"at":"to"})",
       200},
      {"a dripped reply keeps an idle timeout from expiring",
       {"GET", "/", {}, "", 0.4},
       ZefaWinsockReply::drip("[" + std::string(40, ' ') + "]", std::chrono::milliseconds(15)),
       "GET",
       "/",
       "",
       {},
       "[" + std::string(40, ' ') + "]",
       200},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaWinsockTestServer server([&](const ZefaWinsockRequest& request) {
      return request.target == "/to" ? ZefaWinsockReply::reply(200, R"({"at":"to"})") : row.reply;
    });
    ZefaWinHttpClient client;
    Completions done;
    ZefaHttpRequest request = row.request;
    request.url = server.url(request.url);
    client.start(request, done.slot());
    ASSERT_TRUE(done.waitFor(1));
    const ZefaHttpResponse& response = done.responses[0];
    EXPECT_EQ(response.body, row.replied) << response.error.value_or("");
    EXPECT_EQ(response.status, row.status);
    ASSERT_FALSE(server.requests().empty());
    const ZefaWinsockRequest arrived = server.requests().back();
    EXPECT_EQ(std::tie(arrived.method, arrived.target), std::tie(row.method, row.target));
    EXPECT_TRUE(arrived.body == row.body) << arrived.body.size() << " bytes arrived";
    EXPECT_EQ(arrived.header("Content-Length"), row.contentLength);
    EXPECT_EQ(arrived.header("Content-Type").empty(), row.method == "GET");
  }
}

TEST(ZefaWinHttpClientTest, IdleTimeoutCountsFromTheStartInFractionsOfASecond) {
  ZefaWinsockTestServer silent(
      [](const ZefaWinsockRequest&) { return ZefaWinsockReply::of(Kind::Silence); });
  ZefaWinHttpClient::Options options;
  options.maxConnectionsPerHost = 2;  // the others wait for a connection, and time out too
  ZefaWinHttpClient client(options);
  Completions done;
  const auto start = Clock::now();
  for (int i = 0; i < 6; ++i) client.start({"POST", silent.url("/"), {}, "{}", 0.3}, done.slot());
  ASSERT_TRUE(done.waitFor(6));
  EXPECT_GE(secondsSince(start), 0.3);
  EXPECT_LT(secondsSince(start), 0.9);
  for (const auto& response : done.responses) {
    EXPECT_THAT(response.error, Optional(HasSubstr("timed out: no data for 0.3 s")));
  }
}

// Each request completes once, whatever its outcome, and the ones still pending when the client
// goes away complete as cancelled.
TEST(ZefaWinHttpClientTest, EveryRequestCompletesExactlyOnce) {
  ZefaWinsockTestServer server([](const ZefaWinsockRequest& request) {
    if (request.target == "/close") return ZefaWinsockReply::of(Kind::Close);
    if (request.target == "/silent") return ZefaWinsockReply::of(Kind::Silence);
    if (request.target == "/loop") return ZefaWinsockReply::redirect(302, "/loop");
    return ZefaWinsockReply::reply(200, "{}");
  });
  const std::map<std::string, std::string> outcomes = {
      {"/ok", ""},
      {"/close", "WinHTTP error"},
      {"/loop", "too many redirects"},
      {"/silent", ZefaWinHttpClient::kCancelled},
      {"nowhere", "not a valid http or https URL"}};
  std::map<std::string, std::vector<ZefaHttpResponse>> seen;
  ZefaTaskQueue queue;
  const auto start = Clock::now();
  {
    ZefaWinHttpClient client;
    for (int round = 0; round < 3; ++round) {
      for (const auto& [path, error] : outcomes) {
        const std::string url = path == "nowhere" ? "ftp://127.0.0.1/" : server.url(path);
        client.start({"GET", url, {}, "", 30}, [&, path](ZefaHttpResponse response) {
          queue.async([&, path, response] { seen[path].push_back(response); });
        });
      }
    }
    const auto answered = [&] {  // all but the silent ones
      size_t count = 0;
      for (const auto& entry : seen) count += entry.second.size();
      return count == 12;
    };
    EXPECT_TRUE(queue.run(answered, 10));
    EXPECT_EQ(client.pendingCount(), 3u);
  }
  EXPECT_LT(secondsSince(start), 8);
  queue.runFor(0.3);  // a second completion would arrive by now
  for (const auto& [path, error] : outcomes) {
    SCOPED_TRACE(path);
    ASSERT_EQ(seen[path].size(), 3u);
    for (const auto& response : seen[path]) {
      if (error.empty()) {
        EXPECT_EQ(response.body, "{}") << response.error.value_or("");
      } else {
        EXPECT_THAT(response.error, Optional(HasSubstr(error)));
      }
    }
  }
}

}  // namespace
