#include <array>

#include "ZefaBase/ZefaFatal.h"
#include "ZefaBase/ZefaSDKUtils.h"
#include "platform/ZefaPlatform.h"

namespace {

// The entry of the proxy settings that holds one dictionary per network interface.
constexpr const char* kScoped = "__SCOPED__";
// The entry that holds the HTTP proxy host.
constexpr const char* kHttpProxy = "HTTPProxy";

}  // namespace

std::string ZefaSDKUtils::getSystemVersion() {
  return ZefaPlatform::current().device().systemVersion();
}

std::string ZefaSDKUtils::getDeviceName() { return ZefaPlatform::current().device().name(); }

std::string ZefaSDKUtils::getDeviceVersionWithRaw() {
  const std::string field = ZefaPlatform::current().device().machine();
  std::string model;
  for (const char byte : field) {
    if (static_cast<signed char>(byte) < 0) {
      ZefaFatal::stop("getDeviceVersionWithRaw(): the machine field holds a byte outside ASCII");
    }
    // Zero bytes are skipped, not taken as the end of the text.
    if (byte != '\0') model.push_back(byte);
  }
  return model;
}

std::string ZefaSDKUtils::getNetworkStatus() { return ""; }

int64_t ZefaSDKUtils::isVpn() {
  const std::optional<ZefaJsonObject> settings = ZefaPlatform::current().device().proxySettings();
  if (!settings) return -1;
  const auto scoped = settings->find(kScoped);
  if (scoped == settings->end() || !scoped->second.is_object()) return 0;
  static constexpr std::array<std::string_view, 5> kTunnelNames{"tap", "tun", "ppp", "ipsec",
                                                                "ipsec0"};
  bool found = false;
  for (const auto& entry : scoped->second.get_ref<const ZefaJsonObject&>()) {
    const std::string& interfaceName = entry.first;
    // Every name is tested against every text; the results are OR-ed, with no early exit.
    for (const std::string_view tunnel : kTunnelNames) {
      found = (interfaceName.find(tunnel) != std::string::npos) || found;
    }
  }
  return found ? 1 : 0;
}

int64_t ZefaSDKUtils::isProxy() {
  const std::optional<ZefaJsonObject> settings = ZefaPlatform::current().device().proxySettings();
  if (!settings) return -1;
  return settings->contains(kHttpProxy) ? 1 : 0;
}
