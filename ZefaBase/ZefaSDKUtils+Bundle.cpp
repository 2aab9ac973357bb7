#include <charconv>
#include <vector>

#include "ZefaBase/ZefaFatal.h"
#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/ZefaUtf8.h"
#include "platform/ZefaPlatform.h"

namespace {

// Directories of the bundle searched for resource files, in lookup order. Made once.
const std::vector<std::string>& searchPaths() {
  static const std::vector<std::string> paths{"", "Data/Raw"};
  return paths;
}

// A version component as a base-10 integer: an optional sign, then digits, nothing else.
std::optional<int64_t> parseComponent(std::string_view text) {
  bool negative = false;
  if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  if (text.empty()) return std::nullopt;
  // Parse the magnitude as unsigned so that the most negative value still fits.
  uint64_t magnitude = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  constexpr uint64_t kMax = static_cast<uint64_t>(INT64_MAX);
  if (!negative && magnitude > kMax) return std::nullopt;
  if (negative && magnitude > kMax + 1) return std::nullopt;
  if (negative) return magnitude == kMax + 1 ? INT64_MIN : -static_cast<int64_t>(magnitude);
  return static_cast<int64_t>(magnitude);
}

}  // namespace

std::optional<ZefaJsonObject> ZefaSDKUtils::getMainInfo() {
  return ZefaPlatform::current().bundle().infoDictionary();
}

std::optional<ZefaJson> ZefaSDKUtils::getMainInfoValueForKey(const std::string& key) {
  const std::optional<ZefaJsonObject> info = getMainInfo();
  if (!info) return std::nullopt;
  const auto it = info->find(key);
  if (it == info->end()) return std::nullopt;
  return it->second;
}

std::optional<std::string> ZefaSDKUtils::getMainInfoStringForKey(const std::string& key) {
  const std::optional<ZefaJson> value = getMainInfoValueForKey(key);
  if (!value || !value->is_string()) return std::nullopt;
  return value->get<std::string>();
}

std::optional<std::string> ZefaSDKUtils::appBundleID() {
  return ZefaPlatform::current().bundle().bundleIdentifier().value_or("");
}

std::optional<std::string> ZefaSDKUtils::appBundleShortVersion() {
  return getMainInfoStringForKey("CFBundleShortVersionString");
}

std::optional<std::string> ZefaSDKUtils::appBuildVersion() {
  return getMainInfoStringForKey("CFBundleVersion");
}

int64_t ZefaSDKUtils::appBundleVersionCode() {
  const std::optional<std::string> version = appBundleShortVersion();
  if (!version) return 0;
  std::vector<std::string_view> components;
  std::string_view rest = *version;
  for (;;) {
    const size_t dot = rest.find('.');
    components.push_back(rest.substr(0, dot));
    if (dot == std::string_view::npos) break;
    rest.remove_prefix(dot + 1);
  }
  const size_t count = components.size();
  int64_t code = 0;
  for (size_t i = 0; i < count; ++i) {
    const size_t power = count - 1 - i;
    // 100^9 = 10^18 is the largest power of 100 a 64-bit integer holds.
    if (power > 9) {
      ZefaFatal::stop("appBundleVersionCode(): the version \"" + *version +
                      "\" has too many components for a 64-bit version code");
    }
    int64_t weight = 1;
    for (size_t k = 0; k < power; ++k) weight *= 100;
    const std::optional<int64_t> value = parseComponent(components[i]);
    if (!value) {
      ZefaFatal::stop("appBundleVersionCode(): the version component \"" +
                      std::string(components[i]) + "\" of \"" + *version + "\" is not an integer");
    }
    int64_t term = 0;
    if (__builtin_mul_overflow(*value, weight, &term) ||
        __builtin_add_overflow(code, term, &code)) {
      ZefaFatal::stop("appBundleVersionCode(): the version \"" + *version +
                      "\" overflows a 64-bit version code");
    }
  }
  return code;
}

std::optional<std::string> ZefaSDKUtils::readFile(const std::string& fileName,
                                                  const std::string& subPath) {
  try {
    const std::string name = subPath + fileName;  // no separator: the caller supplies one
    auto& bundle = ZefaPlatform::current().bundle();
    ZefaBundleResource found;
    for (const std::string& directory : searchPaths()) {
      found = bundle.resource(name, "", directory);
      if (found.exists) break;
    }
    if (!found.bytes || !ZefaUtf8::isValid(*found.bytes)) return std::nullopt;
    return std::move(found.bytes);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}
