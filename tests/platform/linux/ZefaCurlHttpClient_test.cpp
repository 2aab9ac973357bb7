#include "platform/linux/ZefaCurlHttpClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/platform/ZefaHttpCompletions.h"
#include "tests/support/ZefaRawSocketServer.h"
#include "tests/support/ZefaTestHttpServer.h"

// What the client sends is checked through the transport's tests, which run on this client.
namespace {

using Mode = ZefaRawSocketServer::Mode;
using testing::HasSubstr, testing::Optional;

TEST(ZefaCurlHttpClientTest, IdleTimeoutCountsFromTheStartInFractionsOfASecond) {
  struct Row {
    const char* name;
    long connectionsPerHost;
    int requests;
    std::string body;
  };
  const std::vector<Row> rows = {
      {"an unanswered post with a large body", 64, 1, std::string(150, 'x')},
      {"requests queued behind the connection limit", 2, 8, "{}"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaRawSocketServer silent(Mode::HoldOpen);
    ZefaCurlHttpClient::Options options;
    options.maxConnectionsPerHost = row.connectionsPerHost;
    ZefaCurlHttpClient client(options);
    ZefaHttpCompletions done;
    for (int i = 0; i < row.requests; ++i) {
      client.start({"POST", silent.url("/"), {}, row.body, 0.3}, done.slot());
    }
    ASSERT_TRUE(done.waitFor(static_cast<size_t>(row.requests)));
    EXPECT_GE(done.elapsed(), 0.3);
    EXPECT_LT(done.elapsed(), 0.9);
    for (const auto& response : done.responses) {
      EXPECT_THAT(response.error, Optional(HasSubstr("timed out")));
    }
  }
}

TEST(ZefaCurlHttpClientTest, FollowsRedirectsAsABrowserDoesAndNeverDowngrades) {
  struct Row {
    const char* name;
    std::string location;  // where /from points; "https" and "http" name the other servers
    unsigned status;
    std::string method, body;  // what arrives at the target; an empty method: nothing does
    std::string error;         // part of the failure text, or empty for a success
  };
  const std::vector<Row> rows = {
      {"301 turns a post into a bodiless get", "/to", 301, "GET", "", ""},
      {"302 likewise", "/to", 302, "GET", "", ""},
      {"303 likewise", "/to", 303, "GET", "", ""},
      {"307 repeats the post with its body", "/to", 307, "POST", "{}", ""},
      {"308 likewise", "/to", 308, "POST", "{}", ""},
      {"a loop ends in an error", "/from", 302, "", "", "too many redirects"},
      {"https to http is refused", "http", 302, "", "", "refused"},
      {"https to https is followed", "https", 307, "POST", "{}", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaTestHttpServer plain(ZefaScriptedReply{200, R"({"at":"plain"})"});
    std::string location = row.location;
    const auto redirecting = [&](const ZefaRecordedRequest& request) {
      if (request.target != "/from") return ZefaScriptedReply{200, R"({"at":"to"})"};
      return ZefaScriptedReply{row.status, "moved", {{"Location", location}}};
    };
    const bool tls = row.location == "http" || row.location == "https";
    ZefaTestHttpServer secure(ZefaTestHttpServer::Tls{}, redirecting);
    ZefaTestHttpServer insecure(redirecting);
    ZefaTestHttpServer& server = tls ? secure : insecure;
    if (row.location == "http") location = plain.url("/to");
    if (row.location == "https") location = secure.url("/to");
    ZefaCurlHttpClient::Options options;
    options.caBundle = ZefaTestHttpServer::kTlsCertificate;
    ZefaCurlHttpClient client(options);
    ZefaHttpCompletions done;
    client.start({"POST",
                  server.url("/from"),
                  {{"Content-Type", "application/json"}, {"Content-length", "2"}},
                  "{}",
                  5},
                 done.slot());
    ASSERT_TRUE(done.waitFor(1));
    const ZefaHttpResponse& response = done.responses[0];
    if (!row.error.empty()) {
      EXPECT_THAT(response.error, Optional(HasSubstr(row.error)));
      EXPECT_TRUE(plain.requests().empty());
      continue;
    }
    ASSERT_EQ(response.body, R"({"at":"to"})") << response.error.value_or("");
    const ZefaRecordedRequest arrived = server.requests().back();
    EXPECT_EQ(std::tie(arrived.method, arrived.target, arrived.body),
              std::tuple(row.method, "/to", row.body));
    const bool body = row.method == "POST";
    EXPECT_EQ(arrived.header("Content-length").has_value(), body);
    EXPECT_EQ(arrived.header("Content-Type").has_value(), body);
  }
}

// With one connection per host, requests past the first wait for it and then run one after
// another on one reused handle: each must send its own method, body and headers, nothing of the
// one before. Meanwhile a host that never answers holds only its own slot.
TEST(ZefaCurlHttpClientTest, RequestsWaitingForAConnectionRunInTurnWithOnlyTheirOwnOptions) {
  struct Row {
    std::string method, body;
    std::vector<std::pair<std::string, std::string>> headers;
  };
  const std::vector<Row> rows = {
      {"POST", "{\"n\":1}", {{"Content-Type", "application/json"}, {"X-One", "1"}}},
      {"GET", "", {{"X-Two", "2"}}},
      {"PUT", "put", {{"X-Two", "2"}}},
      {"POST", "{\"n\":4}", {{"Content-Type", "application/json"}, {"X-One", "1"}}},
      {"POST", "{\"n\":5}", {{"Content-Type", "application/json"}, {"X-One", "1"}}},
  };
  ZefaRawSocketServer silent(Mode::HoldOpen);
  ZefaTestHttpServer server(ZefaScriptedReply{200, "{}"});
  ZefaHttpCompletions done;  // outlives the client, which cancels the unanswered request
  ZefaCurlHttpClient::Options options;
  options.maxConnectionsPerHost = 1;
  ZefaCurlHttpClient client(options);
  client.start({"POST", silent.url("/"), {}, "{}", 30}, done.slot());
  for (const Row& row : rows) {
    client.start({row.method, server.url("/"), row.headers, row.body, 5}, done.slot());
  }
  ASSERT_TRUE(done.waitFor(rows.size()));
  EXPECT_EQ(client.pendingCount(), 1u);  // the unanswered one
  const std::vector<ZefaRecordedRequest> arrived = server.requests();
  ASSERT_EQ(arrived.size(), rows.size());
  for (size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(std::tie(arrived[i].method, arrived[i].body), std::tie(rows[i].method, rows[i].body));
    EXPECT_EQ(arrived[i].header("X-One").has_value(), rows[i].headers.size() == 2);
    EXPECT_EQ(arrived[i].header("X-Two").has_value(), rows[i].headers.size() == 1);
  }
}

TEST(ZefaCurlHttpClientTest, RefusesRepliesLargerThanItsLimit) {
  struct Row {
    const char* name;
    size_t size;
    bool announced;  // with a Content-Length header; otherwise chunked
    bool kept;
  };
  const std::vector<Row> rows = {
      {"at the limit", 1000, true, true},
      {"announced past the limit", 5000, true, false},
      {"chunked past the limit", 5000, false, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string body = "[" + std::string(row.size - 2, ' ') + "]";
    ZefaRawSocketServer server([&](ZefaRawConnection& connection) {
      if (!connection.readRequest()) return;
      char size[32];
      std::snprintf(size, sizeof size, "%zx", body.size());
      connection.write(row.announced ? "HTTP/1.1 200 OK\r\nContent-Length: " +
                                           std::to_string(body.size()) + "\r\n\r\n" + body
                                     : "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" +
                                           std::string(size) + "\r\n" + body + "\r\n0\r\n\r\n");
      connection.pause(std::chrono::seconds(5));
    });
    ZefaCurlHttpClient::Options options;
    options.maxReplyBytes = 1000;
    ZefaCurlHttpClient client(options);
    ZefaHttpCompletions done;
    client.start({"GET", server.url("/"), {}, "", 5}, done.slot());
    ASSERT_TRUE(done.waitFor(1));
    EXPECT_EQ(done.responses[0].body.has_value(), row.kept);
    EXPECT_EQ(done.responses[0].error.has_value(), !row.kept);
  }
}

// A caller hands back an earlier reply's body as room for the next one: its memory is reused
// when it is large enough, and nothing it held shows in the reply.
TEST(ZefaCurlHttpClientTest, WritesTheReplyIntoTheRoomGivenAndNothingOfWhatItHeld) {
  struct Row {
    const char* name;
    std::string room;
    bool reused;
  };
  const std::vector<Row> rows = {
      {"room larger than the reply", std::string(200, '#'), true},
      {"room smaller than the reply", std::string(20, '#'), false},
      {"no room", "", false},
  };
  const std::string reply = R"({"reply":")" + std::string(60, 'r') + R"("})";
  ZefaTestHttpServer server(ZefaScriptedReply{200, reply});
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaCurlHttpClient client;
    ZefaHttpCompletions done;
    ZefaHttpRequest request{"GET", server.url("/"), {}, "", 5};
    request.replyRoom = row.room;
    const char* room = request.replyRoom.data();
    client.start(std::move(request), done.slot());
    ASSERT_TRUE(done.waitFor(1));
    ASSERT_EQ(done.responses[0].body, reply) << done.responses[0].error.value_or("");
    EXPECT_EQ(done.responses[0].body->data() == room, row.reused);
  }
}

TEST(ZefaCurlHttpClientTest, DestroyingTheClientCancelsPendingRequests) {
  ZefaRawSocketServer silent(Mode::HoldOpen);
  ZefaHttpCompletions done;
  {
    ZefaCurlHttpClient client;
    for (int i = 0; i < 8; ++i) client.start({"POST", silent.url("/"), {}, "{}", 30}, done.slot());
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // connected, waiting for replies
    EXPECT_EQ(client.pendingCount(), 8u);
  }
  EXPECT_LT(done.elapsed(), 8);
  ASSERT_TRUE(done.waitFor(8));
  for (const auto& response : done.responses) {
    EXPECT_EQ(response.error, ZefaCurlHttpClient::kCancelled);
  }
}

}  // namespace
