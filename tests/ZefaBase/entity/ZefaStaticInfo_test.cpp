#include "ZefaBase/entity/ZefaStaticInfo.h"

#include <gtest/gtest.h>
#include <net/if.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <systemd/sd-id128.h>
#include <unistd.h>

#include <cmath>
#include <ctime>
#include <regex>
#include <type_traits>

#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/ZefaUserDefaults.h"
#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaDirectoryBundle.h"
#include "platform/linux/ZefaLinuxDevice.h"
#include "platform/linux/ZefaSqliteKeyValueStore.h"
#include "platform/linux/ZefaSqliteKeychain.h"
#include "platform/linux/ZefaSystemClock.h"
#include "platform/testing/ZefaFakeBundle.h"
#include "platform/testing/ZefaFakeDevice.h"
#include "platform/testing/ZefaFakeKeychain.h"
#include "platform/testing/ZefaManualClock.h"
#include "tests/platform/ZefaTestMachine.h"
#include "tests/platform/ZefaTestMachine.h"
#include "tests/support/ZefaLogCapture.h"

static_assert(!std::is_default_constructible_v<ZefaStaticInfo>,
              "a record is made only from a game name or by decoding");

namespace {

constexpr const char* kVendor = "6F9619FF-8B86-D011-B42D-00C04FC964FF";
constexpr const char* kZeroUuid = "00000000-0000-0000-0000-000000000000";

// Built from the machine's real services: the bundle directory written here, a keychain file
// in a temporary directory, the Linux device and the system clock. Every field is compared with
// a reading made without the library.
TEST(ZefaStaticInfoOnThisMachine, DescribesTheMachineItRunsOn) {
  ZefaTempDirectory bundleDir;
  ZefaTempDirectory keyDir;
  bundleDir.write("Info.json", R"({"CFBundleIdentifier":"com.zefa.static",)"
                               R"("CFBundleShortVersionString":"4.5.6"})");
  ZefaPlatform& platform = ZefaPlatform::current();
  platform.install(std::make_shared<ZefaDirectoryBundle>(bundleDir.path()));
  platform.install(std::make_shared<ZefaSqliteKeychain>(keyDir.path()));
  platform.install(std::make_shared<ZefaLinuxDevice>());
  platform.install(std::make_shared<ZefaSystemClock>());
  const int64_t before = static_cast<int64_t>(std::time(nullptr));
  std::optional<ZefaStaticInfo> made;
  {
    ScopedEnv proxy("http_proxy", "http://127.0.0.1:3128");
    made.emplace("MyGame");
  }
  const ZefaStaticInfo& info = *made;
  const int64_t after = static_cast<int64_t>(std::time(nullptr));

  EXPECT_EQ(info.gameName, "MyGame");
  EXPECT_EQ(info.pn, "com.zefa.static");
  EXPECT_EQ(info.appVersion, "4.5.6");
  EXPECT_EQ(info.idfa, kZeroUuid);
  utsname names{};
  ASSERT_EQ(uname(&names), 0);
  EXPECT_EQ(info.model, std::string(names.machine));
  EXPECT_EQ(info.deviceName, std::string(names.nodename));
  EXPECT_EQ(info.systemVersion,
            shellOutput(". /etc/os-release 2>/dev/null || . /usr/lib/os-release; "
                        "printf '%s\\n' \"$VERSION_ID\""));
  bool tunnel = false;
  struct if_nameindex* list = if_nameindex();
  ASSERT_NE(list, nullptr);
  for (struct if_nameindex* entry = list; entry->if_index != 0; ++entry) {
    for (const char* text : {"tap", "tun", "ppp", "ipsec"}) {
      tunnel = tunnel || std::string(entry->if_name).find(text) != std::string::npos;
    }
  }
  if_freenameindex(list);
  EXPECT_EQ(info.isVpn, tunnel ? 1 : 0);
  EXPECT_EQ(info.isProxy, 1) << "http_proxy was set";

  sd_id128_t machine{};
  if (sd_id128_get_machine(&machine) >= 0) {
    ASSERT_TRUE(info.idfv);
    EXPECT_EQ(info.deviceid, info.idfv) << "nothing under ZefaSDK: the vendor id";
    EXPECT_EQ(ZefaSDKUtils::getFromKeyChain("ZefaSDk", "keychainId"), *info.idfv);
  } else {
    EXPECT_EQ(info.idfv, std::nullopt) << "no machine id: no vendor identifier";
    EXPECT_EQ(info.deviceid, std::nullopt);
  }
  std::smatch match;
  ASSERT_TRUE(info.sessionId);
  ASSERT_TRUE(std::regex_match(*info.sessionId, match, std::regex("(.*)_(-?\\d+)_(\\d+)")));
  EXPECT_EQ(match[1].str(), info.idfv.value_or(""));
  EXPECT_GE(std::stoll(match[2].str()), static_cast<int32_t>(before));
  EXPECT_LE(std::stoll(match[2].str()), static_cast<int32_t>(after));
  EXPECT_LT(std::stoi(match[3].str()), 100);

  // Every present field is written, in field order.
  std::vector<std::string> expectedKeys;
  for (const std::string_view key : ZefaStaticInfo::kCodingKeys) {
    if (info.idfv || (key != "idfv" && key != "deviceid")) expectedKeys.emplace_back(key);
  }
  const ZefaJson json = info.toJson();
  std::vector<std::string> keys;
  for (auto it = json.begin(); it != json.end(); ++it) keys.push_back(it.key());
  EXPECT_EQ(keys, expectedKeys);
  platform.reset();
}

class ZefaStaticInfoTest : public testing::Test {
 protected:
  void SetUp() override {
    bundle_->info = ZefaJsonObject{{"CFBundleIdentifier", "com.zefa.game"},
                                   {"CFBundleShortVersionString", "2.3.1"}};
    device_->setInterfaces({"en0", "utun3"});
    clock_->setNow(1700000000.9);
    ZefaPlatform& platform = ZefaPlatform::current();
    platform.install(bundle_);
    platform.install(device_);
    platform.install(keychain_);
    platform.install(clock_);
  }
  void TearDown() override { ZefaPlatform::current().reset(); }

