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

class ZefaServerCallTest : public testing::Test {
 protected:
  void SetUp() override {
    ZefaPlatform::current().reset();
    ZefaPlatform::current().install(std::static_pointer_cast<ZefaKeyValueStore>(store_));
  }
  void TearDown() override {
    ZefaServerCall::HOST = host_;
    ZefaServerCall::SET_HOST = setHost_;
    ZefaServerCall::DEVICE_ID_KEY = deviceIdKey_;
    ZefaServerCall::DEVICE_ID = deviceId_;
    ZefaPlatform::current().reset();
  }
  void storeRecord(const std::optional<std::string>& record) {
    if (record) {
      store_->setString(ZefaConstants::ZEFA_LOGIN_TOKEN, *record);
    } else {
      store_->remove(ZefaConstants::ZEFA_LOGIN_TOKEN);
    }
  }

  std::shared_ptr<ZefaMemoryKeyValueStore> store_ = std::make_shared<ZefaMemoryKeyValueStore>();

 private:
  std::string host_ = ZefaServerCall::HOST;
  std::optional<std::string> setHost_ = ZefaServerCall::SET_HOST;
  std::string deviceIdKey_ = ZefaServerCall::DEVICE_ID_KEY;
  std::string deviceId_ = ZefaServerCall::DEVICE_ID;
};

TEST_F(ZefaServerCallTest, StartsWithDefaultSettings) {
  EXPECT_EQ(ZefaServerCall::HOST, "");
  EXPECT_EQ(ZefaServerCall::SET_HOST, std::nullopt);
  EXPECT_EQ(ZefaServerCall::DEVICE_ID_KEY, "deviceId");
  EXPECT_EQ(ZefaServerCall::DEVICE_ID, "");
}

TEST_F(ZefaServerCallTest, BuildsRequestHeadersFromTheSettings) {
  struct Row {
    const char* name;
    std::optional<std::string> setHost;
    std::string deviceIdKey;
    std::string deviceId;
    ZefaHeaders expected;
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"defaults: empty device id, no Host", std::nullopt, "deviceId", "",
       {{"Content-Type", "application/json"}, {"Accept", "application/json"}, {"deviceId", ""}}},
      {"device id under its header", std::nullopt, "deviceId", "D1",
       {{"Content-Type", "application/json"}, {"Accept", "application/json"}, {"deviceId", "D1"}}},
      {"empty host override is still sent", "", "deviceId", "D1",
       {{"Content-Type", "application/json"}, {"Accept", "application/json"}, {"deviceId", "D1"},
        {"Host", ""}}},
      {"host override wins over a device id header named Host", "api.example", "Host", "D1",
       {{"Content-Type", "application/json"}, {"Accept", "application/json"},
        {"Host", "api.example"}}},
      {"renamed device id header", std::nullopt, "X-Device", "",
       {{"Content-Type", "application/json"}, {"Accept", "application/json"}, {"X-Device", ""}}},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaServerCall::SET_HOST = row.setHost;
    ZefaServerCall::DEVICE_ID_KEY = row.deviceIdKey;
    ZefaServerCall::DEVICE_ID = row.deviceId;
    EXPECT_EQ(ZefaServerCall::getRequestHeaders(), row.expected);
  }
}

TEST_F(ZefaServerCallTest, SetHostAndDeviceIdLeavesTheHeaderNameAlone) {
  ZefaServerCall::DEVICE_ID_KEY = "X-Device";
  ZefaServerCall::setHostAndDeviceId("https://b.example", "", "D9");
  EXPECT_EQ(ZefaServerCall::HOST, "https://b.example");
  EXPECT_EQ(ZefaServerCall::SET_HOST, "");
  EXPECT_EQ(ZefaServerCall::DEVICE_ID, "D9");
  EXPECT_EQ(ZefaServerCall::DEVICE_ID_KEY, "X-Device");
}

TEST_F(ZefaServerCallTest, DeviceIdKeyThatRepeatsAFixedHeaderIsFatal) {
  for (const char* key : {"Content-Type", "Accept"}) {
    SCOPED_TRACE(key);
    EXPECT_DEATH(
        {
          ZefaServerCall::DEVICE_ID_KEY = key;
          ZefaServerCall::getRequestHeaders();
        },
        "DEVICE_ID_KEY");
  }
}

