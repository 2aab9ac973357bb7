#pragma once
// What a Linux machine says about itself: a per-vendor identifier derived from systemd's machine
// id, the host name, os-release's VERSION_ID, uname's machine field, and the network's proxy
// configuration (the proxy the HTTP transport uses plus one scoped entry per network interface).
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaDevice.h"

class ZEFA_EXPORT ZefaLinuxDevice final : public ZefaDevice {
 public:
  // The vendor is the bundle identifier's part before its last "." ("com.zefa" of
  // "com.zefa.game"); without a bundle identifier it is "".
  std::optional<std::string> identifierForVendor() override;
  std::string advertisingIdentifier() override;  // all zeros: there is no advertising id here
  std::string name() override;                   // the host name
  std::string systemVersion() override;          // VERSION_ID of os-release, "" without one
  std::string machine() override;
  // "HTTPProxy" (host) and "HTTPPort" of the proxy libcurl uses for an http:// address
  // (http_proxy, else all_proxy, else ALL_PROXY; never HTTP_PROXY; none when no_proxy is "*");
  // "__SCOPED__" holds one object per network interface name. None when the interface list
  // cannot be read.
  std::optional<ZefaJsonObject> proxySettings() override;

  // The 128-bit application key under which the machine id is hashed for `vendor` (FNV-1a 128
  // of its bytes): stable across runs and machines, different per vendor.
  static std::array<uint8_t, 16> vendorKey(std::string_view vendor);
  // The value of `key` in os-release text, quotes and escapes removed; none when absent.
  static std::optional<std::string> osReleaseValue(std::string_view text, std::string_view key);
  // Interface names from getifaddrs, each once, in the order the system lists them.
  static std::optional<std::vector<std::string>> interfaceNames();
};
