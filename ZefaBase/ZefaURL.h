#pragma once
// A URL text that passed the address check of the transport: an RFC 3986 URI reference with no
// character that a URL must not hold unencoded. Whether the scheme is usable is the client's
// concern: a bare path such as "/api/user/login" is a valid reference.
#include <optional>
#include <string>
#include <utility>

#include "ZefaBase/ZefaExport.h"

class ZEFA_EXPORT ZefaURL {
 public:
  // The URL for `text`, or none when the text is empty or not a URI reference.
  static std::optional<ZefaURL> fromString(std::string text);

  const std::string& absoluteString() const& { return text_; }
  std::string absoluteString() && { return std::move(text_); }

 private:
  explicit ZefaURL(std::string text) : text_(std::move(text)) {}
  std::string text_;
};