TEST_F(ZefaServerCallTest, NewUrlJoinsHostPathAndToken) {
  struct Row {
    const char* name;
    std::string host;
    bool useDiskToken;
    std::string path;
    std::optional<std::string> token;
    std::optional<std::string> record;
    std::optional<std::string> expected;
    std::vector<std::string> log;
  };
  const std::string record = R"({"sessionToken":"disk","gameAccountId":5})";
  // clang-format off
  const std::vector<Row> rows = {
      {"default host: the bare path", "", false, "/api/user/login", std::nullopt, std::nullopt,
       "/api/user/login", {}},
      {"no token", "https://h", false, "/api/user/login", std::nullopt, record,
       "https://h/api/user/login", {}},
      {"caller's token", "https://h", false, "/p", "tok", std::nullopt,
       "https://h/p?sessionToken=tok", {}},
      {"empty token is present", "https://h", false, "/p", "", std::nullopt,
       "https://h/p?sessionToken=", {}},
      {"disk token wins over the argument", "https://h", true, "/p", "arg", record,
       "https://h/p?sessionToken=disk", {}},
      {"token is not escaped", "https://h", false, "/p", "a b&c", std::nullopt,
       "https://h/p?sessionToken=a b&c", {}},
      {"slashes are not collapsed", "https://h/", false, "/p", std::nullopt, std::nullopt,
       "https://h//p", {}},
      {"nor inserted", "https://h", false, "p", std::nullopt, std::nullopt, "https://hp", {}},
      {"no record: absent, argument not used", "https://h", true, "/p", "arg", std::nullopt,
       std::nullopt, {kWarnNoRecord, kErrorNoToken}},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaServerCall::HOST = row.host;
    storeRecord(row.record);
    ZefaLogCapture log;
    EXPECT_EQ(ZefaServerCall::newUrl(row.useDiskToken, row.path, row.token), row.expected);
    EXPECT_EQ(log.entries(), row.log);
  }
}

TEST_F(ZefaServerCallTest, ReadsTheLoginRecordAnewEachTime) {
  struct Row {
    const char* name;
    std::optional<std::string> record;
    std::optional<std::string> token;
    std::optional<int64_t> accountId;
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"nothing stored", std::nullopt, std::nullopt, std::nullopt},
      {"not JSON", "sessionToken=abc", std::nullopt, std::nullopt},
      {"an array", R"(["abc"])", std::nullopt, std::nullopt},
      {"empty object", "{}", std::nullopt, std::nullopt},
      {"both members", R"({"sessionToken":"abc","gameAccountId":5})", "abc", 5},
      {"empty token", R"({"sessionToken":""})", "", std::nullopt},
      {"token that is a number", R"({"sessionToken":5})", std::nullopt, std::nullopt},
      {"account id as text", R"({"gameAccountId":"123"})", std::nullopt, std::nullopt},
      {"account id with a fraction", R"({"gameAccountId":1.5})", std::nullopt, std::nullopt},
      {"negative account id", R"({"gameAccountId":-7})", std::nullopt, -7},
      {"largest account id", R"({"gameAccountId":9223372036854775807})", std::nullopt, INT64_MAX},
      {"account id past 64 bits", R"({"gameAccountId":9223372036854775808})", std::nullopt,
       std::nullopt},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    storeRecord(row.record);
    ZefaLogCapture log;
    EXPECT_EQ(ZefaServerCall::getSessionTokenFormDisk(), row.token);
    EXPECT_EQ(ZefaServerCall::getGameAccountIdFormDisk(), row.accountId);
    std::vector<std::string> expected;
    if (!row.token) expected.push_back(kWarnNoRecord);
    if (!row.accountId) expected.push_back(kWarnNoAccount);
    std::vector<std::string> written;
    for (const auto& line : log.entries()) {
      if (line.rfind("[W][ZefaServerCall]", 0) == 0) written.push_back(line);
    }
    EXPECT_EQ(written, expected);
  }
}

TEST_F(ZefaServerCallTest, PostsToTheBackendWithHeadersTokenAndBody) {
  ZefaTestHttpServer server(
      ZefaTestHttpServer::always({200, R"({"state":{"code":0},"data":{"user":"u1"}})"}));
  ZefaServerCall::setHostAndDeviceId(server.url(), "127.0.0.1", "DEV-1");
  storeRecord(R"({"sessionToken":"s3cr3t"})");
  ZefaLogCapture log(false);
  auto outcome = ZefaCallOutcome::make();
  ZefaServerCall::postJsonAsync(true, "/api/user/info", ZefaJsonObject{{"k", "v"}, {"n", 2}},
                                outcome->success(), outcome->failed());
  outcome->returned();
  EXPECT_EQ(outcome->calls, 0);
  ASSERT_TRUE(outcome->settle());
  EXPECT_EQ(outcome->calls, 1);
  EXPECT_EQ(outcome->data, (ZefaJsonObject{{"user", "u1"}}));
  EXPECT_TRUE(outcome->onMainLoop);
  EXPECT_FALSE(outcome->beforeReturn);

  ASSERT_EQ(server.requestCount(), 1u);
  const ZefaRecordedRequest seen = server.requests()[0];
  EXPECT_EQ(seen.method, "POST");
  EXPECT_EQ(seen.target, "/api/user/info?sessionToken=s3cr3t");
  EXPECT_EQ(seen.body, R"({"k":"v","n":2})");
  EXPECT_EQ(seen.header("Content-Type"), "application/json");
  EXPECT_EQ(seen.header("Accept"), "application/json");
  EXPECT_EQ(seen.header("deviceId"), "DEV-1");
  EXPECT_EQ(seen.header("Host"), "127.0.0.1");
  EXPECT_EQ(seen.header("Content-length"), "15");
  EXPECT_TRUE(log.entries().empty());
}

