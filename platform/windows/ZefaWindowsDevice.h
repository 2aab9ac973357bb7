#pragma once
// What a Windows machine says about itself: a per-vendor identifier derived from the machine GUID,
// the computer's DNS host name, the kernel's version, the native processor architecture, and the
// network's proxy configuration (the current user's HTTP proxy plus one scoped entry per network
// adapter).
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaDevice.h"

class ZEFA_EXPORT ZefaWindowsDevice final : public ZefaDevice {
 public:
  // SHA-256 of the machine GUID (HKLM\SOFTWARE\Microsoft\Cryptography\MachineGuid) and the
  // vendor, the bundle identifier's part before its last "." ("com.zefa" of "com.zefa.game", ""
  // without a bundle identifier); none when the machine GUID cannot be read.
  std::optional<std::string> identifierForVendor() override;
  std::string advertisingIdentifier() override;  // all zeros: there is no advertising id here
  std::string name() override;                   // the physical DNS host name
  std::string systemVersion() override;          // "major.minor.build", as "10.0.19045"
  std::string machine() override;                // "x86_64", "arm64", "i686", ...
  // "HTTPEnable", "HTTPProxy" (host) and "HTTPPort" of the current user's proxy for http://
  // addresses, when one is set; "__SCOPED__" holds one object per network adapter, keyed by
  // adapterKey(). None when the adapter list or the proxy configuration cannot be read.
  std::optional<ZefaJsonObject> proxySettings() override;

  // The vendor identifier of `vendor` on the machine of `machineGuid`: the first 16 bytes of
  // SHA-256(machineGuid, a zero byte, vendor), marked as a name-based UUID (version 5, RFC 4122
  // variant), as upper-case UUID text. None when the hash cannot be computed.
  static std::optional<std::string> vendorIdentifier(std::string_view machineGuid,
                                                     std::string_view vendor);
  // The processor architecture name of a PROCESSOR_ARCHITECTURE_* code.
  static std::string architectureName(uint16_t architecture);

  // The scoped key of an adapter, named as Linux names its interfaces so that a VPN check by name
  // reads it alike: "tun<index>" for a tunnel (IF_TYPE_TUNNEL) other than the IPv6 transition
  // tunnels (Teredo, 6to4, ISATAP: "sit<index>", as Linux names them), "ppp<index>" for PPP
  // (IF_TYPE_PPP), "eth", "wlan" and "lo" for Ethernet, Wi-Fi and loopback, "if" for the rest.
  struct Adapter {
    uint32_t interfaceType = 0;  // IF_TYPE_*
    uint32_t tunnelType = 0;     // TUNNEL_TYPE_*, for a tunnel
    uint32_t index = 0;          // the interface index
  };
  static std::string adapterKey(const Adapter& adapter);

  // Host and port of the http:// proxy in a WinHTTP proxy list ("proxy:8080", or per scheme
  // "http=proxy:8080;https=other:443"; entries apart by ";" or blanks, an entry without a scheme
  // serving every scheme). None when the list names no proxy for http://.
  static std::optional<std::pair<std::string, std::optional<int64_t>>> httpProxy(
      std::string_view proxyList);
};
