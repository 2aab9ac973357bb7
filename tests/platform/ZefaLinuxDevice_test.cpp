#include "platform/linux/ZefaLinuxDevice.h"

#include <gtest/gtest.h>
#include <net/if.h>
#include <systemd/sd-id128.h>

#include <algorithm>
#include <regex>
#include <set>

#include "platform/ZefaPlatform.h"
#include "platform/testing/ZefaFakeBundle.h"
#include "tests/platform/ZefaTestMachine.h"

namespace {

std::string hex(const std::array<uint8_t, 16>& bytes) {
  std::string text;
  for (const uint8_t b : bytes) text += {"0123456789abcdef"[b >> 4], "0123456789abcdef"[b & 15]};
  return text;
}

class ZefaLinuxDeviceTest : public testing::Test {
 protected:
  void SetUp() override { ZefaPlatform::current().install(bundle_); }
  void TearDown() override { ZefaPlatform::current().reset(); }
  std::shared_ptr<ZefaFakeBundle> bundle_ = std::make_shared<ZefaFakeBundle>();
  ZefaLinuxDevice device_;
};

TEST_F(ZefaLinuxDeviceTest, OsReleaseValuesLoseQuotesAndEscapes) {
  const std::pair<const char*, std::optional<std::string>> rows[] = {
      {"NAME=x\nVERSION_ID=\"12\"\n", "12"}, {"VERSION_ID='22.04'", "22.04"},
      {"VERSION_ID=39\r\n", "39"},           {R"(VERSION_ID="a\"b")", "a\"b"},
      {"VERSION_ID_LIKE=1", std::nullopt},   {"VERSION_ID=1\nVERSION_ID=2", "2"},
  };
  for (const auto& [text, value] : rows) {
    EXPECT_EQ(ZefaLinuxDevice::osReleaseValue(text, "VERSION_ID"), value) << text;
  }
}

// The vendor identifier is systemd's app-specific machine id under the FNV-1a 128 key of the
// bundle identifier's vendor part.
TEST_F(ZefaLinuxDeviceTest, VendorIdentifierIsTheAppSpecificMachineIdPerVendor) {
  EXPECT_EQ(hex(ZefaLinuxDevice::vendorKey("")), "6c62272e07bb014262b821756295c58d");
  EXPECT_EQ(hex(ZefaLinuxDevice::vendorKey("a")), "d228cb696f1a8caf78912b704e4a8964");
  EXPECT_EQ(ZefaLinuxDevice::vendorOf("com.zefa.game"), "com.zefa");
  EXPECT_EQ(ZefaLinuxDevice::vendorOf("single"), "single");
  bundle_->identifier = "com.zefa.game";
  sd_id128_t machine{};
  if (sd_id128_get_machine(&machine) < 0) {
    EXPECT_EQ(device_.identifierForVendor(), std::nullopt) << "no machine id, no identifier";
    return;
  }
  const std::optional<std::string> game = device_.identifierForVendor();
  ASSERT_TRUE(game);
  EXPECT_TRUE(std::regex_match(*game, std::regex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}")));
  bundle_->identifier = "com.zefa.other";
  EXPECT_EQ(device_.identifierForVendor(), game) << "same vendor, same identifier";
  bundle_->identifier = "org.elsewhere.game";
  EXPECT_NE(device_.identifierForVendor(), game) << "another vendor";
  std::optional<std::string> tool = shellOutput(
      "systemd-id128 machine-id -u --app-specific=" + hex(ZefaLinuxDevice::vendorKey("com.zefa")) +
      " 2>/dev/null");
  if (!tool) GTEST_SKIP() << "systemd-id128 is not installed; the cross-check needs it";
  std::transform(tool->begin(), tool->end(), tool->begin(), ::toupper);
  EXPECT_EQ(game, tool);
}

TEST_F(ZefaLinuxDeviceTest, ScopedEntriesAreTheMachinesInterfaces) {
  std::set<std::string> expected, scoped;
  struct if_nameindex* list = if_nameindex();
  for (auto* i = list; i && i->if_index; ++i) expected.insert(i->if_name);
  if_freenameindex(list);
  const std::optional<ZefaJsonObject> settings = device_.proxySettings();
  ASSERT_TRUE(settings);
  for (const auto& entry : settings->at("__SCOPED__").items()) scoped.insert(entry.key());
  EXPECT_EQ(scoped, expected);
}

// http_proxy wins over HTTP_PROXY unless it is empty; the port is optional.
TEST_F(ZefaLinuxDeviceTest, HttpProxyFollowsTheEnvironmentConvention) {
  // http_proxy, HTTP_PROXY, the host and port entries (null: no such entry).
  const std::tuple<const char*, const char*, ZefaJson, ZefaJson> rows[] = {
      {nullptr, nullptr, nullptr, nullptr},
      {"http://proxy.lan:3128/", nullptr, "proxy.lan", 3128},
      {nullptr, "10.0.0.1:8080", "10.0.0.1", 8080},
      {"http://lower:1", "http://upper:2", "lower", 1},
      {"", "http://upper:2", "upper", 2},
      {"http://user:pw@host.example", nullptr, "host.example", nullptr},
      {"http://[::1]:3128", nullptr, "::1", 3128},
      {"http://", nullptr, nullptr, nullptr},
  };
  for (const auto& [lower, upper, host, port] : rows) {
    ScopedEnv lowerCase("http_proxy", lower), upperCase("HTTP_PROXY", upper);
    const ZefaJson settings = *device_.proxySettings();
    EXPECT_EQ(settings.value("HTTPProxy", ZefaJson()), host) << host;
    EXPECT_EQ(settings.value("HTTPPort", ZefaJson()), port) << host;
  }
}

}  // namespace
