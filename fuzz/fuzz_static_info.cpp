// Feeds arbitrary bytes to the ZefaStaticInfo decoder: a record that decodes must encode to text
// that decodes to the same record.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "ZefaBase/ZefaLog.h"
#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/entity/ZefaStaticInfo.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool quiet = (ZefaLog::setSink([](ZefaLogLevel, std::string_view) {}), true);
  (void)quiet;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto record = ZefaSDKUtils::jsonStringToModel<ZefaStaticInfo>(text);
  if (!record) return 0;
  const auto encoded = ZefaSDKUtils::modelToJsonString(*record);
  if (!encoded) return 0;  // a text member that is not UTF-8 has no JSON form
  const auto again = ZefaSDKUtils::jsonStringToModel<ZefaStaticInfo>(*encoded);
  if (!again || again->toJson() != record->toJson()) std::abort();
  return 0;
}
