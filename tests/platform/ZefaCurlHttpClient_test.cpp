#include "platform/linux/ZefaCurlHttpClient.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ZefaRawSocketServer.h"
#include "tests/support/ZefaTestHttpServer.h"

namespace {

using Headers = std::vector<std::pair<std::string, std::string>>;
using ExpectedHeaders = std::vector<std::pair<std::string, std::optional<std::string>>>;

// Collects completions, which arrive on the client's thread.
class Completions {
 public:
  std::function<void(ZefaHttpResponse)> slot() {
    return [this](ZefaHttpResponse response) {
      std::lock_guard lock(mutex_);
      responses_.push_back(std::move(response));
      onCaller_ = onCaller_ || std::this_thread::get_id() == caller_;
      changed_.notify_all();
    };
  }
  std::vector<ZefaHttpResponse> waitFor(size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(10), [&] { return responses_.size() >= count; });
    return responses_;
  }
  bool anyOnCaller() {
    std::lock_guard lock(mutex_);
    return onCaller_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<ZefaHttpResponse> responses_;
  std::thread::id caller_ = std::this_thread::get_id();
  bool onCaller_ = false;
};

TEST(ZefaCurlHttpClientTest, SendsMethodBodyAndHeadersAsGiven) {
  struct Row {
    const char* name;
    std::string method;
    Headers headers;
    std::string body;
    ExpectedHeaders expected;
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"post with headers", "POST", {{"Content-Type", "text/x"}, {"X-T", "a"}}, "{\"a\":1}",
       {{"Content-Type", "text/x"}, {"X-T", "a"}, {"Content-Length", "7"}}},
      {"repeated names joined, any case", "POST", {{"X-A", "one"}, {"x-a", "two"}}, "{}",
       {{"X-A", "one, two"}}},
      {"empty value is sent", "POST", {{"X-Empty", ""}}, "{}", {{"X-Empty", ""}}},
      {"no content type or expect of its own", "POST", {}, "{}",
       {{"Content-Type", std::nullopt}, {"Expect", std::nullopt}}},
      {"get without body", "GET", {}, "", {{"Content-Length", std::nullopt}}},
      {"get carries a body when given", "GET", {}, "?a=1", {}},
  };
  // clang-format on
  ZefaTestHttpServer server(ZefaTestHttpServer::always({200, "{}"}));
  ZefaCurlHttpClient client;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Completions done;
    client.start({row.method, server.url("/p?q=1"), row.headers, row.body, 10}, done.slot());
    const auto responses = done.waitFor(1);
    ASSERT_EQ(responses.size(), 1u);
    EXPECT_EQ(responses[0].status, 200);
    EXPECT_EQ(responses[0].body, "{}");
    EXPECT_FALSE(done.anyOnCaller());
    const ZefaRecordedRequest seen = server.requests().back();
    EXPECT_EQ(seen.method, row.method);
    EXPECT_EQ(seen.target, "/p?q=1");
    EXPECT_EQ(seen.body, row.body);
    for (const auto& [name, value] : row.expected) EXPECT_EQ(seen.header(name), value) << name;
  }
}

TEST(ZefaCurlHttpClientTest, ReusesItsConnectionForRequestsOneAfterAnother) {
  ZefaTestHttpServer server(ZefaTestHttpServer::always({200, "{}"}));
  ZefaCurlHttpClient client;
  for (int i = 0; i < 5; ++i) {
    Completions done;
    client.start({"POST", server.url("/r"), {}, "{}", 10}, done.slot());
    ASSERT_EQ(done.waitFor(1).size(), 1u);
  }
  const auto seen = server.requests();
  ASSERT_EQ(seen.size(), 5u);
  for (const auto& request : seen) EXPECT_EQ(request.clientPort, seen[0].clientPort);
}

TEST(ZefaCurlHttpClientTest, IdleTimeoutEndsARequestThatGetsNoData) {
  ZefaRawSocketServer silent(ZefaRawSocketServer::Mode::HoldOpen);
  ZefaCurlHttpClient client;
  Completions done;
  const auto start = std::chrono::steady_clock::now();
  client.start({"POST", silent.url("/"), {}, "{}", 1.0}, done.slot());
  const auto responses = done.waitFor(1);
  const auto took = std::chrono::steady_clock::now() - start;
  ASSERT_EQ(responses.size(), 1u);
  EXPECT_TRUE(responses[0].error.has_value());
  EXPECT_GE(took, std::chrono::milliseconds(900));
  EXPECT_LT(took, std::chrono::seconds(5));
}

TEST(ZefaCurlHttpClientTest, SlowButSteadyReplyOutlastsTheIdleTimeout) {
  const std::string body = R"({"a":"0123456"})";  // 15 bytes, one per 300 ms
  ZefaRawSocketServer trickle(ZefaRawSocketServer::Mode::Trickle,
                              "HTTP/1.1 200 OK\r\nContent-Length: 15\r\n\r\n" + body);
  ZefaCurlHttpClient client;
  Completions done;
  const auto start = std::chrono::steady_clock::now();
  client.start({"POST", trickle.url("/"), {}, "{}", 1.0}, done.slot());
  const auto responses = done.waitFor(1);
  ASSERT_EQ(responses.size(), 1u);
  EXPECT_EQ(responses[0].error, std::nullopt);
  EXPECT_EQ(responses[0].body, body);
  EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
}

TEST(ZefaCurlHttpClientTest, DestroyingTheClientCancelsPendingRequests) {
  ZefaRawSocketServer silent(ZefaRawSocketServer::Mode::HoldOpen);
  Completions done;
  const auto start = std::chrono::steady_clock::now();
  {
    ZefaCurlHttpClient client;
    for (int i = 0; i < 8; ++i) client.start({"POST", silent.url("/"), {}, "{}", 30}, done.slot());
    while (silent.accepted() < 8 &&
           std::chrono::steady_clock::now() - start < std::chrono::seconds(5)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(client.pendingCount(), 8u);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8));
  const auto responses = done.waitFor(8);
  ASSERT_EQ(responses.size(), 8u);
  for (const auto& response : responses) EXPECT_EQ(response.error, ZefaCurlHttpClient::kCancelled);
}

}  // namespace
