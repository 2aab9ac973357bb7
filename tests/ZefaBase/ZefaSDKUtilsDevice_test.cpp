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
    const char* name;
    std::vector<std::string> interfaces;
    int64_t expected;
  } rows[] = {
      {"Wi-Fi and a user tunnel", {"en0", "utun3"}, 1},
      {"Wi-Fi and cellular", {"en0", "pdp_ip0"}, 0},
      {"upper-case TUN does not match", {"TUN0"}, 0},
      {"ppp matches", {"ppp0"}, 1},
      {"ipsec1 matches through ipsec", {"ipsec1"}, 1},
      {"ipsec0 matches", {"ipsec0"}, 1},
      {"tap matches", {"tap0"}, 1},
      {"a match in the middle of a name", {"my-tunnel"}, 1},
      {"the match need not be the first key", {"lo", "en0", "eth1", "wg-tun"}, 1},
      {"no interfaces", {}, 0},
      {"loopback and ethernet", {"lo", "eth0", "wlp2s0"}, 0},
  };
  for (const auto& row : rows) {
    device_->setInterfaces(row.interfaces);
    EXPECT_EQ(ZefaSDKUtils::isVpn(), row.expected) << row.name;
  }
}

TEST_F(ZefaSDKUtilsDeviceTest, IsVpnAndIsProxyReadTheSettingsShape) {
  const struct {
    const char* name;
    std::optional<ZefaJsonObject> settings;
    int64_t vpn;
    int64_t proxy;
  } rows[] = {
      {"no settings at all", std::nullopt, -1, -1},
      {"empty settings", ZefaJsonObject{}, 0, 0},
      {"scoped entry that is not a dictionary", ZefaJsonObject{{"__SCOPED__", "tun0"}}, 0, 0},
      {"scoped entry that is a list", ZefaJsonObject{{"__SCOPED__", ZefaJsonArray{"tun0"}}}, 0, 0},
      {"HTTP proxy host, whatever the enable flag",
       ZefaJsonObject{{"HTTPEnable", 0}, {"HTTPProxy", "proxy.lan"}}, 0, 1},
      {"only HTTPS and SOCKS proxies",
       ZefaJsonObject{{"HTTPSProxy", "p"}, {"SOCKSProxy", "s"}, {"ProxyAutoConfigURLString", "u"}},
       0, 0},
      {"both",
       ZefaJsonObject{{"HTTPProxy", "p"},
                      {"__SCOPED__", ZefaJsonObject{{"ppp0", ZefaJsonObject{}}}}},
       1, 1},
  };
  for (const auto& row : rows) {
    device_->proxy = row.settings;
    EXPECT_EQ(ZefaSDKUtils::isVpn(), row.vpn) << row.name;
    EXPECT_EQ(ZefaSDKUtils::isProxy(), row.proxy) << row.name;
  }
}

TEST_F(ZefaSDKUtilsDeviceTest, RawModelSkipsZeroBytes) {
  const struct {
    const char* name;
    std::string field;
    std::string expected;
  } rows[] = {
      {"NUL-terminated text", std::string("x86_64") + std::string(59, '\0'), "x86_64"},
      {"zero bytes inside are skipped", std::string("iPh\0one15,2\0\0", 13), "iPhone15,2"},
      {"all zeros", std::string(65, '\0'), ""},
      {"no zero byte", "aarch64", "aarch64"},
  };
  for (const auto& row : rows) {
    device_->machineField = row.field;
    EXPECT_EQ(ZefaSDKUtils::getDeviceVersionWithRaw(), row.expected) << row.name;
  }
}

TEST_F(ZefaSDKUtilsDeviceTest, RawModelStopsOnAByteOutsideAscii) {
  const struct {
    const char* name;
    std::string field;
  } rows[] = {
      {"high bit at the start", std::string("\x80x86", 4)},
      {"UTF-8 letter", "caf\xc3\xa9"},
      {"0xFF after the terminator", std::string("arm\0\xff", 5)},
  };
  for (const auto& row : rows) {
    device_->machineField = row.field;
    EXPECT_DEATH(ZefaSDKUtils::getDeviceVersionWithRaw(), "outside ASCII") << row.name;
  }
}

TEST_F(ZefaSDKUtilsDeviceTest, NamesComeFromTheDeviceUnchanged) {
  device_->deviceName = "  Anna's Phone  ";
  device_->version = "17.2.1";
  EXPECT_EQ(ZefaSDKUtils::getDeviceName(), "  Anna's Phone  ");
  EXPECT_EQ(ZefaSDKUtils::getSystemVersion(), "17.2.1");
  EXPECT_EQ(ZefaSDKUtils::getNetworkStatus(), "");
  EXPECT_EQ(device_->calls, (std::vector<std::string>{"name", "systemVersion"}))
      << "the network status consults nothing";
}

}  // namespace
