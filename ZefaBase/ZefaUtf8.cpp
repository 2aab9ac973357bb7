#include "ZefaBase/ZefaUtf8.h"

std::optional<ZefaUtf8::CodePoint> ZefaUtf8::decode(std::string_view text, size_t offset) {
  if (offset >= text.size()) return std::nullopt;
  const auto lead = static_cast<unsigned char>(text[offset]);
  if (lead < 0x80) return CodePoint{lead, 1};
  size_t length = 0;
  uint32_t value = 0;
  if ((lead & 0xE0) == 0xC0) {
    length = 2;
    value = lead & 0x1Fu;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3;
    value = lead & 0x0Fu;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4;
    value = lead & 0x07u;
  } else {
    return std::nullopt;  // a continuation byte, or a lead byte of no UTF-8 form
  }
  if (text.size() - offset < length) return std::nullopt;
  for (size_t k = 1; k < length; ++k) {
    const auto next = static_cast<unsigned char>(text[offset + k]);
    if ((next & 0xC0) != 0x80) return std::nullopt;
    value = (value << 6) | (next & 0x3Fu);
  }
  // The smallest value each length may carry: anything below has a shorter (overlong) form.
  static constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (value < kSmallest[length]) return std::nullopt;
  if (value >= 0xD800 && value <= 0xDFFF) return std::nullopt;
  if (value > 0x10FFFF) return std::nullopt;
  return CodePoint{value, length};
}

bool ZefaUtf8::isValid(std::string_view bytes) {
  for (size_t i = 0; i < bytes.size();) {
    const std::optional<CodePoint> point = decode(bytes, i);
    if (!point) return false;
    i += point->length;
  }
  return true;
}