  std::shared_ptr<ZefaFakeBundle> bundle_ = std::make_shared<ZefaFakeBundle>();
  std::shared_ptr<ZefaFakeDevice> device_ = std::make_shared<ZefaFakeDevice>();
  std::shared_ptr<ZefaFakeKeychain> keychain_ = std::make_shared<ZefaFakeKeychain>();
  std::shared_ptr<ZefaManualClock> clock_ = std::make_shared<ZefaManualClock>();
};

TEST_F(ZefaStaticInfoTest, FillsEveryFieldInOrderAndEncodesThem) {
  clock_->pushRandom(42);
  ZefaLogCapture capture(true);
  const auto info = std::make_shared<ZefaStaticInfo>("MyGame");
  const std::vector<std::string> deviceCalls{
      "identifierForVendor",
      "identifierForVendor",  // the second one inside keyChainId()
      "advertisingIdentifier", "machine",      "name", "systemVersion",
      "proxySettings",         "proxySettings"};  // isVpn, then the inline proxy test
  EXPECT_EQ(device_->calls, deviceCalls);
  const std::string v = kVendor;
  EXPECT_EQ(
      capture.entries(),
      (std::vector<std::string>{
          "[I][ZefaSDKUtils][keyChainId()](77):Zefa[Swift]-> save success to keychainId " + v + ";",
          "[I][ZefaStaticInfo][init(_:)](37):Zefa[Swift]-> static info init --> idfv is " + v +
              "; keyChainId is " + v + ";"}));
  EXPECT_EQ(ZefaSDKUtils::modelToJsonString(*info),
            R"({"gameName":"MyGame","pn":"com.zefa.game","appVersion":"2.3.1","deviceid":")" + v +
                R"(","platform":"ios","idfa":")" + kZeroUuid + R"(","uid":"","sessionId":")" + v +
                R"(_1700000000_42","idfv":")" + v +
                R"(","android_id":"","band":"apple","model":"iPhone15,2","deviceName":)"
                R"("Test Phone","systemVersion":"17.2","network":"","isVpn":1,"isProxy":0})");
}

