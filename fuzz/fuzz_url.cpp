// Feeds arbitrary text to the address check: an accepted address is the text unchanged, and holds
// only the printable ASCII characters that a URI may carry (no blank, control or high byte).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "ZefaBase/ZefaURL.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::optional<ZefaURL> url = ZefaURL::fromString(text);
  if (!url) return 0;
  if (url->absoluteString() != text) std::abort();
  for (const unsigned char c : text) {
    if (c <= 0x20 || c >= 0x7F) std::abort();
  }
  return 0;
}
