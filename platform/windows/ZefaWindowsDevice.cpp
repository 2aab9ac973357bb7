#include "platform/windows/ZefaWindowsDevice.h"

// winsock2.h comes before windows.h, and windows.h before the other system headers.
#include <winsock2.h>

#include <windows.h>

#include <bcrypt.h>
#include <iphlpapi.h>
#include <winhttp.h>
#include <ws2tcpip.h>

#include <memory>
#include <vector>

#include "platform/ZefaDeviceText.h"
#include "platform/ZefaPlatform.h"
#include "platform/windows/ZefaWideText.h"

// The kernel's own version: GetVersionEx answers what the program's manifest claims instead.
extern "C" NTSTATUS NTAPI RtlGetVersion(PRTL_OSVERSIONINFOW versionInformation);

namespace {

std::optional<std::wstring> registryText(HKEY root, const wchar_t* subKey, const wchar_t* name) {
  const DWORD flags = RRF_RT_REG_SZ | RRF_SUBKEY_WOW6464KEY;
  DWORD size = 0;
  if (RegGetValueW(root, subKey, name, flags, nullptr, nullptr, &size) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  std::wstring text(size / sizeof(wchar_t) + 1, L'\0');
  size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
  if (RegGetValueW(root, subKey, name, flags, nullptr, text.data(), &size) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  text.resize(wcsnlen(text.c_str(), size / sizeof(wchar_t)));
  return text;
}

std::optional<std::array<uint8_t, 32>> sha256(std::string_view data) {
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  if (!BCRYPT_SUCCESS(
          BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0))) {
    return std::nullopt;
  }
  std::array<uint8_t, 32> digest{};
  BCRYPT_HASH_HANDLE hash = nullptr;
  bool done = BCRYPT_SUCCESS(BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0));
  if (done) {
    done =
        BCRYPT_SUCCESS(BCryptHashData(hash,
                                      reinterpret_cast<PUCHAR>(const_cast<char*>(data.data())),
                                      static_cast<ULONG>(data.size()), 0)) &&
        BCRYPT_SUCCESS(BCryptFinishHash(hash, digest.data(), static_cast<ULONG>(digest.size()), 0));
    BCryptDestroyHash(hash);
  }
  BCryptCloseAlgorithmProvider(algorithm, 0);
  if (!done) return std::nullopt;
  return digest;
}

// The current user's WinHTTP proxy list; "" when none is set, none when it cannot be read.
std::optional<std::wstring> currentUserProxyList() {
  WINHTTP_CURRENT_USER_IE_PROXY_CONFIG config{};
  if (!WinHttpGetIEProxyConfigForCurrentUser(&config)) {
    // No settings stored for this user is no proxy, not unreadable settings.
    if (GetLastError() == ERROR_FILE_NOT_FOUND) return std::wstring();
    return std::nullopt;
  }
  std::wstring list = config.lpszProxy != nullptr ? config.lpszProxy : L"";
  for (LPWSTR text : {config.lpszAutoConfigUrl, config.lpszProxy, config.lpszProxyBypass}) {
    if (text != nullptr) GlobalFree(text);
  }
  return list;
}

// The system's adapters, none when the list cannot be read.
std::optional<std::vector<ZefaWindowsDevice::Adapter>> adapters() {
  const ULONG flags = GAA_FLAG_SKIP_UNICAST | GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST |
                      GAA_FLAG_SKIP_DNS_SERVER | GAA_FLAG_SKIP_FRIENDLY_NAME;
  ULONG size = 16 * 1024;
  std::unique_ptr<uint8_t[]> buffer;
  ULONG status = ERROR_BUFFER_OVERFLOW;
  // The list may grow between the calls; ask a few times.
  for (int attempt = 0; attempt < 4 && status == ERROR_BUFFER_OVERFLOW; ++attempt) {
    buffer = std::make_unique<uint8_t[]>(size);
    status = GetAdaptersAddresses(AF_UNSPEC, flags, nullptr,
                                  reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.get()), &size);
  }
  std::vector<ZefaWindowsDevice::Adapter> result;
  if (status == ERROR_NO_DATA) return result;
  if (status != ERROR_SUCCESS) return std::nullopt;
  for (auto* entry = reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(buffer.get()); entry != nullptr;
       entry = entry->Next) {
    result.push_back({.interfaceType = entry->IfType,
                      .tunnelType = static_cast<uint32_t>(entry->TunnelType),
                      .index = entry->IfIndex != 0 ? entry->IfIndex : entry->Ipv6IfIndex});
  }
  return result;
}

}  // namespace

std::optional<std::string> ZefaWindowsDevice::vendorIdentifier(std::string_view machineGuid,
                                                               std::string_view vendor) {
  std::string input(machineGuid);
  input.push_back('\0');  // the GUID never holds a zero byte: the two parts cannot run together
  input += vendor;
  const std::optional<std::array<uint8_t, 32>> digest = sha256(input);
  if (!digest) return std::nullopt;
  std::array<uint8_t, 16> bytes{};
  std::copy_n(digest->begin(), bytes.size(), bytes.begin());
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0f) | 0x50);  // version 5: name-based
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3f) | 0x80);  // the RFC 4122 variant
  return ZefaDeviceText::uuidText(bytes);
}