TEST_F(ZefaStaticInfoTest, MissingPlatformValuesLeaveFieldsAbsentOrEmpty) {
  const std::string e72 = "[E][ZefaSDKUtils][keyChainId()](72):Zefa[Swift]-> get keychainId failed";
  const std::string i37 = "[I][ZefaStaticInfo][init(_:)](37):Zefa[Swift]-> static info init --> ";
  const struct {
    const char* name;
    bool vendor, info, proxy, showInfo;
    std::optional<std::string> presetDeviceId;
    std::vector<std::string> log;
  } rows[] = {
      {"no vendor id, no keychain entry",
       false,
       true,
       true,
       true,
       std::nullopt,
       {e72, i37 + "idfv is ; keyChainId is ;"}},
      {"no vendor id, info lines off", false, true, true, false, std::nullopt, {e72}},
      {"no vendor id, an entry under ZefaSDK",
       false,
       true,
       true,
       true,
       "KEPT",
       {"[I][ZefaSDKUtils][keyChainId()](82):Zefa[Swift]-> find keychain form keychain KEPT;",
        i37 + "idfv is ; keyChainId is KEPT;"}},
      {"no information dictionary, no proxy settings", true, false, false, false, std::nullopt, {}},
  };
  for (const auto& row : rows) {
    keychain_ = std::make_shared<ZefaFakeKeychain>();
    ZefaPlatform::current().install(keychain_);
    if (row.presetDeviceId) keychain_->preset("ZefaSDK", "keychainId", *row.presetDeviceId);
    device_->vendorIdentifier = row.vendor ? std::optional<std::string>(kVendor) : std::nullopt;
    if (!row.info) bundle_->info.reset();
    if (!row.proxy) device_->proxy.reset();
    clock_->pushRandom(7);

    ZefaLogCapture capture(row.showInfo);
    const ZefaStaticInfo info("G");
    EXPECT_EQ(capture.entries(), row.log) << row.name;
    EXPECT_EQ(info.idfv.has_value(), row.vendor) << row.name;
    EXPECT_EQ(info.deviceid, row.presetDeviceId ? row.presetDeviceId : info.idfv) << row.name;
    EXPECT_EQ(info.sessionId, info.idfv.value_or("") + "_1700000000_7") << row.name;
    EXPECT_EQ(info.pn, row.info ? "com.zefa.game" : "") << row.name;
    EXPECT_EQ(info.appVersion.has_value(), row.info) << row.name;
    EXPECT_EQ(info.isVpn, row.proxy ? 1 : -1) << row.name;
    EXPECT_EQ(info.isProxy, row.proxy ? 0 : -1) << row.name;
    EXPECT_EQ(info.toJson().contains("idfv"), row.vendor) << row.name;
  }
}

TEST_F(ZefaStaticInfoTest, SessionIdPrintsSecondsAsA32BitNumber) {
  const struct {
    const char* name;
    double now;
    uint32_t draw;
    const char* expected;
  } rows[] = {
      {"fraction dropped", 1700000000.9, 42, "_1700000000_42"},
      {"largest draw", 5.0, 99, "_5_99"},
      {"2^31 wraps to the most negative number", 2147483648.0, 0, "_-2147483648_0"},
      {"2^32 + 5 keeps the low bits", 4294967301.5, 3, "_5_3"},
      {"truncated toward zero before 1970", -1.5, 1, "_-1_1"},
  };
  device_->vendorIdentifier.reset();
  for (const auto& row : rows) {
    clock_->setNow(row.now);
    clock_->pushRandom(row.draw);
    EXPECT_EQ(ZefaStaticInfo("G").sessionId, row.expected) << row.name;
  }
}

