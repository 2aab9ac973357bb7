#include "platform/linux/ZefaLinuxDevice.h"

#include <gtest/gtest.h>
#include <net/if.h>
#include <systemd/sd-id128.h>

#include <algorithm>
#include <list>
#include <regex>
#include <set>

#include "platform/ZefaDeviceText.h"
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
  EXPECT_EQ(hex(ZefaLinuxDevice::vendorKey("a")), "d228cb696f1a8caf78912b704e4a8964");
  EXPECT_EQ(ZefaDeviceText::vendorOf("com.zefa.game"), "com.zefa");
  EXPECT_EQ(ZefaDeviceText::vendorOf("single"), "single");
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

// "HTTPProxy" is the proxy libcurl takes for an http:// address: http_proxy, else all_proxy, else
// ALL_PROXY, never HTTP_PROXY, none under no_proxy=*. Empty counts as unset; the port is optional.
TEST_F(ZefaLinuxDeviceTest, HttpProxyIsTheOneTheTransportUses) {
  const char* const names[] = {"http_proxy", "HTTP_PROXY", "all_proxy", "ALL_PROXY", "no_proxy"};
  // The values of `names` (null: unset), then the host and port entries (null: no such entry).
  const std::tuple<std::array<const char*, 5>, ZefaJson, ZefaJson> rows[] = {
      {{}, nullptr, nullptr},
      {{"http://proxy.lan:3128/"}, "proxy.lan", 3128},
      {{nullptr, "http://upper:2"}, nullptr, nullptr},
      {{"", "http://upper:2", "socks5://all:1080"}, "all", 1080},
      {{nullptr, nullptr, nullptr, "ALL:1"}, "ALL", 1},
      {{"http://lower:1", nullptr, "all:2", "ALL:3"}, "lower", 1},
      {{"http://lower:1", nullptr, nullptr, nullptr, "*"}, nullptr, nullptr},
      {{"http://lower:1", nullptr, nullptr, nullptr, "example.com"}, "lower", 1},
      {{"http://user:pw@host.example"}, "host.example", nullptr},
      {{"http://[::1]:3128"}, "::1", 3128},
      {{"http://"}, nullptr, nullptr},
  };
  ScopedEnv upperNoProxy("NO_PROXY", nullptr);
  for (const auto& [values, host, port] : rows) {
    std::list<ScopedEnv> environment;
    for (size_t i = 0; i < values.size(); ++i) environment.emplace_back(names[i], values[i]);
    const ZefaJson settings = *device_.proxySettings();
    EXPECT_EQ(settings.value("HTTPProxy", ZefaJson()), host) << testing::PrintToString(values);
    EXPECT_EQ(settings.value("HTTPPort", ZefaJson()), port) << testing::PrintToString(values);
  }
}

}  // namespace