std::optional<std::string> ZefaWindowsDevice::identifierForVendor() {
  const std::optional<std::wstring> machineGuid =
      registryText(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Cryptography", L"MachineGuid");
  if (!machineGuid || machineGuid->empty()) return std::nullopt;
  const std::optional<std::string> bundleIdentifier =
      ZefaPlatform::current().bundle().bundleIdentifier();
  return vendorIdentifier(ZefaWideText::toUtf8(*machineGuid),
                          ZefaDeviceText::vendorOf(bundleIdentifier.value_or("")));
}

std::string ZefaWindowsDevice::advertisingIdentifier() {
  return "00000000-0000-0000-0000-000000000000";
}

std::string ZefaWindowsDevice::name() {
  DWORD size = 0;
  GetComputerNameExW(ComputerNamePhysicalDnsHostname, nullptr, &size);
  if (size == 0) return std::string();
  std::wstring host(size, L'\0');
  if (!GetComputerNameExW(ComputerNamePhysicalDnsHostname, host.data(), &size)) {
    return std::string();
  }
  host.resize(size);  // without the terminating zero
  return ZefaWideText::toUtf8(host);
}

std::string ZefaWindowsDevice::systemVersion() {
  RTL_OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (RtlGetVersion(&version) != 0) return std::string();
  return std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) +
         "." + std::to_string(version.dwBuildNumber);
}

std::string ZefaWindowsDevice::architectureName(uint16_t architecture) {
  switch (architecture) {
    case PROCESSOR_ARCHITECTURE_AMD64:
      return "x86_64";
    case PROCESSOR_ARCHITECTURE_ARM64:
      return "arm64";
    case PROCESSOR_ARCHITECTURE_INTEL:
      return "i686";
    case PROCESSOR_ARCHITECTURE_ARM:
      return "armv7l";
    case PROCESSOR_ARCHITECTURE_IA64:
      return "ia64";
    default:
      return "unknown";
  }
}

std::string ZefaWindowsDevice::machine() {
  SYSTEM_INFO info{};
  GetNativeSystemInfo(&info);
  return architectureName(info.wProcessorArchitecture);
}

std::string ZefaWindowsDevice::adapterKey(const Adapter& adapter) {
  const char* prefix = "if";
  switch (adapter.interfaceType) {
    case IF_TYPE_TUNNEL:
      prefix = adapter.tunnelType == TUNNEL_TYPE_TEREDO || adapter.tunnelType == TUNNEL_TYPE_6TO4 ||
                       adapter.tunnelType == TUNNEL_TYPE_ISATAP
                   ? "sit"
                   : "tun";
      break;
    case IF_TYPE_PPP:
      prefix = "ppp";
      break;
    case IF_TYPE_ETHERNET_CSMACD:
      prefix = "eth";
      break;
    case IF_TYPE_IEEE80211:
      prefix = "wlan";
      break;
    case IF_TYPE_SOFTWARE_LOOPBACK:
      prefix = "lo";
      break;
    default:
      break;
  }
  return prefix + std::to_string(adapter.index);
}

std::optional<std::pair<std::string, std::optional<int64_t>>> ZefaWindowsDevice::httpProxy(
    std::string_view proxyList) {
  std::optional<std::string_view> chosen;
  size_t start = 0;
  while (start < proxyList.size()) {
    size_t end = proxyList.find_first_of("; \t", start);
    if (end == std::string_view::npos) end = proxyList.size();
    const std::string_view entry = proxyList.substr(start, end - start);
    start = end + 1;
    if (entry.empty()) continue;
    const size_t equals = entry.find('=');
    if (equals == std::string_view::npos) {
      if (!chosen) chosen = entry;  // serves every scheme, unless an http= entry comes
    } else if (entry.substr(0, equals) == "http") {
      chosen = entry.substr(equals + 1);
      break;
    }
  }
  if (!chosen) return std::nullopt;
  return ZefaDeviceText::proxyAddress(*chosen);
}

std::optional<ZefaJsonObject> ZefaWindowsDevice::proxySettings() {
  const std::optional<std::vector<Adapter>> list = adapters();
  const std::optional<std::wstring> proxyList = currentUserProxyList();
  if (!list || !proxyList) return std::nullopt;
  ZefaJsonObject http;
  if (const auto proxy = httpProxy(ZefaWideText::toUtf8(*proxyList))) {
    http.emplace("HTTPEnable", 1);
    http.emplace("HTTPProxy", proxy->first);
    if (proxy->second) http.emplace("HTTPPort", *proxy->second);
  }
  ZefaJsonObject scoped;
  for (const Adapter& adapter : *list) scoped.emplace(adapterKey(adapter), http);
  ZefaJsonObject settings = http;
  settings.emplace("__SCOPED__", std::move(scoped));
  return settings;
}

std::shared_ptr<ZefaDevice> zefa::platform_defaults::makeDevice() {
  return std::make_shared<ZefaWindowsDevice>();
}
