// Feeds arbitrary bytes to the XML property list reader: nothing may crash, hang or leak, and a
// value read from a document can be written as JSON unless it holds text that is not UTF-8.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/linux/ZefaPropertyList.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::optional<ZefaJson> value =
      ZefaPropertyList::parse(std::string_view(reinterpret_cast<const char*>(data), size));
  if (!value || !ZefaJsonText::isSerialisable(*value)) return 0;
  ZefaJsonText::WriteFault fault{};
  if (!ZefaJsonText::write(*value, nullptr, &fault) && fault != ZefaJsonText::WriteFault::NotUtf8) {
    std::abort();
  }
  return 0;
}
