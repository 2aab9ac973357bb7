// Builds GET requests from arbitrary parameters: a JSON object text as it is, or else the bytes
// split at NUL into key, value, key, ... (any bytes at all). A request that starts must carry the
// address with the query appended, and exactly one outcome must be reported.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "ZefaBase/ZefaSDKUtils.h"
#include "fuzz/ZefaFuzzPlatform.h"

namespace {

ZefaJsonObject paramsFrom(std::string_view bytes) {
  if (std::optional<ZefaJson> json = ZefaJsonText::parse(bytes); json && json->is_object()) {
    return std::move(json->get_ref<ZefaJsonObject&>());
  }
  ZefaJsonObject params;
  while (!bytes.empty()) {
    const std::string_view key = bytes.substr(0, bytes.find('\0'));
    bytes.remove_prefix(std::min(bytes.size(), key.size() + 1));
    const std::string_view value = bytes.substr(0, bytes.find('\0'));
    bytes.remove_prefix(std::min(bytes.size(), value.size() + 1));
    params[std::string(key)] = std::string(value);
  }
  return params;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ZefaFuzzPlatform& platform = ZefaFuzzPlatform::installed();
  platform.clear();
  platform.response = ZefaHttpResponse{0, std::nullopt, "fuzz: no network"};
  const ZefaJsonObject params =
      paramsFrom(std::string_view(reinterpret_cast<const char*>(data), size));
  int outcomes = 0;
  ZefaSDKUtils::get(
      "https://fuzz.test/api/get", params, std::nullopt, 5,
      [&](const ZefaJsonObject&) { ++outcomes; }, [&](const std::string&) { ++outcomes; });
  platform.drain();
  if (outcomes != 1 || platform.requests.size() > 1) std::abort();
  if (!platform.requests.empty()) {
    const ZefaHttpRequest& request = platform.requests.front();
    if (request.method != "GET" || request.url != "https://fuzz.test/api/get" + request.body) {
      std::abort();
    }
  }
  return 0;
}
