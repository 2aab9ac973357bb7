#include "platform/linux/ZefaCurlHttpClient.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ZefaRawSocketServer.h"
#include "tests/support/ZefaTestHttpServer.h"

namespace {

using Clock = std::chrono::steady_clock;
using Headers = std::vector<std::pair<std::string, std::string>>;

// Collects completions from the client's thread.
class Completions {
 public:
  std::function<void(ZefaHttpResponse)> slot() {
    return [this](ZefaHttpResponse response) {
      std::lock_guard lock(mutex_);
      responses_.push_back(std::move(response));
      threads_.push_back(std::this_thread::get_id());
      changed_.notify_all();
    };
  }
  bool waitFor(size_t count, double seconds) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::duration<double>(seconds),
                             [&] { return responses_.size() >= count; });
  }
  std::vector<ZefaHttpResponse> responses() {
    std::lock_guard lock(mutex_);
    return responses_;
  }
  std::vector<std::thread::id> threads() {
    std::lock_guard lock(mutex_);
    return threads_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<ZefaHttpResponse> responses_;
  std::vector<std::thread::id> threads_;
};

ZefaHttpRequest request(std::string method, std::string url, Headers headers = {},
                        std::string body = "", double timeout = 10.0) {
  ZefaHttpRequest r;
  r.method = std::move(method);
  r.url = std::move(url);
  r.headers = std::move(headers);
  r.body = std::move(body);
  r.timeoutSeconds = timeout;
  return r;
}

TEST(ZefaCurlHttpClientTest, SendsRequestsAsDescribed) {
  struct Row {
    const char* name;
    std::string method;
    Headers headers;
    std::string body;
    std::string expectedMethod;
    std::vector<std::pair<std::string, std::optional<std::string>>> expectedHeaders;
    std::string expectedBody;
  };
  const std::vector<Row> rows = {
      {"post with body and headers",
       "POST",
       {{"Content-Type", "application/json"}, {"X-Token", "abc"}},
       "{\"a\":1}",
       "POST",
       {{"Content-Type", "application/json"}, {"X-Token", "abc"}, {"Content-Length", "7"}},
       "{\"a\":1}"},
      {"repeated names are joined, ignoring case",
       "POST",
       {{"X-A", "one"}, {"x-a", "two"}},
       "{}",
       "POST",
       {{"X-A", "one, two"}},
       "{}"},
      {"empty value is sent", "POST", {{"X-Empty", ""}}, "{}", "POST", {{"X-Empty", ""}}, "{}"},
      {"no content type of the client's own",
       "POST",
       {{"Accept", "application/json"}},
       "{}",
       "POST",
       {{"Content-Type", std::nullopt}, {"Expect", std::nullopt}},
       "{}"},
      {"get without body", "GET", {}, "", "GET", {{"Content-Length", std::nullopt}}, ""},
      {"get carries a body when given", "GET", {}, "?a=1", "GET", {}, "?a=1"},
  };
  ZefaTestHttpServer server(ZefaTestHttpServer::always({200, "{}", "application/json"}));
  ZefaCurlHttpClient client;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Completions done;
    const size_t before = server.requestCount();
    client.start(request(row.method, server.url("/p?q=1"), row.headers, row.body), done.slot());
    ASSERT_TRUE(done.waitFor(1, 10));
    EXPECT_FALSE(done.responses()[0].error.has_value());
    ASSERT_EQ(server.requestCount(), before + 1);
    const ZefaRecordedRequest seen = server.requests().back();
    EXPECT_EQ(seen.method, row.expectedMethod);
    EXPECT_EQ(seen.target, "/p?q=1");
    EXPECT_EQ(seen.body, row.expectedBody);
    for (const auto& [name, value] : row.expectedHeaders) {
      EXPECT_EQ(seen.header(name), value) << name;
    }
  }
}

TEST(ZefaCurlHttpClientTest, HandsBackStatusAndBodyBytesOnItsOwnThread) {
  struct Row {
    const char* name;
    unsigned status;
    std::string body;
  };
  const std::vector<Row> rows = {
      {"ok json", 200, "{\"x\":1}"},
      {"server error keeps its body", 500, "{\"code\":1}"},
      {"bytes that are not text", 200, std::string("\xff\xfe\x00\x01", 4)},
      {"empty body", 204, ""},
  };
  ZefaCurlHttpClient client;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaTestHttpServer server(ZefaTestHttpServer::always({row.status, row.body, "text/plain"}));
    Completions done;
    client.start(request("POST", server.url("/"), {}, "{}"), done.slot());
    ASSERT_TRUE(done.waitFor(1, 10));
    const ZefaHttpResponse response = done.responses()[0];
    EXPECT_EQ(response.status, row.status);
    EXPECT_EQ(response.body, row.body);
    EXPECT_FALSE(response.error.has_value());
    EXPECT_NE(done.threads()[0], std::this_thread::get_id());
  }
}

