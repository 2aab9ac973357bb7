#include "platform/windows/ZefaWinHttpClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "tests/platform/ZefaHttpCompletions.h"
#include "tests/platform/windows/ZefaWinsockTestServer.h"

namespace {

using Kind = ZefaWinsockReply::Kind;
using testing::HasSubstr, testing::Optional;

TEST(ZefaWinHttpClientTest, RequestsArriveAsSentAndRepliesComeBack) {
  struct Row {
    const char* name;
    ZefaHttpRequest request;
    ZefaWinsockReply reply;                                  // to every request but one for /to
    std::string method, target, body = {};                   // what the server saw last
    std::vector<std::string> contentType = {}, accept = {};  // these headers' values there
    std::optional<std::string> replied;
    int64_t status;
  };
  const std::string big(100'000, 'b');
  const std::string dripped = "[" + std::string(40, ' ') + "]";
  const ZefaHttpRequest post{"POST", "/from", {{"Content-Type", "text/plain"}}, "{}", 5};
  ZefaHttpRequest postWithRoom = post;  // room for the reply that still holds an earlier one
  postWithRoom.replyRoom = std::string(64, '#');
  const std::vector<Row> rows = {
      {.name = "a post body arrives intact, its length sent once, names joined",
       .request = {"POST",
                   "/p?q=1",
                   {{"Content-length", "100000"}, {"Accept", "a"}, {"accept", "b"}},
                   big,
                   5},
       .reply = ZefaWinsockReply::reply(500, "{}"),
       .method = "POST",
       .target = "/p?q=1",
       .body = big,
       .accept = {"a, b"},
       .replied = "{}",
       .status = 500},
      {.name = "303 turns a post into a bodiless get (the reply's room given, held text dropped)",
       .request = postWithRoom,
       .reply = ZefaWinsockReply::redirect(303, "/to"),
       .method = "GET",
       .target = "/to",
       .replied = R"({"at":"to"})",
       .status = 200},
      {.name = "307 repeats the post with its body",
       .request = post,
       .reply = ZefaWinsockReply::redirect(307, "to"),
       .method = "POST",
       .target = "/to",
       .body = "{}",
       .contentType = {"text/plain"},
       .replied = R"({"at":"to"})",
       .status = 200},
      {.name = "a dripped reply keeps an idle timeout from expiring",
       .request = {"GET", "/", {}, "", 0.4},
       .reply = ZefaWinsockReply::drip(dripped, std::chrono::milliseconds(15)),
       .method = "GET",
       .target = "/",
       .replied = dripped,
       .status = 200},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaWinsockTestServer server([&](const ZefaWinsockRequest& request) {
      return request.target == "/to" ? ZefaWinsockReply::reply(200, R"({"at":"to"})") : row.reply;
    });
    ZefaWinHttpClient client;
    ZefaHttpCompletions done;
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
    const auto length = row.body.empty() ? std::vector<std::string>{}
                                         : std::vector{std::to_string(row.body.size())};
    EXPECT_EQ(arrived.header("Content-Length"), length);
    EXPECT_EQ(arrived.header("Content-Type"), row.contentType);
    EXPECT_EQ(arrived.header("Accept"), row.accept);
  }
}

TEST(ZefaWinHttpClientTest, IdleTimeoutCountsFromTheStartInFractionsOfASecond) {
  ZefaWinsockTestServer silent(
      [](const ZefaWinsockRequest&) { return ZefaWinsockReply::of(Kind::Silence); });
  ZefaWinHttpClient::Options options;
  options.maxConnectionsPerHost = 2;  // the others wait for a connection, and time out too
  ZefaWinHttpClient client(options);
  ZefaHttpCompletions done;
  for (int i = 0; i < 6; ++i) client.start({"POST", silent.url("/"), {}, "{}", 0.3}, done.slot());
  ASSERT_TRUE(done.waitFor(6));
  EXPECT_GE(done.elapsed(), 0.3);
  EXPECT_LT(done.elapsed(), 0.9);
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
    if (request.target == "/big") return ZefaWinsockReply::reply(200, std::string(5000, 'x'));
    return ZefaWinsockReply::reply(200, "{}");
  });
  const std::map<std::string, std::string> outcomes = {
      {"/ok", ""},
      {"/close", "WinHTTP error"},
      {"/loop", "too many redirects"},
      {"/big", "the reply is larger than 4096"},
      {"/silent", ZefaWinHttpClient::kCancelled},
      {"nowhere", "not a valid http or https URL"}};
  std::map<std::string, std::vector<ZefaHttpResponse>> seen;
  ZefaHttpCompletions done;  // its queue; the responses are kept by path
  {
    ZefaWinHttpClient::Options options;
    options.maxReplyBytes = 4096;
    ZefaWinHttpClient client(options);
    for (int round = 0; round < 3; ++round) {
      for (const auto& [path, error] : outcomes) {
        const std::string url = path == "nowhere" ? "ftp://127.0.0.1/" : server.url(path);
        client.start({"GET", url, {}, "", 30}, [&, path](ZefaHttpResponse response) {
          done.queue.async([&, path, response] { seen[path].push_back(response); });
        });
      }
    }
    const auto answered = [&] {  // all but the silent ones
      size_t count = 0;
      for (const auto& entry : seen) count += entry.second.size();
      return count == 15;
    };
    EXPECT_TRUE(done.queue.run(answered, 10));
    EXPECT_EQ(client.pendingCount(), 3u);
  }
  EXPECT_LT(done.elapsed(), 8);
  done.queue.runFor(0.3);  // a second completion would arrive by now
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
