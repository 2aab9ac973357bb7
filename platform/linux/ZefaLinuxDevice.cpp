#include "platform/linux/ZefaLinuxDevice.h"

#include <ifaddrs.h>
#include <stdlib.h>
#include <sys/utsname.h>
#include <systemd/sd-id128.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>

#include "platform/ZefaDeviceText.h"
#include "platform/ZefaPlatform.h"

namespace {

std::optional<std::string> readText(const char* path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::optional<std::string> environment(const char* name) {
  const char* value = getenv(name);
  if (value == nullptr || value[0] == '\0') return std::nullopt;
  return std::string(value);
}

// The proxy that libcurl, the HTTP transport, takes for an http:// address: http_proxy, else
// all_proxy, else ALL_PROXY. Upper-case HTTP_PROXY is never read (a CGI program gets it from a
// request's "Proxy:" header), and a no_proxy (or NO_PROXY) of "*" turns every proxy off.
std::optional<std::string> httpProxyFromEnvironment() {
  std::optional<std::string> noProxy = environment("no_proxy");
  if (!noProxy) noProxy = environment("NO_PROXY");
  if (noProxy == "*") return std::nullopt;
  for (const char* name : {"http_proxy", "all_proxy", "ALL_PROXY"}) {
    if (std::optional<std::string> address = environment(name)) return address;
  }
  return std::nullopt;
}

}  // namespace

std::array<uint8_t, 16> ZefaLinuxDevice::vendorKey(std::string_view vendor) {
  // FNV-1a with 128-bit state kept as two 64-bit halves; prime = 2^88 + 0x13B.
  uint64_t high = 0x6c62272e07bb0142ULL;
  uint64_t low = 0x62b821756295c58dULL;
  for (const char c : vendor) {
    low ^= static_cast<uint8_t>(c);
    // (high:low) * 0x13B, keeping the carry out of the low half.
    const uint64_t lowLo = low & 0xffffffffULL;
    const uint64_t lowHi = low >> 32;
    const uint64_t partLo = lowLo * 0x13B;
    const uint64_t partHi = lowHi * 0x13B + (partLo >> 32);
    const uint64_t carry = partHi >> 32;
    const uint64_t newLow = (partHi << 32) | (partLo & 0xffffffffULL);
    const uint64_t newHigh = high * 0x13B + carry + (low << 24);  // + (high:low) << 88
    high = newHigh;
    low = newLow;
  }
  std::array<uint8_t, 16> key{};
  for (int i = 0; i < 8; ++i) {
    key[static_cast<size_t>(i)] = static_cast<uint8_t>(high >> (56 - 8 * i));
    key[static_cast<size_t>(8 + i)] = static_cast<uint8_t>(low >> (56 - 8 * i));
  }
  return key;
}

std::optional<std::string> ZefaLinuxDevice::identifierForVendor() {
  const std::optional<std::string> bundleIdentifier =
      ZefaPlatform::current().bundle().bundleIdentifier();
  const std::array<uint8_t, 16> key =
      vendorKey(ZefaDeviceText::vendorOf(bundleIdentifier.value_or("")));
  sd_id128_t appId{};
  std::memcpy(appId.bytes, key.data(), key.size());
  sd_id128_t id{};
  // Fails without /etc/machine-id (minimal containers): then there is no vendor identifier.
  if (sd_id128_get_machine_app_specific(appId, &id) < 0) return std::nullopt;
  std::array<uint8_t, 16> bytes{};
  std::memcpy(bytes.data(), id.bytes, bytes.size());
  return ZefaDeviceText::uuidText(bytes);
}

std::string ZefaLinuxDevice::advertisingIdentifier() {
  return "00000000-0000-0000-0000-000000000000";
}

std::string ZefaLinuxDevice::name() {
  char host[256] = {};
  if (gethostname(host, sizeof host - 1) != 0) return std::string();
  return host;
}

std::optional<std::string> ZefaLinuxDevice::osReleaseValue(std::string_view text,
                                                           std::string_view key) {
  std::optional<std::string> found;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(start, end - start);
    start = end + 1;
    while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.remove_prefix(1);
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.remove_suffix(1);
    if (line.size() <= key.size() || line.substr(0, key.size()) != key || line[key.size()] != '=') {
      continue;
    }
    std::string_view raw = line.substr(key.size() + 1);
    std::string value;
    const char quote = raw.empty() ? '\0' : raw.front();
    if ((quote == '"' || quote == '\'') && raw.size() >= 2 && raw.back() == quote) {
      raw = raw.substr(1, raw.size() - 2);
      for (size_t i = 0; i < raw.size(); ++i) {
        // Inside double quotes a backslash escapes the next character.
        if (quote == '"' && raw[i] == '\\' && i + 1 < raw.size()) ++i;
        value.push_back(raw[i]);
      }
    } else {
      value = std::string(raw);
    }
    found = std::move(value);  // a later assignment wins, as in a shell
  }
  return found;
}

std::string ZefaLinuxDevice::systemVersion() {
  std::optional<std::string> text = readText("/etc/os-release");
  if (!text) text = readText("/usr/lib/os-release");
  if (!text) return std::string();
  return osReleaseValue(*text, "VERSION_ID").value_or("");
}

std::string ZefaLinuxDevice::machine() {
  utsname names;
  std::memset(&names, 0, sizeof names);
  uname(&names);
  return std::string(names.machine, sizeof names.machine);
}

std::optional<std::vector<std::string>> ZefaLinuxDevice::interfaceNames() {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return std::nullopt;
  std::vector<std::string> names;
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_name == nullptr) continue;
    const std::string name = entry->ifa_name;
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  }
  freeifaddrs(list);
  return names;
}

std::optional<ZefaJsonObject> ZefaLinuxDevice::proxySettings() {
  const std::optional<std::vector<std::string>> interfaces = interfaceNames();
  if (!interfaces) return std::nullopt;
  ZefaJsonObject http;
  if (const std::optional<std::string> address = httpProxyFromEnvironment()) {
    if (const auto proxy = ZefaDeviceText::proxyAddress(*address)) {
      http.emplace("HTTPEnable", 1);
      http.emplace("HTTPProxy", proxy->first);
      if (proxy->second) http.emplace("HTTPPort", *proxy->second);
    }
  }
  ZefaJsonObject scoped;
  for (const std::string& name : *interfaces) scoped.emplace(name, http);
  ZefaJsonObject settings = http;
  settings.emplace("__SCOPED__", std::move(scoped));
  return settings;
}

std::shared_ptr<ZefaDevice> zefa::platform_defaults::makeDevice() {
  return std::make_shared<ZefaLinuxDevice>();
}