TEST(ZefaCurlHttpClientTest, ReportsRequestFailuresWithADescription) {
  struct Row {
    const char* name;
    ZefaRawSocketServer::Mode mode;
    std::string path;
    double timeout;
    double minSeconds;
    double maxSeconds;
  };
  const std::vector<Row> rows = {
      {"connection refused", ZefaRawSocketServer::Mode::Refuse, "/", 10, 0, 5},
      {"closed without a reply", ZefaRawSocketServer::Mode::CloseAfterRequest, "/", 10, 0, 5},
      {"idle server times out", ZefaRawSocketServer::Mode::HoldOpen, "/", 1.0, 0.9, 5},
  };
  ZefaCurlHttpClient client;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaRawSocketServer server(row.mode);
    Completions done;
    const auto start = Clock::now();
    client.start(request("POST", server.url(row.path), {}, "{}", row.timeout), done.slot());
    ASSERT_TRUE(done.waitFor(1, 10));
    const double took = std::chrono::duration<double>(Clock::now() - start).count();
    const ZefaHttpResponse response = done.responses()[0];
    ASSERT_TRUE(response.error.has_value());
    EXPECT_FALSE(response.error->empty());
    EXPECT_FALSE(response.body.has_value());
    EXPECT_GE(took, row.minSeconds);
    EXPECT_LE(took, row.maxSeconds);
  }
}

TEST(ZefaCurlHttpClientTest, RejectsAddressesWithoutAUsableScheme) {
  const std::vector<std::string> urls = {"/api/user/login", "ftp://127.0.0.1/x",
                                         "file:///etc/hostname"};
  ZefaCurlHttpClient client;
  for (const std::string& url : urls) {
    SCOPED_TRACE(url);
    Completions done;
    client.start(request("POST", url, {}, "{}"), done.slot());
    ASSERT_TRUE(done.waitFor(1, 10));
    EXPECT_TRUE(done.responses()[0].error.has_value());
  }
}

TEST(ZefaCurlHttpClientTest, DestroyingTheClientCancelsPendingRequests) {
  ZefaRawSocketServer server(ZefaRawSocketServer::Mode::HoldOpen);
  Completions done;
  const auto start = Clock::now();
  {
    ZefaCurlHttpClient client;
    for (int i = 0; i < 8; ++i)
      client.start(request("POST", server.url("/"), {}, "{}", 30), done.slot());
    while (server.accepted() < 8 && Clock::now() - start < std::chrono::seconds(5)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(client.pendingCount(), 8u);
  }
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(8));
  const auto responses = done.responses();
  ASSERT_EQ(responses.size(), 8u);
  for (const auto& response : responses) EXPECT_EQ(response.error, ZefaCurlHttpClient::kCancelled);
}

TEST(ZefaCurlHttpClientTest, CompletesEachOfManyConcurrentRequestsOnce) {
  constexpr size_t kRequests = 500;
  std::atomic<size_t> served{0};
  ZefaTestHttpServer server([&](const ZefaRecordedRequest& r) {
    ++served;
    return ZefaScriptedReply{200, r.body, "application/json"};
  });
  ZefaCurlHttpClient client;
  Completions done;
  for (size_t i = 0; i < kRequests; ++i) {
    client.start(request("POST", server.url("/n"), {}, std::to_string(i)), done.slot());
  }
  ASSERT_TRUE(done.waitFor(kRequests, 60));
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  const auto responses = done.responses();
  EXPECT_EQ(responses.size(), kRequests);
  std::vector<int> seen(kRequests, 0);
  for (const auto& response : responses) {
    ASSERT_TRUE(response.body.has_value());
    ++seen.at(std::stoul(*response.body));
  }
  for (size_t i = 0; i < kRequests; ++i) EXPECT_EQ(seen[i], 1) << i;
  EXPECT_EQ(served.load(), kRequests);
  EXPECT_EQ(client.pendingCount(), 0u);
}

}  // namespace
