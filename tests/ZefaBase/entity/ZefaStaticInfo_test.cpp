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
#include "tests/support/ZefaLogCapture.h"

static_assert(!std::is_default_constructible_v<ZefaStaticInfo>,
              "a record is made only from a game name or by decoding");

namespace {

// Installs every given service on the platform.
void install(const auto&... services) { (ZefaPlatform::current().install(services), ...); }

const std::string kVendor = "6F9619FF-8B86-D011-B42D-00C04FC964FF";
const std::regex kTunnel("tap|tun|ppp|ipsec");
const std::string kInit = "[I][ZefaStaticInfo][init(_:)](37):Zefa[Swift]-> static info init --> ";

// Built from the machine's real services; every field is compared with a reading made without
// the library.
TEST(ZefaStaticInfoOnThisMachine, DescribesTheMachineItRunsOn) {
  ZefaTempDirectory bundleDir, keyDir;
  bundleDir.write("Info.json", R"({"CFBundleIdentifier":"com.zefa.static",)"
                               R"("CFBundleShortVersionString":"4.5.6"})");
  install(std::make_shared<ZefaDirectoryBundle>(bundleDir.path()),
          std::make_shared<ZefaSqliteKeychain>(keyDir.path()), std::make_shared<ZefaLinuxDevice>(),
          std::make_shared<ZefaSystemClock>());
  ScopedEnv proxy("http_proxy", "http://127.0.0.1:3128");
  const int64_t before = std::time(nullptr);
  const ZefaStaticInfo info("MyGame");
  const int64_t after = std::time(nullptr);
  ZefaPlatform::current().reset();

  EXPECT_EQ(info.gameName, "MyGame");
  EXPECT_EQ(info.pn, "com.zefa.static");
  EXPECT_EQ(info.appVersion, "4.5.6");
  EXPECT_EQ(info.idfa, "00000000-0000-0000-0000-000000000000");
  utsname names{};
  ASSERT_EQ(uname(&names), 0);
  EXPECT_EQ(info.model, std::string(names.machine));
  EXPECT_EQ(info.deviceName, std::string(names.nodename));
  EXPECT_EQ(info.systemVersion,
            shellOutput(". /etc/os-release 2>/dev/null || . /usr/lib/os-release;"
                        " printf '%s\\n' \"$VERSION_ID\""));
  bool tunnel = false;
  struct if_nameindex* list = if_nameindex();
  for (auto* i = list; i && i->if_index; ++i) tunnel |= std::regex_search(i->if_name, kTunnel);
  if_freenameindex(list);
  EXPECT_EQ(info.isVpn, tunnel ? 1 : 0);
  EXPECT_EQ(info.isProxy, 1) << "http_proxy was set";
  sd_id128_t machine{};
  EXPECT_EQ(info.idfv.has_value(), sd_id128_get_machine(&machine) >= 0) << "from the machine id";
  EXPECT_EQ(info.deviceid, info.idfv) << "nothing under ZefaSDK: the vendor id";
  std::smatch match;
  ASSERT_TRUE(std::regex_match(*info.sessionId, match, std::regex("(.*)_(-?\\d+)_(\\d+)")));
  EXPECT_EQ(match[1].str(), info.idfv.value_or(""));
  EXPECT_GE(std::stoll(match[2].str()), before);
  EXPECT_LE(std::stoll(match[2].str()), after);
  EXPECT_LT(std::stoi(match[3].str()), 100);
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
// null removes a member); encoding keeps the field order.
TEST_F(ZefaStaticInfoTest, FillsEveryFieldInOrderOrLeavesItAbsent) {
  const std::string v = kVendor, none = kInit + "idfv is ; keyChainId is ";
  const std::string k = "[I][ZefaSDKUtils][keyChainId()](";
  const std::vector<std::string> saved{
      k + "77):Zefa[Swift]-> save success to keychainId " + v + ";",
      kInit + "idfv is " + v + "; keyChainId is " + v + ";"};
  const std::string e72 = "[E][ZefaSDKUtils][keyChainId()](72):Zefa[Swift]-> get keychainId failed";
  const ZefaJson full = ZefaJson::parse(
      R"({"gameName":"G","pn":"com.zefa.game","appVersion":"2.3.1","deviceid":")" + v +
      R"(","platform":"ios","idfa":"00000000-0000-0000-0000-000000000000","uid":"","sessionId":")" +
      v + R"(_1700000000_7","idfv":")" + v +
      R"(","android_id":"","band":"apple","model":"iPhone15,2","deviceName":"Test Phone",)"
      R"("systemVersion":"17.2","network":"","isVpn":1,"isProxy":0})");
  const std::string i82 = k + "82):Zefa[Swift]-> find keychain form keychain K;";
  const char* anonymous = R"({"deviceid":null,"sessionId":"_1700000000_7","idfv":null})";
  const char* keptId = R"({"deviceid":"K","sessionId":"_1700000000_7","idfv":null})";
  const char* bare = R"({"pn":"","appVersion":null,"isVpn":-1,"isProxy":-1})";
  const struct {
    const char* name;
    bool vendor, info, proxy;
    std::optional<std::string> kept;  // under ZefaSDK
    std::vector<std::string> log;
    const char* patch;
  } rows[] = {
      {"everything present", true, true, true, {}, saved, "{}"},
      {"no vendor id", false, true, true, {}, {e72, none + ";"}, anonymous},
      {"no vendor id, a kept id", false, true, true, "K", {i82, none + "K;"}, keptId},
      {"no dictionary, no proxy settings", true, false, false, {}, saved, bare},
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
    EXPECT_EQ(capture.entries(), row.log) << row.name;
    ZefaJson expected = full;
    expected.merge_patch(ZefaJson::parse(row.patch));
    EXPECT_EQ(ZefaSDKUtils::modelToJsonString(info), expected.dump()) << row.name;
  }
}

// The seconds are truncated and printed as a 32-bit number; a time with no integer form stops.
TEST_F(ZefaStaticInfoTest, SessionIdPrintsSecondsAsA32BitNumber) {
  device_->vendorIdentifier.reset();
  for (const auto& [now, draw, expected] :
       std::initializer_list<std::tuple<double, uint32_t, const char*>>{
           {1700000000.9, 99, "_1700000000_99"},
           {2147483648.0, 0, "_-2147483648_0"},
           {4294967301.5, 3, "_5_3"},
           {-1.5, 1, "_-1_1"},
           {std::nan(""), 0, nullptr},
           {1e300, 0, nullptr},
           {-HUGE_VAL, 0, nullptr},
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

// Through the user defaults on disk; fork() copies the fakes, so both processes make equal records.
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
  EXPECT_EQ(read->toJson(), ZefaStaticInfo("Child").toJson());
}

}  // namespace
