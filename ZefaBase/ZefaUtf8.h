#pragma once
// Strict UTF-8: a sequence is a character only in its shortest form, never a surrogate
// (U+D800 to U+DFFF) and never past U+10FFFF. Every text check of the library goes through here,
// so they all agree on what a character is.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "ZefaBase/ZefaExport.h"

class ZEFA_EXPORT ZefaUtf8 {
 public:
  // One decoded character: its code point and how many bytes it took.
  struct CodePoint {
    uint32_t value = 0;
    size_t length = 0;
  };

  // The character that starts at byte `offset` of `text`; none when the bytes there are not a
  // whole, well-formed character (a stray or truncated byte, an overlong form, a surrogate, a
  // value past U+10FFFF) or `offset` is at or past the end.
  static std::optional<CodePoint> decode(std::string_view text, size_t offset);

  // True when the whole of `bytes` is well-formed UTF-8.
  static bool isValid(std::string_view bytes);
};
