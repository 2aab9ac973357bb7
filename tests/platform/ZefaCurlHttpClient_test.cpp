#include "platform/linux/ZefaCurlHttpClient.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/ZefaRunLoop.h"
#include "tests/support/ZefaRawSocketServer.h"

// What the client sends is checked through the transport's tests, which run on this client.
namespace {

using Clock = std::chrono::steady_clock;
using Mode = ZefaRawSocketServer::Mode;

// Completions arrive on the client's thread; they are handed to a loop this thread drains.
struct Completions {
  ZefaRunLoop loop;
  std::vector<ZefaHttpResponse> responses;
  std::function<void(ZefaHttpResponse)> slot() {
    return [this](ZefaHttpResponse r) { loop.async([this, r] { responses.push_back(r); }); };
  }
  bool waitFor(size_t count) {
    return loop.run([&] { return responses.size() >= count; }, 10);
  }
};

TEST(ZefaCurlHttpClientTest, TimeoutIsAnIdleTimeoutNotADeadline) {
  const std::string body = R"({"a":"0123456"})";  // 15 bytes, one per 300 ms
  struct Row {
    const char* name;
    Mode mode;
    std::optional<std::string> body;  // none: the request fails
    double minSeconds, maxSeconds;
  };
  const std::vector<Row> rows = {
      {"no data at all ends the request after the timeout", Mode::HoldOpen, std::nullopt, 0.9, 5},
      {"a slow but steady reply outlasts it", Mode::Trickle, body, 4, 10},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaRawSocketServer server(row.mode, "HTTP/1.1 200 OK\r\nContent-Length: 15\r\n\r\n" + body);
    ZefaCurlHttpClient client;
    Completions done;
    const auto start = Clock::now();
    client.start({"POST", server.url("/"), {}, "{}", 1.0}, done.slot());
    ASSERT_TRUE(done.waitFor(1));
    const std::chrono::duration<double> took = Clock::now() - start;
    EXPECT_EQ(done.responses[0].body, row.body);
    EXPECT_EQ(done.responses[0].error.has_value(), !row.body);
    EXPECT_GE(took.count(), row.minSeconds);
    EXPECT_LT(took.count(), row.maxSeconds);
  }
}

TEST(ZefaCurlHttpClientTest, DestroyingTheClientCancelsPendingRequests) {
  ZefaRawSocketServer silent(Mode::HoldOpen);
  Completions done;
  const auto start = Clock::now();
  {
    ZefaCurlHttpClient client;
    for (int i = 0; i < 8; ++i) client.start({"POST", silent.url("/"), {}, "{}", 30}, done.slot());
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // connected, waiting for replies
    EXPECT_EQ(client.pendingCount(), 8u);
  }
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(8));
  ASSERT_TRUE(done.waitFor(8));
  EXPECT_EQ(done.responses.size(), 8u);
  for (const auto& response : done.responses) {
    EXPECT_EQ(response.error, ZefaCurlHttpClient::kCancelled);
  }
}

}  // namespace
