#include <gtest/gtest.h>

#include "ZefaBase/ZefaSDKUtils.h"
#include "platform/ZefaPlatform.h"
#include "platform/testing/ZefaFakeDevice.h"

namespace {

class ZefaSDKUtilsDeviceTest : public testing::Test {
 protected:
  void SetUp() override { ZefaPlatform::current().install(device_); }
  void TearDown() override { ZefaPlatform::current().reset(); }
  std::shared_ptr<ZefaFakeDevice> device_ = std::make_shared<ZefaFakeDevice>();
};

TEST_F(ZefaSDKUtilsDeviceTest, IsVpnLooksForTunnelNamesAmongTheInterfaces) {
  const struct {
    std::vector<std::string> interfaces;
    int64_t expected;
  } rows[] = {
      {{"en0", "utun3"}, 1},
      {{"en0", "pdp_ip0"}, 0},
      {{"TUN0"}, 0},  // case-sensitive
      {{"ppp0"}, 1},
      {{"ipsec1"}, 1},
      {{"ipsec0"}, 1},
      {{"tap0"}, 1},
      {{"my-tunnel"}, 1},
      {{"lo", "eth0", "wg-tun"}, 1},
      {{}, 0},
      {{"lo", "eth0", "wlp2s0"}, 0},
  };
  for (const auto& row : rows) {
    device_->setInterfaces(row.interfaces);
    EXPECT_EQ(ZefaSDKUtils::isVpn(), row.expected) << testing::PrintToString(row.interfaces);
  }
}

TEST_F(ZefaSDKUtilsDeviceTest, IsVpnAndIsProxyReadTheSettingsShape) {
  const struct {
    const char* name;
    std::optional<ZefaJsonObject> settings;
    int64_t vpn, proxy;
  } rows[] = {
      {"no settings at all", std::nullopt, -1, -1},
      {"empty settings", ZefaJsonObject{}, 0, 0},
      {"scoped entry that is text", ZefaJsonObject{{"__SCOPED__", "tun0"}}, 0, 0},
      {"scoped entry that is a list", ZefaJsonObject{{"__SCOPED__", ZefaJsonArray{"tun0"}}}, 0, 0},
      {"HTTP proxy whatever the enable flag", ZefaJsonObject{{"HTTPEnable", 0}, {"HTTPProxy", "p"}},
       0, 1},
      {"only HTTPS and SOCKS proxies", ZefaJsonObject{{"HTTPSProxy", "p"}, {"SOCKSProxy", "s"}}, 0,
       0},
  };
  for (const auto& row : rows) {
    device_->proxy = row.settings;
    EXPECT_EQ(ZefaSDKUtils::isVpn(), row.vpn) << row.name;
    EXPECT_EQ(ZefaSDKUtils::isProxy(), row.proxy) << row.name;
  }
}

TEST_F(ZefaSDKUtilsDeviceTest, RawModelSkipsZeroBytesAndStopsOnHighBitBytes) {
  const struct {
    std::string field;
    std::string expected;
  } rows[] = {
      {std::string("x86_64") + std::string(59, '\0'), "x86_64"},
      {std::string("iPh\0one15,2\0\0", 13), "iPhone15,2"},  // zero bytes inside are skipped
      {std::string(65, '\0'), ""},
  };
  for (const auto& row : rows) {
    device_->machineField = row.field;
    EXPECT_EQ(ZefaSDKUtils::getDeviceVersionWithRaw(), row.expected);
  }
  for (const std::string& field :
       {std::string("\x80x86"), std::string("caf\xc3\xa9"), std::string("arm\0\xff", 5)}) {
    device_->machineField = field;
    EXPECT_DEATH(ZefaSDKUtils::getDeviceVersionWithRaw(), "outside ASCII");
  }
}

}  // namespace