TEST_F(ZefaStaticInfoTest, StopsOnATimeWithoutAnIntegerFormOrAHighBitModelByte) {
  for (const double now : {std::nan(""), 1e300, -HUGE_VAL}) {
    clock_->setNow(now);
    EXPECT_DEATH(ZefaStaticInfo("G"), "not a finite 64-bit number") << now;
  }
  clock_->setNow(1);
  device_->machineField = "iPhone\xe2\x84\xa2";
  EXPECT_DEATH(ZefaStaticInfo("G"), "outside ASCII");
}

TEST(ZefaStaticInfoCoding, DecodesPresentMembersAndRefusesWrongKinds) {
  const struct {
    const char* name;
    const char* json;
    std::optional<std::string> reencoded;  // none: decoding fails
  } rows[] = {
      {"empty object: every field absent", "{}", "{}"},
      {"null leaves a field absent", R"({"pn":null,"isVpn":null})", "{}"},
      {"unknown members are ignored", R"({"pn":"a","extra":[1,{"x":2}],"isProxy":-1})",
       R"({"pn":"a","isProxy":-1})"},
      {"members come back in field order", R"({"isVpn":0,"gameName":"g","band":"b"})",
       R"({"gameName":"g","band":"b","isVpn":0})"},
      {"empty texts stay present", R"({"uid":"","network":""})", R"({"uid":"","network":""})"},
      {"largest integer", R"({"isVpn":9223372036854775807})", R"({"isVpn":9223372036854775807})"},
      {"text holding digits where an integer belongs", R"({"isVpn":"1"})", std::nullopt},
      {"a number where text belongs", R"({"pn":5})", std::nullopt},
      {"a fraction where an integer belongs", R"({"isProxy":1.5})", std::nullopt},
      {"a whole float where an integer belongs", R"({"isProxy":1.0})", std::nullopt},
      {"an integer beyond 64 signed bits", R"({"isVpn":9223372036854775808})", std::nullopt},
      {"a boolean where text belongs", R"({"gameName":true})", std::nullopt},
      {"an object where text belongs", R"({"model":{}})", std::nullopt},
      {"one bad member spoils the record", R"({"pn":"ok","sessionId":1})", std::nullopt},
      {"not an object", R"(["gameName"])", std::nullopt},
  };
  ZefaLogCapture capture(false);  // refusals are logged; keep them off the test output
  for (const auto& row : rows) {
    const auto info = ZefaSDKUtils::jsonStringToModel<ZefaStaticInfo>(row.json);
    EXPECT_EQ(info ? ZefaSDKUtils::modelToJsonString(*info) : std::nullopt, row.reencoded)
        << row.name;
  }
}

// A record stored by one process is read back by another, through the user defaults on disk.
TEST_F(ZefaStaticInfoTest, ARecordStoredByOneProcessIsReadByAnother) {
  ZefaTempDirectory dir;
  const std::string path = dir.path() + "/defaults.sqlite";
  clock_->pushRandom(42);
  const pid_t writer = fork();
  ASSERT_GE(writer, 0);
  if (writer == 0) {
    ZefaPlatform::current().install(std::make_shared<ZefaSqliteKeyValueStore>(path));
    const bool stored = ZefaUserDefaults::standard().addModel("static", ZefaStaticInfo("Child"));
    ZefaPlatform::current().reset();  // closes the store
    _exit(stored ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(writer, &status, 0), writer);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

  ZefaPlatform::current().install(std::make_shared<ZefaSqliteKeyValueStore>(path));
  const auto read = ZefaUserDefaults::standard().model<ZefaStaticInfo>("static");
  ASSERT_TRUE(read);
  EXPECT_EQ(read->sessionId, std::string(kVendor) + "_1700000000_42");
  // fork() copied this process's fakes, so a record made here matches field for field.
  EXPECT_EQ(read->toJson(), ZefaStaticInfo("Child").toJson());
  ZefaUserDefaults::standard().setValue(R"({"isVpn":"yes"})", "other");
  ZefaLogCapture capture(false);
  EXPECT_EQ(ZefaUserDefaults::standard().model<ZefaStaticInfo>("other"), std::nullopt)
      << "another shape of record";
}

}  // namespace