TEST_F(ZefaServerCallTest, EntryPointsPassTheirTokenAndNeverRetry) {
  struct Row {
    const char* name;
    int entryPoint;  // 0 postJsonAsync, 1 ...WithToken, 2 ...WithTokenAndRetry
    bool useDiskToken;
    std::optional<std::string> token;
    std::string target;
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"postJsonAsync without disk token sends no token", 0, false, std::nullopt, "/p"},
      {"postJsonAsync with disk token", 0, true, std::nullopt, "/p?sessionToken=disk"},
      {"with the caller's token", 1, false, "mine", "/p?sessionToken=mine"},
      {"disk token wins over the caller's", 1, true, "mine", "/p?sessionToken=disk"},
      {"retry count 3 is ignored", 2, false, "mine", "/p?sessionToken=mine"},
  };
  // clang-format on
  ZefaTestHttpServer server(
      ZefaTestHttpServer::always({200, R"({"state":{"code":9,"msg":"refused"}})"}));
  ZefaServerCall::HOST = server.url();
  storeRecord(R"({"sessionToken":"disk"})");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaLogCapture log(false);
    const size_t before = server.requestCount();
    auto outcome = ZefaCallOutcome::make();
    const ZefaJsonObject params{{"a", 1}};
    if (row.entryPoint == 0) {
      ZefaServerCall::postJsonAsync(row.useDiskToken, "/p", params, outcome->success(),
                                    outcome->failed());
    } else if (row.entryPoint == 1) {
      ZefaServerCall::postJsonAsyncWithToken(row.useDiskToken, "/p", params, row.token,
                                             outcome->success(), outcome->failed());
    } else {
      ZefaServerCall::postJsonAsyncWithTokenAndRetry(row.useDiskToken, "/p", params, row.token, 3,
                                                     outcome->success(), outcome->failed());
    }
    ASSERT_TRUE(outcome->settle());
    EXPECT_EQ(outcome->calls, 1);
    ASSERT_TRUE(outcome->status);
    EXPECT_EQ(outcome->status->code, 9);
    EXPECT_EQ(outcome->status->msg, "refused");
    EXPECT_EQ(ZefaRunLoop::main().secondsUntilNextTimer(), -1.0);  // no retry is scheduled
    ASSERT_EQ(server.requestCount(), before + 1);
    EXPECT_EQ(server.requests().back().target, row.target);
  }
}

TEST_F(ZefaServerCallTest, WithoutATokenNothingIsSentAndFailedRunsAtOnce) {
  ZefaTestHttpServer server(ZefaTestHttpServer::always({200, "{}"}));
  ZefaServerCall::HOST = server.url();
  storeRecord(R"({"sessionToken":7})");
  for (const bool withFailed : {true, false}) {
    SCOPED_TRACE(withFailed ? "with a failed callback" : "without callbacks");
    ZefaLogCapture log;
    auto outcome = ZefaCallOutcome::make();
    ZefaServerCall::postJsonAsyncWithToken(true, "/p", {}, "ignored",
                                           withFailed ? outcome->success() : nullptr,
                                           withFailed ? outcome->failed() : nullptr);
    outcome->returned();
    EXPECT_EQ(outcome->calls, withFailed ? 1 : 0);
    if (withFailed) {
      EXPECT_TRUE(outcome->beforeReturn);
      EXPECT_TRUE(outcome->onCallerThread);
      EXPECT_FALSE(outcome->onMainLoop);
      EXPECT_EQ(outcome->status, ZefaStatusCode::CLIENT_HAS_NOT_LOGIN());  // the shared code itself
    }
    EXPECT_EQ(log.entries(), (std::vector<std::string>{kWarnNoRecord, kErrorNoToken}));
    ZefaRunLoop::main().runFor(0.1);
    EXPECT_EQ(outcome->calls, withFailed ? 1 : 0);
  }
  EXPECT_EQ(server.requestCount(), 0u);
}

}  // namespace
