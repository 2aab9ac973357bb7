#include "ZefaBase/ZefaURL.h"

#include <uriparser/Uri.h>

std::optional<ZefaURL> ZefaURL::fromString(std::string text) {
  if (text.empty()) return std::nullopt;
  UriUriA uri;
  const char* errorPos = nullptr;
  const int result = uriParseSingleUriExA(&uri, text.data(), text.data() + text.size(), &errorPos);
  if (result != URI_SUCCESS) return std::nullopt;  // uriparser frees nothing on failure
  uriFreeUriMembersA(&uri);
  return ZefaURL(std::move(text));
}
