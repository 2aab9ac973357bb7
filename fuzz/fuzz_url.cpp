// Feeds arbitrary text to the address check and compares its answer with liburiparser's, a
// well-tried RFC 3986 parser: the two must agree on every input. An accepted address is the text
// unchanged.
#include <uriparser/Uri.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "ZefaBase/ZefaURL.h"

namespace {
bool uriparserAccepts(const std::string& text) {
  UriUriA uri;
  const char* errorPos = nullptr;
  if (uriParseSingleUriExA(&uri, text.data(), text.data() + text.size(), &errorPos) !=
      URI_SUCCESS) {
    return false;
  }
  uriFreeUriMembersA(&uri);
  return true;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::optional<ZefaURL> url = ZefaURL::fromString(text);
  if (url && url->absoluteString() != text) std::abort();
  if (url.has_value() != (!text.empty() && uriparserAccepts(text))) {
    std::fprintf(stderr, "disagreement (ours: %d) on \"%s\"\n", url.has_value(), text.c_str());
    std::abort();
  }
  return 0;
}
