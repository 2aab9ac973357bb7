#include "platform/windows/ZefaWindowsDevice.h"

#include <gtest/gtest.h>
#include <winsock2.h>

#include <windows.h>

#include <iphlpapi.h>

#include <regex>

namespace {

const std::regex kUuid("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}");

// Tunnels and PPP links get the names ("tun", "ppp") by which the library recognises a VPN; the
// IPv6 transition tunnels that every Windows machine may carry, and ordinary adapters, do not.
TEST(ZefaWindowsDevice, NamesAdaptersSoThatOnlyVpnLinksReadAsVpn) {
  for (const auto& [adapter, key] :
       std::initializer_list<std::pair<ZefaWindowsDevice::Adapter, std::string>>{
           {{IF_TYPE_TUNNEL, TUNNEL_TYPE_OTHER, 12}, "tun12"},
           {{IF_TYPE_TUNNEL, TUNNEL_TYPE_DIRECT, 3}, "tun3"},
           {{IF_TYPE_TUNNEL, TUNNEL_TYPE_IPHTTPS, 4}, "tun4"},
           {{IF_TYPE_PPP, 0, 7}, "ppp7"},
           {{IF_TYPE_TUNNEL, TUNNEL_TYPE_TEREDO, 5}, "sit5"},
           {{IF_TYPE_TUNNEL, TUNNEL_TYPE_6TO4, 6}, "sit6"},
           {{IF_TYPE_TUNNEL, TUNNEL_TYPE_ISATAP, 8}, "sit8"},
           {{IF_TYPE_ETHERNET_CSMACD, 0, 2}, "eth2"},
           {{IF_TYPE_IEEE80211, 0, 9}, "wlan9"},
           {{IF_TYPE_SOFTWARE_LOOPBACK, 0, 1}, "lo1"},
           {{IF_TYPE_PROP_VIRTUAL, 0, 30}, "if30"}}) {
    EXPECT_EQ(ZefaWindowsDevice::adapterKey(adapter), key);
  }
}

TEST(ZefaWindowsDevice, FindsTheHttpProxyInAProxyList) {
  using Proxy = std::optional<std::pair<std::string, std::optional<int64_t>>>;
  for (const auto& [list, proxy] : std::initializer_list<std::pair<std::string, Proxy>>{
           {"proxy:8080", Proxy({"proxy", 8080})},
           {"proxy", Proxy({"proxy", std::nullopt})},
           {"http=h:1;https=s:2", Proxy({"h", 1})},
           {"https=s:2;ftp=f:3", std::nullopt},
           {"https=s:2 any:3", Proxy({"any", 3})},
           {"any:3;http=h:1", Proxy({"h", 1})},
           {"http=http://[::1]:3128/", Proxy({"::1", 3128})},
           {"http=:80", std::nullopt},
           {"", std::nullopt}}) {
    EXPECT_EQ(ZefaWindowsDevice::httpProxy(list), proxy) << list;
  }
}

// The vendor id is a name-based UUID, the same for one vendor on one machine and different for
// another vendor or another machine.
TEST(ZefaWindowsDevice, DerivesAStableIdentifierPerVendorAndMachine) {
  const std::string machine = "0f6a4b2c-3d1e-4f5a-8b9c-0d1e2f3a4b5c";
  const auto id = ZefaWindowsDevice::vendorIdentifier(machine, "com.zefa");
  ASSERT_TRUE(id);
  EXPECT_TRUE(std::regex_match(*id, kUuid)) << *id;
  EXPECT_EQ(id->at(14), '5') << "version 5";
  EXPECT_NE(std::string("89AB").find(id->at(19)), std::string::npos) << "RFC 4122 variant";
  EXPECT_EQ(ZefaWindowsDevice::vendorIdentifier(machine, "com.zefa"), id);
  EXPECT_NE(ZefaWindowsDevice::vendorIdentifier(machine, "com.other"), id);
  EXPECT_NE(ZefaWindowsDevice::vendorIdentifier(machine, ""), id);
  EXPECT_NE(ZefaWindowsDevice::vendorIdentifier("1" + machine.substr(1), "com.zefa"), id);
}

TEST(ZefaWindowsDevice, AnswersInTheShapesTheLibraryExpects) {
  ZefaWindowsDevice device;
  const auto id = device.identifierForVendor();
  ASSERT_TRUE(id) << "the machine GUID is readable";
  EXPECT_TRUE(std::regex_match(*id, kUuid)) << *id;
  EXPECT_EQ(device.identifierForVendor(), id);
  EXPECT_EQ(device.advertisingIdentifier(), "00000000-0000-0000-0000-000000000000");
  EXPECT_FALSE(device.name().empty());
  EXPECT_TRUE(std::regex_match(device.systemVersion(), std::regex("[0-9]+\\.[0-9]+\\.[0-9]+")))
      << device.systemVersion();
  EXPECT_EQ(device.machine(), "x86_64") << "the build machine's processor";
  EXPECT_EQ(ZefaWindowsDevice::architectureName(PROCESSOR_ARCHITECTURE_ARM64), "arm64");
  EXPECT_EQ(ZefaWindowsDevice::architectureName(PROCESSOR_ARCHITECTURE_INTEL), "i686");

  const auto settings = device.proxySettings();
  ASSERT_TRUE(settings);
  ASSERT_TRUE(settings->contains("__SCOPED__"));
  const ZefaJson& scoped = settings->at("__SCOPED__");
  ASSERT_TRUE(scoped.is_object());
  EXPECT_TRUE(scoped.contains("lo1")) << scoped.dump() << ": the loopback adapter";
}

}  // namespace
