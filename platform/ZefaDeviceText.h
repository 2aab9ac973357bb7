#pragma once
// Text rules that every platform's device service shares: the vendor part of a bundle
// identifier, UUID text, and the host and port of a proxy address. Header-only and free of any
// system header, so each platform target uses it as it is.
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace ZefaDeviceText {

// The vendor part of a bundle identifier: everything before the last ".", or the whole text.
inline std::string vendorOf(std::string_view bundleIdentifier) {
  const size_t dot = bundleIdentifier.rfind('.');
  if (dot == std::string_view::npos) return std::string(bundleIdentifier);
  return std::string(bundleIdentifier.substr(0, dot));
}

// 16 bytes as upper-case 8-4-4-4-12 UUID text.
inline std::string uuidText(const std::array<uint8_t, 16>& bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(36);
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
    text.push_back(kDigits[bytes[i] >> 4]);
    text.push_back(kDigits[bytes[i] & 0x0f]);
  }
  return text;
}

// Host and port of a proxy address such as "http://user:pw@proxy:3128/" or "[::1]:8080"; none
// when the host is blank.
inline std::optional<std::pair<std::string, std::optional<int64_t>>> proxyAddress(
    std::string_view address) {
  if (const size_t scheme = address.find("://"); scheme != std::string_view::npos) {
    address.remove_prefix(scheme + 3);
  }
  address = address.substr(0, std::min(address.find('/'), address.size()));
  if (const size_t at = address.rfind('@'); at != std::string_view::npos) {
    address.remove_prefix(at + 1);
  }
  std::string_view host = address;
  std::optional<int64_t> port;
  const size_t colon = address.rfind(':');
  const size_t bracket = address.rfind(']');
  if (colon != std::string_view::npos && (bracket == std::string_view::npos || colon > bracket)) {
    host = address.substr(0, colon);
    const std::string_view digits = address.substr(colon + 1);
    int64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error == std::errc() && end == digits.data() + digits.size() && !digits.empty()) {
      port = value;
    }
  }
  if (host.size() >= 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  if (host.empty()) return std::nullopt;
  return std::make_pair(std::string(host), port);
}

}  // namespace ZefaDeviceText
