#include "ZefaBase/ZefaServerCall.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZefaBase/ZefaConstants.h"
#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaRunLoop.h"
#include "platform/testing/ZefaMemoryKeyValueStore.h"
#include "tests/support/ZefaCallOutcome.h"
#include "tests/support/ZefaLogCapture.h"
#include "tests/support/ZefaTestHttpServer.h"

namespace {

const std::string kWarnNoRecord =
    "[W][ZefaServerCall][getSessionTokenFormDisk()](74):Zefa[Swift]-> The specified data was not "
    "found ZEFA_LOGIN_TOKEN";
const std::string kErrorNoToken =
    "[E][ZefaServerCall][newUrl(_:_:_:)](40):Zefa[Swift]-> Not found sessionToken";
const std::string kWarnNoAccount =
    "[W][ZefaServerCall][getGameAccountIdFormDisk()](86):Zefa[Swift]-> The specified data was not "
    "found ZEFA_LOGIN_TOKEN";

// The two fixed headers plus `more`.
ZefaHeaders headersWith(ZefaHeaders more) {
  more.insert({{"Content-Type", "application/json"}, {"Accept", "application/json"}});
  return more;
}

class ZefaServerCallTest : public testing::Test {
 protected:
  void SetUp() override {
    ZefaPlatform::current().reset();
    ZefaPlatform::current().install(std::static_pointer_cast<ZefaKeyValueStore>(store_));
  }
  void TearDown() override {  // back to the defaults
    ZefaServerCall::setHostAndDeviceId("", "", "");
    ZefaServerCall::SET_HOST = std::nullopt;
    ZefaServerCall::DEVICE_ID_KEY = "deviceId";
    ZefaPlatform::current().reset();
  }
  void storeRecord(const std::optional<std::string>& record) {
    record ? store_->setString(ZefaConstants::ZEFA_LOGIN_TOKEN, *record)
           : store_->remove(ZefaConstants::ZEFA_LOGIN_TOKEN);
  }

  std::shared_ptr<ZefaMemoryKeyValueStore> store_ = std::make_shared<ZefaMemoryKeyValueStore>();
};

TEST_F(ZefaServerCallTest, BuildsRequestHeadersFromTheSettings) {
  EXPECT_EQ(ZefaServerCall::HOST, "");  // and no SET_HOST: no Host header
  EXPECT_EQ(ZefaServerCall::getRequestHeaders(), headersWith({{"deviceId", ""}}));
  ZefaServerCall::DEVICE_ID_KEY = "X-Device";
  ZefaServerCall::setHostAndDeviceId("https://b.example", "", "D9");
  EXPECT_EQ(ZefaServerCall::HOST, "https://b.example");
  EXPECT_EQ(ZefaServerCall::getRequestHeaders(), headersWith({{"X-Device", "D9"}, {"Host", ""}}));
  ZefaServerCall::DEVICE_ID_KEY = "Host";  // the host override wins
  ZefaServerCall::SET_HOST = "api.example";
  EXPECT_EQ(ZefaServerCall::getRequestHeaders(), headersWith({{"Host", "api.example"}}));
}

TEST_F(ZefaServerCallTest, DeviceIdKeyThatRepeatsAFixedHeaderIsFatal) {
  for (const char* key : {"Content-Type", "Accept"}) {
    EXPECT_DEATH((ZefaServerCall::DEVICE_ID_KEY = key, ZefaServerCall::getRequestHeaders()),
                 "DEVICE_ID_KEY")
        << key;
  }
}

TEST_F(ZefaServerCallTest, NewUrlJoinsHostPathAndToken) {
  struct Row {
    const char* name;
    std::string host;
    bool useDiskToken;
    std::string path;
    std::optional<std::string> token, record, expected;
  };
  const std::string record = R"({"sessionToken":"disk"})";
  // clang-format off
  const std::vector<Row> rows = {
      {"default host: the bare path", "", false, "/api/user/login", {}, {}, "/api/user/login"},
      {"no token asked for", "https://h", false, "/p", {}, record, "https://h/p"},
      {"caller's token, not escaped", "https://h", false, "/p", "a b&c", {},
       "https://h/p?sessionToken=a b&c"},
      {"empty token is present", "https://h", false, "/p", "", {}, "https://h/p?sessionToken="},
      {"disk token wins over the argument", "https://h", true, "/p", "arg", record,
       "https://h/p?sessionToken=disk"},
      {"slashes are not collapsed", "https://h/", false, "/p", {}, {}, "https://h//p"},
      {"nor inserted", "https://h", false, "p", {}, {}, "https://hp"},
      {"no record: absent, argument not used", "https://h", true, "/p", "arg", {}, {}},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaServerCall::HOST = row.host;
    storeRecord(row.record);
    ZefaLogCapture log;
    EXPECT_EQ(ZefaServerCall::newUrl(row.useDiskToken, row.path, row.token), row.expected);
    const std::vector<std::string> noToken{kWarnNoRecord, kErrorNoToken};
    EXPECT_EQ(log.entries(), row.expected ? std::vector<std::string>{} : noToken);
  }
}

TEST_F(ZefaServerCallTest, ReadsTheLoginRecordAnewEachTime) {
  struct Row {
    const char* name;
    std::optional<std::string> record, token;
    std::optional<int64_t> accountId;
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"nothing stored", {}, {}, {}},
      {"not JSON", "sessionToken=abc", {}, {}},
      {"empty object", "{}", {}, {}},
      {"both members", R"({"sessionToken":"abc","gameAccountId":5})", "abc", 5},
      {"token that is a number", R"({"sessionToken":5})", {}, {}},
      {"account id as text", R"({"gameAccountId":"123"})", {}, {}},
      {"account id with a fraction", R"({"gameAccountId":1.5})", {}, {}},
      {"largest account id", R"({"gameAccountId":9223372036854775807})", {}, INT64_MAX},
      {"account id past 64 bits", R"({"gameAccountId":9223372036854775808})", {}, {}},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    storeRecord(row.record);
    ZefaLogCapture log;
    EXPECT_EQ(ZefaServerCall::getSessionTokenFormDisk(), row.token);
    EXPECT_EQ(ZefaServerCall::getGameAccountIdFormDisk(), row.accountId);
    std::vector<std::string> expected, written;
    if (!row.token) expected.push_back(kWarnNoRecord);
    if (!row.accountId) expected.push_back(kWarnNoAccount);
    for (const auto& line : log.entries()) {
      if (line.starts_with("[W][ZefaServerCall]")) written.push_back(line);
    }
    EXPECT_EQ(written, expected);
  }
}

