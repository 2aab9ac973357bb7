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

// Proxy settings whose scoped entry names these interfaces.
std::optional<ZefaJsonObject> scoped(const std::vector<std::string>& interfaces) {
  ZefaFakeDevice device;
  device.setInterfaces(interfaces);
  return device.proxy;
}

TEST_F(ZefaSDKUtilsDeviceTest, IsVpnLooksForTunnelNamesAndIsProxyForAnHttpProxy) {
  using O = ZefaJsonObject;
  // Name, proxy settings, isVpn(), isProxy().
  const std::tuple<const char*, std::optional<ZefaJsonObject>, int64_t, int64_t> rows[] = {
      {"utun3 holds tun", scoped({"en0", "utun3"}), 1, 0},
      {"no tunnel name", scoped({"en0", "pdp_ip0"}), 0, 0},
      {"case-sensitive", scoped({"TUN0"}), 0, 0},
      {"ppp", scoped({"ppp0"}), 1, 0},
      {"ipsec", scoped({"ipsec1"}), 1, 0},
      {"tap", scoped({"tap0"}), 1, 0},
      {"no settings at all", std::nullopt, -1, -1},
      {"no scoped entry", O{}, 0, 0},
      {"scoped entry that is a list", O{{"__SCOPED__", ZefaJsonArray{"tun0"}}}, 0, 0},
      {"HTTP proxy, enable flag not read", O{{"HTTPEnable", 0}, {"HTTPProxy", "p"}}, 0, 1},
      {"only HTTPS and SOCKS proxies", O{{"HTTPSProxy", "p"}, {"SOCKSProxy", "s"}}, 0, 0},
  };
  for (const auto& [name, settings, vpn, proxy] : rows) {
    device_->proxy = settings;
    EXPECT_EQ(ZefaSDKUtils::isVpn(), vpn) << name;
    EXPECT_EQ(ZefaSDKUtils::isProxy(), proxy) << name;
  }
}

// Zero bytes anywhere are skipped; a byte with the high bit set stops the program.
TEST_F(ZefaSDKUtilsDeviceTest, RawModelSkipsZeroBytesAndStopsOnHighBitBytes) {
  for (const auto& [field, model] : std::initializer_list<std::pair<std::string, const char*>>{
           {std::string("x86_64") + std::string(59, '\0'), "x86_64"},
           {std::string("iPh\0one15,2\0\0", 13), "iPhone15,2"},
           {std::string(65, '\0'), ""},
           {"\x80x86", nullptr},
           {std::string("arm\0\xff", 5), nullptr},
       }) {
    device_->machineField = field;
    if (model) {
      EXPECT_EQ(ZefaSDKUtils::getDeviceVersionWithRaw(), model);
    } else {
      EXPECT_DEATH(ZefaSDKUtils::getDeviceVersionWithRaw(), "outside ASCII");
    }
  }
}

}  // namespace
