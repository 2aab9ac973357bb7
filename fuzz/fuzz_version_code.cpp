// Feeds arbitrary short versions to appBundleVersionCode and compares it with the rule computed
// in 128 bits here. Versions that stop the program by design (a component that is not an
// integer, more than ten components, a 64-bit overflow) are kept out by the same reckoning.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "ZefaBase/ZefaSDKUtils.h"
#include "platform/ZefaPlatform.h"
#include "platform/testing/ZefaFakeBundle.h"

namespace {

// The version code by the rule, or none when the version is fatal.
std::optional<int64_t> expectedCode(std::string_view version) {
  constexpr __int128 kMin = INT64_MIN, kMax = INT64_MAX;
  size_t count = 1;
  for (const char c : version) count += c == '.';
  if (count > 10) return std::nullopt;
  __int128 code = 0;
  for (size_t i = 0; i < count; ++i) {
    const std::string_view component = version.substr(0, version.find('.'));
    version.remove_prefix(std::min(version.size(), component.size() + 1));
    std::string_view digits = component;
    const bool negative = !digits.empty() && digits.front() == '-';
    if (!digits.empty() && (digits.front() == '-' || digits.front() == '+'))
      digits.remove_prefix(1);
    if (digits.empty() || digits.size() > 30) return std::nullopt;
    __int128 value = 0;
    for (const char c : digits) {
      if (c < '0' || c > '9') return std::nullopt;
      value = value * 10 + (c - '0');
    }
    if (negative) value = -value;
    if (value < kMin || value > kMax) return std::nullopt;
    __int128 weight = 1;
    for (size_t k = i + 1; k < count; ++k) weight *= 100;
    const __int128 term = value * weight;
    code += term;
    if (term < kMin || term > kMax || code < kMin || code > kMax) return std::nullopt;
  }
  return static_cast<int64_t>(code);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const auto bundle = [] {
    auto fake = std::make_shared<ZefaFakeBundle>();
    ZefaPlatform::current().install(std::static_pointer_cast<ZefaBundle>(fake));
    return fake;
  }();
  const std::string version(reinterpret_cast<const char*>(data), size);
  const std::optional<int64_t> expected = expectedCode(version);
  if (!expected) return 0;
  bundle->info = ZefaJsonObject{{"CFBundleShortVersionString", version}};
  if (ZefaSDKUtils::appBundleVersionCode() != *expected) std::abort();
  return 0;
}
