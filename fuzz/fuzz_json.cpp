// Feeds arbitrary bytes to the JSON helpers: nothing may crash, hang or leak, and whatever parses
// must write back to text that parses to an equal value and reads as nlohmann writes it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "ZefaBase/ZefaLog.h"
#include "ZefaBase/ZefaSDKUtils.h"

namespace {

template <class Container>
void checkRoundTrip(const Container& parsed) {
  const auto text = ZefaSDKUtils::objectToJsonString(ZefaJson(parsed));
  if (!text) return;  // numbers out of range parse to infinity, which has no JSON form
  const auto again = ZefaJsonText::parse(*text);
  if (!again || *again != ZefaJson(parsed)) std::abort();
  // The text is nlohmann's own compact text with every "/" escaped.
  std::string expected;
  for (const char c : ZefaJson(parsed).dump()) {
    if (c == '/') expected.push_back('\\');
    expected.push_back(c);
  }
  if (*text != expected) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool quiet = (ZefaLog::setSink([](ZefaLogLevel, std::string_view) {}), true);
  (void)quiet;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (const auto object = ZefaSDKUtils::jsonStringToDictionary(text)) checkRoundTrip(*object);
  if (const auto array = ZefaSDKUtils::jsonStringToArray(text)) checkRoundTrip(*array);
  return 0;
}
