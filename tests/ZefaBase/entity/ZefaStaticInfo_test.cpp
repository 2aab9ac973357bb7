#include "ZefaBase/entity/ZefaStaticInfo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <type_traits>

#include "ZefaBase/ZefaSDKUtils.h"
#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaLinuxDevice.h"
#include "platform/linux/ZefaSystemClock.h"
#include "platform/testing/ZefaFakeBundle.h"
#include "platform/testing/ZefaFakeDevice.h"
#include "platform/testing/ZefaFakeKeychain.h"
#include "platform/testing/ZefaManualClock.h"
#include "tests/platform/ZefaTestMachine.h"
#include "tests/support/ZefaLogCapture.h"

static_assert(!std::is_default_constructible_v<ZefaStaticInfo>,
              "a record is made only from a game name or by decoding");

namespace {

// Installs every given service on the platform.
void install(const auto&... services) { (ZefaPlatform::current().install(services), ...); }

const std::string kVendor = "6F9619FF-8B86-D011-B42D-00C04FC964FF";
const std::string kInit = "[I][ZefaStaticInfo][init(_:)](37):Zefa[Swift]-> static info init --> ";

// Built from the machine's real device; what it gives is compared with readings made without the
// library (the mapping of every service to the fields is covered with fakes below).
TEST(ZefaStaticInfoOnThisMachine, DescribesTheMachineItRunsOn) {
  install(std::make_shared<ZefaFakeBundle>(), std::make_shared<ZefaFakeKeychain>(),
          std::make_shared<ZefaLinuxDevice>(), std::make_shared<ZefaSystemClock>());
  ScopedEnv proxy("http_proxy", "http://127.0.0.1:3128");
  const ZefaStaticInfo info("MyGame");
  ZefaPlatform::current().reset();

  EXPECT_EQ(info.idfa, "00000000-0000-0000-0000-000000000000");
  utsname names{};
  ASSERT_EQ(uname(&names), 0);
  EXPECT_EQ(info.model, std::string(names.machine));
  EXPECT_EQ(info.deviceName, std::string(names.nodename));
  EXPECT_EQ(info.systemVersion,
            shellOutput(". /etc/os-release 2>/dev/null || . /usr/lib/os-release;"
                        " printf '%s\\n' \"$VERSION_ID\""));
  EXPECT_EQ(info.isProxy, 1) << "http_proxy was set";
}

class ZefaStaticInfoTest : public testing::Test {
 protected:
  void SetUp() override {
    bundle_->info = ZefaJsonObject{{"CFBundleIdentifier", "com.zefa.game"},
                                   {"CFBundleShortVersionString", "2.3.1"}};
    device_->setInterfaces({"en0", "utun3"});
    clock_->setNow(1700000000.9);
    install(bundle_, device_, keychain_, clock_);
  }
  void TearDown() override { ZefaPlatform::current().reset(); }

