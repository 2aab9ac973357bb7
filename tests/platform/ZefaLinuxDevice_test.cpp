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
  for (const uint8_t b : bytes) {
    text.push_back("0123456789abcdef"[b >> 4]);
    text.push_back("0123456789abcdef"[b & 15]);
  }
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
  const struct {
    const char* text;
    std::optional<std::string> expected;
  } rows[] = {
      {"NAME=x\nVERSION_ID=\"12\"\n", "12"}, {"VERSION_ID='22.04'", "22.04"},
      {"VERSION_ID=39\r\n", "39"},           {R"(VERSION_ID="a\"b")", "a\"b"},
      {"VERSION_ID_LIKE=1", std::nullopt},   {"VERSION_ID=1\nVERSION_ID=2", "2"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ZefaLinuxDevice::osReleaseValue(row.text, "VERSION_ID"), row.expected) << row.text;
  }
}

TEST_F(ZefaLinuxDeviceTest, VendorKeyIsFnv1a128OfTheVendor) {
  EXPECT_EQ(hex(ZefaLinuxDevice::vendorKey("")), "6c62272e07bb014262b821756295c58d");
  EXPECT_EQ(hex(ZefaLinuxDevice::vendorKey("a")), "d228cb696f1a8caf78912b704e4a8964");
  EXPECT_EQ(ZefaLinuxDevice::vendorOf("com.zefa.game"), "com.zefa");
  EXPECT_EQ(ZefaLinuxDevice::vendorOf("single"), "single");
}

TEST_F(ZefaLinuxDeviceTest, VendorIdentifierIsTheAppSpecificMachineIdPerVendor) {
  bundle_->identifier = "com.zefa.game";
  sd_id128_t machine{};
  if (sd_id128_get_machine(&machine) < 0) {
    // Without a machine id (minimal containers) there is no vendor identifier.
    EXPECT_EQ(device_.identifierForVendor(), std::nullopt);
    return;
  }
  const std::optional<std::string> game = device_.identifierForVendor();
  ASSERT_TRUE(game);
  EXPECT_TRUE(std::regex_match(
      *game, std::regex("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}")));
  EXPECT_EQ(device_.identifierForVendor(), game) << "stable";
  bundle_->identifier = "com.zefa.other";
  EXPECT_EQ(device_.identifierForVendor(), game) << "same vendor, same identifier";
  bundle_->identifier = "org.elsewhere.game";
  EXPECT_NE(device_.identifierForVendor(), game) << "another vendor";

  // systemd's own tool derives the same identifier from the same key.
  const std::optional<std::string> tool = shellOutput(
      "systemd-id128 machine-id -u --app-specific=" + hex(ZefaLinuxDevice::vendorKey("com.zefa")) +
      " 2>/dev/null");
  if (!tool) GTEST_SKIP() << "systemd-id128 is not installed; the cross-check needs it";
  std::string upper = *tool;
  std::transform(upper.begin(), upper.end(), upper.begin(), ::toupper);
  EXPECT_EQ(*game, upper);
}

TEST_F(ZefaLinuxDeviceTest, ScopedEntriesAreTheMachinesInterfaces) {
  std::set<std::string> expected;
  struct if_nameindex* list = if_nameindex();
  ASSERT_NE(list, nullptr);
  for (struct if_nameindex* entry = list; entry->if_index != 0; ++entry) {
    expected.insert(entry->if_name);
  }
  if_freenameindex(list);
  const std::optional<ZefaJsonObject> settings = device_.proxySettings();
  ASSERT_TRUE(settings);
  std::set<std::string> scoped;
  for (const auto& entry : settings->at("__SCOPED__").get_ref<const ZefaJsonObject&>()) {
    scoped.insert(entry.first);
  }
  EXPECT_EQ(scoped, expected);
}

TEST_F(ZefaLinuxDeviceTest, HttpProxyFollowsTheEnvironmentConvention) {
  const struct {
    const char* lower;
    const char* upper;
    std::optional<std::string> host;
    std::optional<int64_t> port;
  } rows[] = {
      {nullptr, nullptr, std::nullopt, std::nullopt},
      {"http://proxy.lan:3128/", nullptr, "proxy.lan", 3128},
      {nullptr, "10.0.0.1:8080", "10.0.0.1", 8080},
      {"http://lower:1", "http://upper:2", "lower", 1},
      {"", "http://upper:2", "upper", 2},
      {"http://user:pw@host.example", nullptr, "host.example", std::nullopt},
      {"http://[::1]:3128", nullptr, "::1", 3128},
      {"http://", nullptr, std::nullopt, std::nullopt},
  };
  for (const auto& row : rows) {
    ScopedEnv lower("http_proxy", row.lower);
    ScopedEnv upper("HTTP_PROXY", row.upper);
    const std::optional<ZefaJsonObject> settings = device_.proxySettings();
    ASSERT_TRUE(settings);
    const std::string label =
        std::string(row.lower ? row.lower : "-") + " / " + (row.upper ? row.upper : "-");
    EXPECT_EQ(settings->contains("HTTPProxy") ? settings->at("HTTPProxy") : ZefaJson(),
              row.host ? ZefaJson(*row.host) : ZefaJson())
        << label;
    EXPECT_EQ(settings->contains("HTTPPort") ? settings->at("HTTPPort") : ZefaJson(),
              row.port ? ZefaJson(*row.port) : ZefaJson())
        << label;
  }
}

}  // namespace
