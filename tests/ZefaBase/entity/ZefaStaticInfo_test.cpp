#include "ZefaBase/entity/ZefaStaticInfo.h"

#include <gtest/gtest.h>
#include <net/if.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <systemd/sd-id128.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <ctime>
#include <limits>
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
#include "tests/platform/ZefaTempDirectory.h"
#include "tests/support/ZefaLogCapture.h"

static_assert(!std::is_default_constructible_v<ZefaStaticInfo>,
              "a record is made only from a game name or by decoding");

namespace {

constexpr const char* kVendor = "6F9619FF-8B86-D011-B42D-00C04FC964FF";
constexpr const char* kZeroUuid = "00000000-0000-0000-0000-000000000000";

std::optional<std::string> shellOutput(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return std::nullopt;
  std::string out;
  char buffer[256];
  while (fgets(buffer, sizeof buffer, pipe) != nullptr) out += buffer;
  if (pclose(pipe) != 0) return std::nullopt;
  while (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

std::vector<std::string> keysOf(const ZefaJson& json) {
  std::vector<std::string> keys;
  for (auto it = json.begin(); it != json.end(); ++it) keys.push_back(it.key());
  return keys;
}

// Built from the machine's real services: the bundle directory written here, a keychain file
// in a temporary directory, the Linux device and the system clock. Every field is compared with
// a reading made without the library.
TEST(ZefaStaticInfoOnThisMachine, DescribesTheMachineItRunsOn) {
  ZefaTempDirectory bundleDir;
  ZefaTempDirectory keyDir;
  bundleDir.write("Info.json", R"({"CFBundleIdentifier":"com.zefa.static",)"
                               R"("CFBundleShortVersionString":"4.5.6","CFBundleVersion":"99"})");
  ZefaPlatform& platform = ZefaPlatform::current();
  platform.install(std::make_shared<ZefaDirectoryBundle>(bundleDir.path()));
  platform.install(std::make_shared<ZefaSqliteKeychain>(keyDir.path()));
  platform.install(std::make_shared<ZefaLinuxDevice>());
  platform.install(std::make_shared<ZefaSystemClock>());
  const char* oldProxy = getenv("http_proxy");
  const std::optional<std::string> savedProxy =
      oldProxy ? std::optional<std::string>(oldProxy) : std::nullopt;
  setenv("http_proxy", "http://127.0.0.1:3128", 1);

  const int64_t before = static_cast<int64_t>(std::time(nullptr));
  const ZefaStaticInfo info("MyGame");
  const int64_t after = static_cast<int64_t>(std::time(nullptr));
  if (savedProxy) {
    setenv("http_proxy", savedProxy->c_str(), 1);
  } else {
    unsetenv("http_proxy");
  }

  EXPECT_EQ(info.gameName, "MyGame");
  EXPECT_EQ(info.pn, "com.zefa.static");
  EXPECT_EQ(info.appVersion, "4.5.6");
  EXPECT_EQ(info.platform, "ios");
  EXPECT_EQ(info.idfa, kZeroUuid);
  EXPECT_EQ(info.uid, "");
  EXPECT_EQ(info.android_id, "");
  EXPECT_EQ(info.band, "apple");
  EXPECT_EQ(info.network, "");

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
    const std::string name = entry->if_name;
    for (const char* text : {"tap", "tun", "ppp", "ipsec"}) {
      tunnel = tunnel || name.find(text) != std::string::npos;
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
  ASSERT_TRUE(std::regex_match(*info.sessionId, match, std::regex("(.*)_(-?\\d+)_(\\d+)")))
      << *info.sessionId;
  EXPECT_EQ(match[1].str(), info.idfv.value_or(""));
  EXPECT_GE(std::stoll(match[2].str()), static_cast<int32_t>(before));
  EXPECT_LE(std::stoll(match[2].str()), static_cast<int32_t>(after));
  EXPECT_LT(std::stoi(match[3].str()), 100);

  // Every present field is written, in field order.
  std::vector<std::string> expectedKeys;
  for (const std::string_view key : ZefaStaticInfo::kCodingKeys) {
    if (!info.idfv && (key == "idfv" || key == "deviceid")) continue;
    expectedKeys.emplace_back(key);
  }
  EXPECT_EQ(keysOf(info.toJson()), expectedKeys);
  platform.reset();
}

class ZefaStaticInfoTest : public testing::Test {
 protected:
  void SetUp() override {
    bundle_->info = ZefaJsonObject{{"CFBundleIdentifier", "com.zefa.game"},
                                   {"CFBundleShortVersionString", "2.3.1"}};
    device_->vendorIdentifier = kVendor;
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
      "advertisingIdentifier",
      "machine",
      "name",
      "systemVersion",
      "proxySettings",
      "proxySettings"};  // isVpn, then the inline proxy test
  EXPECT_EQ(device_->calls, deviceCalls);
  const std::vector<std::string> log{
      std::string("[I][ZefaSDKUtils][keyChainId()](77):Zefa[Swift]-> save success to "
                  "keychainId ") +
          kVendor + ";",
      std::string("[I][ZefaStaticInfo][init(_:)](37):Zefa[Swift]-> static info init --> idfv "
                  "is ") +
          kVendor + "; keyChainId is " + kVendor + ";"};
  EXPECT_EQ(capture.entries(), log);

  const std::string expected = std::string(R"({"gameName":"MyGame","pn":"com.zefa.game",)") +
                               R"("appVersion":"2.3.1","deviceid":")" + kVendor +
                               R"(","platform":"ios","idfa":")" + kZeroUuid +
                               R"(","uid":"","sessionId":")" + kVendor +
                               R"(_1700000000_42","idfv":")" + kVendor +
                               R"(","android_id":"","band":"apple","model":"iPhone15,2",)"
                               R"("deviceName":"Test Phone","systemVersion":"17.2",)"
                               R"("network":"","isVpn":1,"isProxy":0})";
  EXPECT_EQ(ZefaSDKUtils::modelToJsonString(*info), expected);
}

TEST_F(ZefaStaticInfoTest, MissingPlatformValuesLeaveFieldsAbsentOrEmpty) {
  const struct {
    const char* name;
    bool vendor;
    std::optional<std::string> presetDeviceId;
    bool info;
    bool proxy;
    bool showInfo;
    std::vector<std::string> log;
  } rows[] = {
      {"no vendor id, no keychain entry",
       false,
       std::nullopt,
       true,
       true,
       true,
       {"[E][ZefaSDKUtils][keyChainId()](72):Zefa[Swift]-> get keychainId failed",
        "[I][ZefaStaticInfo][init(_:)](37):Zefa[Swift]-> static info init --> idfv is ; "
        "keyChainId is ;"}},
      {"no vendor id, info lines off",
       false,
       std::nullopt,
       true,
       true,
       false,
       {"[E][ZefaSDKUtils][keyChainId()](72):Zefa[Swift]-> get keychainId failed"}},
      {"no vendor id, an entry under ZefaSDK",
       false,
       "KEPT-ID",
       true,
       true,
       true,
       {"[I][ZefaSDKUtils][keyChainId()](82):Zefa[Swift]-> find keychain form keychain KEPT-ID;",
        "[I][ZefaStaticInfo][init(_:)](37):Zefa[Swift]-> static info init --> idfv is ; "
        "keyChainId is KEPT-ID;"}},
      {"no information dictionary, no proxy settings", true, std::nullopt, false, false, false, {}},
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
    EXPECT_EQ(info.idfv, row.vendor ? std::optional<std::string>(kVendor) : std::nullopt)
        << row.name;
    EXPECT_EQ(info.deviceid, row.presetDeviceId ? row.presetDeviceId : info.idfv) << row.name;
    EXPECT_EQ(info.sessionId, info.idfv.value_or("") + "_1700000000_7") << row.name;
    EXPECT_EQ(info.pn, row.info ? "com.zefa.game" : "") << row.name;
    EXPECT_EQ(info.appVersion, row.info ? std::optional<std::string>("2.3.1") : std::nullopt)
        << row.name;
    EXPECT_EQ(info.isVpn, row.proxy ? 1 : -1) << row.name;
    EXPECT_EQ(info.isProxy, row.proxy ? 0 : -1) << row.name;
    const ZefaJson json = info.toJson();
    EXPECT_EQ(json.contains("idfv"), row.vendor) << row.name;
    EXPECT_EQ(json.contains("appVersion"), row.info) << row.name;
  }
}

TEST_F(ZefaStaticInfoTest, SessionIdPrintsSecondsAsA32BitNumber) {
  const struct {
    const char* name;
    double now;
    uint32_t draw;
    const char* suffix;
  } rows[] = {
      {"fraction dropped", 1700000000.9, 42, "_1700000000_42"},
      {"largest draw", 5.0, 99, "_5_99"},
      {"2^31 wraps to the most negative number", 2147483648.0, 0, "_-2147483648_0"},
      {"2^32 + 5 keeps the low bits", 4294967301.5, 3, "_5_3"},
      {"truncated toward zero before 1970", -1.5, 1, "_-1_1"},
      {"just under one second", 0.999, 8, "_0_8"},
  };
  for (const auto& row : rows) {
    clock_->setNow(row.now);
    clock_->pushRandom(row.draw);
    device_->vendorIdentifier.reset();
    keychain_->preset("ZefaSDK", "keychainId", "K");
    const ZefaStaticInfo info("G");
    EXPECT_EQ(info.sessionId, row.suffix) << row.name;
  }
}

TEST_F(ZefaStaticInfoTest, StopsOnATimeWithoutAnIntegerForm) {
  for (const double now : {std::nan(""), 1e300, -std::numeric_limits<double>::infinity()}) {
    clock_->setNow(now);
    EXPECT_DEATH(ZefaStaticInfo("G"), "not a finite 64-bit number") << now;
  }
}

TEST_F(ZefaStaticInfoTest, StopsOnAHighBitByteInTheMachineField) {
  device_->machineField = "iPhone\xe2\x84\xa2";
  EXPECT_DEATH(ZefaStaticInfo("G"), "outside ASCII");
}

TEST(ZefaStaticInfoCoding, DecodesPresentMembersAndRefusesWrongKinds) {
  const struct {
    const char* name;
    const char* json;
    bool decodes;
    const char* reencoded;  // the decoded record written back, when it decodes
  } rows[] = {
      {"empty object: every field absent", "{}", true, "{}"},
      {"null leaves a field absent", R"({"pn":null,"isVpn":null})", true, "{}"},
      {"unknown members are ignored", R"({"pn":"a","extra":[1,{"x":2}],"isProxy":-1})", true,
       R"({"pn":"a","isProxy":-1})"},
      {"members come back in field order", R"({"isVpn":0,"gameName":"g","band":"b"})", true,
       R"({"gameName":"g","band":"b","isVpn":0})"},
      {"empty texts stay present", R"({"uid":"","android_id":"","network":""})", true,
       R"({"uid":"","android_id":"","network":""})"},
      {"largest integer", R"({"isVpn":9223372036854775807})", true,
       R"({"isVpn":9223372036854775807})"},
      {"text holding digits where an integer belongs", R"({"isVpn":"1"})", false, nullptr},
      {"a number where text belongs", R"({"pn":5})", false, nullptr},
      {"a fraction where an integer belongs", R"({"isProxy":1.5})", false, nullptr},
      {"a whole float where an integer belongs", R"({"isProxy":1.0})", false, nullptr},
      {"an integer beyond 64 signed bits", R"({"isVpn":9223372036854775808})", false, nullptr},
      {"a boolean where text belongs", R"({"gameName":true})", false, nullptr},
      {"an object where text belongs", R"({"model":{}})", false, nullptr},
      {"a boolean where an integer belongs", R"({"isVpn":false})", false, nullptr},
      {"one bad member spoils the record", R"({"pn":"ok","sessionId":1})", false, nullptr},
      {"not an object", R"(["gameName"])", false, nullptr},
  };
  ZefaLogCapture capture(false);  // refusals are logged; keep them off the test output
  for (const auto& row : rows) {
    const std::optional<ZefaStaticInfo> info =
        ZefaSDKUtils::jsonStringToModel<ZefaStaticInfo>(row.json);
    ASSERT_EQ(info.has_value(), row.decodes) << row.name;
    if (info) {
      EXPECT_EQ(ZefaSDKUtils::modelToJsonString(*info), row.reencoded) << row.name;
    }
  }
}

TEST(ZefaStaticInfoCoding, AbsentFieldsAreLeftOutNotWrittenAsNull) {
  std::optional<ZefaStaticInfo> info = ZefaSDKUtils::jsonStringToModel<ZefaStaticInfo>("{}");
  ASSERT_TRUE(info);
  info->isProxy = 1;
  info->sessionId = "s";
  EXPECT_EQ(info->toJson(), ZefaJson::parse(R"({"sessionId":"s","isProxy":1})"));
  EXPECT_FALSE(info->toJson().contains("isVpn"));
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
  const std::optional<ZefaStaticInfo> read =
      ZefaUserDefaults::standard().model<ZefaStaticInfo>("static");
  ASSERT_TRUE(read);
  EXPECT_EQ(read->gameName, "Child");
  EXPECT_EQ(read->sessionId, std::string(kVendor) + "_1700000000_42");
  EXPECT_EQ(read->isVpn, 1);
  // The parent's state was copied by fork(), so its own record matches field for field.
  EXPECT_EQ(read->toJson(), ZefaStaticInfo("Child").toJson());
  // A key holding another shape of record gives nothing.
  ZefaUserDefaults::standard().setValue(R"({"isVpn":"yes"})", "other");
  ZefaLogCapture capture(false);
  EXPECT_EQ(ZefaUserDefaults::standard().model<ZefaStaticInfo>("other"), std::nullopt);
}

}  // namespace