  std::shared_ptr<ZefaFakeBundle> bundle_ = std::make_shared<ZefaFakeBundle>();
  std::shared_ptr<ZefaFakeDevice> device_ = std::make_shared<ZefaFakeDevice>();
  std::shared_ptr<ZefaFakeKeychain> keychain_ = std::make_shared<ZefaFakeKeychain>();
  std::shared_ptr<ZefaManualClock> clock_ = std::make_shared<ZefaManualClock>();
};

// Each row's record is the full one with the row's changes applied (a JSON merge patch, where
// null removes a member); encoding keeps the field order, and the text decodes to the same record.
TEST_F(ZefaStaticInfoTest, FillsEveryFieldInOrderOrLeavesItAbsent) {
  const std::string v = kVendor, both = "idfv is " + v + "; keyChainId is " + v + ";";
  const ZefaJson full = ZefaJson::parse(
      R"({"gameName":"G","pn":"com.zefa.game","appVersion":"2.3.1","deviceid":")" + v +
      R"(","platform":"ios","idfa":"00000000-0000-0000-0000-000000000000","uid":"","sessionId":")" +
      v + R"(_1700000000_7","idfv":")" + v +
      R"(","android_id":"","band":"apple","model":"iPhone15,2","deviceName":"Test Phone",)"
      R"("systemVersion":"17.2","network":"","isVpn":1,"isProxy":0})");
  const char* anonymous = R"({"deviceid":null,"sessionId":"_1700000000_7","idfv":null})";
  const char* keptId = R"({"deviceid":"K","sessionId":"_1700000000_7","idfv":null})";
  const char* bare = R"({"pn":"","appVersion":null,"isVpn":-1,"isProxy":-1})";
  const struct {
    const char* name;
    bool vendor, info, proxy;
    std::optional<std::string> kept;  // under ZefaSDK
    std::string logged;               // the record's own line, after its prefix
    const char* patch;
  } rows[] = {
      {"everything present", true, true, true, {}, both, "{}"},
      {"no vendor id", false, true, true, {}, "idfv is ; keyChainId is ;", anonymous},
      {"no vendor id, a kept id", false, true, true, "K", "idfv is ; keyChainId is K;", keptId},
      {"no dictionary, no proxy settings", true, false, false, {}, both, bare},
  };
  for (const auto& row : rows) {
    keychain_ = std::make_shared<ZefaFakeKeychain>();
    install(keychain_);
    if (row.kept) keychain_->preset("ZefaSDK", "keychainId", *row.kept);
    device_->vendorIdentifier = row.vendor ? std::optional(kVendor) : std::nullopt;
    if (!row.info) bundle_->info.reset();
    if (!row.proxy) device_->proxy.reset();
    clock_->pushRandom(7);
    ZefaLogCapture capture(true);
    const ZefaStaticInfo info("G");
    EXPECT_THAT(capture.entries(), testing::Contains(kInit + row.logged)) << row.name;
    ZefaJson expected = full;
    expected.merge_patch(ZefaJson::parse(row.patch));
    EXPECT_EQ(ZefaSDKUtils::modelToJsonString(info), expected.dump()) << row.name;
    const auto decoded = ZefaSDKUtils::jsonStringToModel<ZefaStaticInfo>(expected.dump());
    EXPECT_EQ(decoded ? decoded->toJson() : ZefaJson(), expected) << row.name;
  }
}

// The seconds are truncated and printed as a 32-bit number; a time with no integer form stops.
TEST_F(ZefaStaticInfoTest, SessionIdPrintsSecondsAsA32BitNumber) {
  device_->vendorIdentifier.reset();
  for (const auto& [now, draw, expected] :
       std::initializer_list<std::tuple<double, uint32_t, const char*>>{
           {1700000000.9, 99, "_1700000000_99"},
           {2147483648.0, 0, "_-2147483648_0"},
           {1e300, 0, nullptr},
       }) {
    clock_->setNow(now);
    clock_->pushRandom(draw);
    if (expected) {
      EXPECT_EQ(ZefaStaticInfo("G").sessionId, expected) << now;
    } else {
      EXPECT_DEATH(ZefaStaticInfo("G"), "not a finite 64-bit number") << now;
    }
  }
}

TEST(ZefaStaticInfoCoding, DecodesPresentMembersAndRefusesWrongKinds) {
  // Name, JSON, the decoded record encoded again (none: decoding fails).
  const std::tuple<const char*, const char*, std::optional<std::string>> rows[] = {
      {"every field absent", "{}", "{}"},
      {"null leaves a field absent", R"({"pn":null,"isVpn":null})", "{}"},
      {"unknown ignored", R"({"pn":"a","x":1,"isProxy":-1})", R"({"pn":"a","isProxy":-1})"},
      {"field order", R"({"isVpn":0,"uid":"","pn":"b"})", R"({"pn":"b","uid":"","isVpn":0})"},
      {"largest integer", R"({"isVpn":9223372036854775807})", R"({"isVpn":9223372036854775807})"},
      {"digits in text for an integer", R"({"isVpn":"1"})", std::nullopt},
      {"a number for text", R"({"pn":5})", std::nullopt},
      {"a whole float for an integer", R"({"isProxy":1.0})", std::nullopt},
      {"beyond 64 signed bits", R"({"isVpn":9223372036854775808})", std::nullopt},
      {"one bad member spoils the record", R"({"pn":"ok","sessionId":1})", std::nullopt},
      {"not an object", R"(["gameName"])", std::nullopt},
  };
  ZefaLogCapture capture(false);  // refusals are logged; keep them off the test output
  for (const auto& [name, json, reencoded] : rows) {
    const auto info = ZefaSDKUtils::jsonStringToModel<ZefaStaticInfo>(json);
    EXPECT_EQ(info ? ZefaSDKUtils::modelToJsonString(*info) : std::nullopt, reencoded) << name;
  }
}

}  // namespace
