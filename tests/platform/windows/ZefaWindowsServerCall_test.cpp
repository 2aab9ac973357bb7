// The library's whole road on Windows: a server call through the platform's default services
// (WinHTTP, the Windows run loop) against a local server, its reply envelope decoded and the
// outcome delivered on the main queue, once.
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "ZefaBase/ZefaServerCall.h"
#include "platform/ZefaPlatform.h"
#include "platform/windows/ZefaWindowsRunLoop.h"
#include "tests/platform/windows/ZefaWinsockTestServer.h"

namespace {

TEST(ZefaWindowsServerCallTest, RepliesReachTheMainQueueDecoded) {
  struct Row {
    const char* name;
    ZefaWinsockReply reply;
    std::optional<ZefaJsonObject> data;  // what success receives
    std::optional<int64_t> code;         // or the code failed receives
  };
  const Row rows[] = {
      {"success",
       ZefaWinsockReply::reply(200, R"({"state":{"code":0,"msg":"ok"},"data":{"id":7}})"),
       ZefaJsonObject{{"id", 7}}, std::nullopt},
      {"a backend failure code",
       ZefaWinsockReply::reply(200, R"({"state":{"code":1203,"msg":"banned"}})"), std::nullopt,
       1203},
      {"a closed connection", ZefaWinsockReply::of(ZefaWinsockReply::Kind::Close), std::nullopt,
       -1}};
  ZefaWindowsRunLoop& loop = ZefaWindowsRunLoop::main();
  // One server for every row: wine's WinHTTP does not resend a request whose pooled connection
  // the previous server closed, and a new server may get the old one's port.
  const Row* current = nullptr;
  ZefaWinsockTestServer server([&](const ZefaWinsockRequest&) { return current->reply; });
  ZefaServerCall::setHostAndDeviceId(server.url(""), "", "D-1");
  size_t seen = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    current = &row;
    int calls = 0;
    bool onMainQueue = false;
    std::optional<ZefaJsonObject> data;
    std::optional<int64_t> code;
    ZefaServerCall::postJsonAsyncWithToken(
        false, "/api/user/info", {{"lang", "en"}}, "T-1",
        [&](const ZefaJsonObject& got) {
          ++calls, data = got, onMainQueue = loop.isDrainingThread();
        },
        [&](const ZefaStatusCodeRef& got) {
          ++calls, code = got->code.value_or(0), onMainQueue = loop.isDrainingThread();
        });
    ASSERT_TRUE(loop.run([&] { return calls > 0; }, 15));
    loop.runFor(0.05);
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(onMainQueue);
    EXPECT_EQ(data, row.data);
    if (row.code == -1) {
      EXPECT_TRUE(code.has_value()) << "a transport failure is a failure";
    } else {
      EXPECT_EQ(code, row.code);
    }
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), ++seen);
    EXPECT_EQ(requests.back().target, "/api/user/info?sessionToken=T-1");
    EXPECT_EQ(requests.back().header("deviceId"), std::vector<std::string>{"D-1"});
    EXPECT_EQ(requests.back().body, R"({"lang":"en"})");
  }
  ZefaServerCall::setHostAndDeviceId("", "", "");
}

}  // namespace