// Without a usable token nothing is sent and failed runs at once, on the caller's thread; a
// post reports later, on the main loop, and a backend failure is never retried.
TEST_F(ZefaServerCallTest, EntryPointsPostWithTheirTokenOrFailAtOnce) {
  struct Row {
    const char* name;
    int entryPoint;  // 0 postJsonAsync, 1 ...WithToken, 2 ...WithTokenAndRetry
    bool useDiskToken;
    std::optional<std::string> token;
    std::string target;  // "": the stored record holds no usable token
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"postJsonAsync without disk token sends no token", 0, false, {}, "/api/user/login"},
      {"postJsonAsync with disk token", 0, true, {}, "/api/user/login?sessionToken=disk"},
      {"with the caller's token", 1, false, "mine", "/api/user/login?sessionToken=mine"},
      {"retry count 3 is ignored", 2, false, "mine", "/api/user/login?sessionToken=mine"},
      {"no usable disk token, the caller's not used", 1, true, "mine", ""},
      {"no usable disk token (retrying entry point)", 2, true, {}, ""},
  };
  // clang-format on
  ZefaTestHttpServer server(ZefaScriptedReply{200, R"({"state":{"code":9,"msg":"refused"}})"});
  ZefaServerCall::setHostAndDeviceId(server.url(), "127.0.0.1", "DEV-1");
  const std::vector<std::string> noToken{kWarnNoRecord, kErrorNoToken};
  size_t sent = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const bool posts = !row.target.empty();
    storeRecord(posts ? R"({"sessionToken":"disk"})" : R"({"sessionToken":7})");
    ZefaLogCapture log(false);
    auto outcome = std::make_shared<ZefaCallOutcome>();
    const ZefaJsonObject params{{"k", "v"}, {"n", 2}};
    if (row.entryPoint == 0) {
      ZefaServerCall::postJsonAsync(row.useDiskToken, ZefaLoginPath::LOGIN_PATH, params,
                                    outcome->success(), outcome->failed());
    } else if (row.entryPoint == 1) {
      ZefaServerCall::postJsonAsyncWithToken(row.useDiskToken, ZefaLoginPath::LOGIN_PATH, params,
                                             row.token, outcome->success(), outcome->failed());
    } else {
      ZefaServerCall::postJsonAsyncWithTokenAndRetry(row.useDiskToken, ZefaLoginPath::LOGIN_PATH,
                                                     params, row.token, 3, outcome->success(),
                                                     outcome->failed());
    }
    outcome->returned = true;
    ASSERT_TRUE(outcome->settle());
    EXPECT_EQ(outcome->how(), std::tuple(1, posts, !posts));
    sent += posts;
    EXPECT_EQ(server.requests().size(), sent);
    if (!posts) {
      EXPECT_EQ(outcome->status, ZefaStatusCode::CLIENT_HAS_NOT_LOGIN());  // the shared code itself
      EXPECT_EQ(log.entries(), noToken);
      continue;
    }
    ASSERT_TRUE(outcome->status);
    EXPECT_EQ(outcome->status->toString(),
              R"(ZefaBaseCode{code=Optional(9), msg=Optional("refused")})");
    EXPECT_EQ(ZefaRunLoop::main().secondsUntilNextTimer(), -1.0);  // no retry is scheduled
    const auto seen = server.requests().back();
    EXPECT_EQ(std::tuple(seen.target, seen.body, seen.header("deviceId"), seen.header("Host")),
              std::tuple(row.target, R"({"k":"v","n":2})", "DEV-1", "127.0.0.1"));
  }
  ZefaLogCapture log;  // without callbacks: the two lines, nothing else
  ZefaServerCall::postJsonAsync(true, "/p", {}, nullptr, nullptr);
  ZefaRunLoop::main().runFor(0.1);
  EXPECT_EQ(log.entries(), noToken);
  EXPECT_EQ(server.requests().size(), sent);
}

}  // namespace
