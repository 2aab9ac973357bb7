#include "ZefaBase/ZefaUtf8.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Each row is one whole text: the code point its first character decodes to (0 and length 0
// when it is not a character), and whether the whole text is valid.
TEST(ZefaUtf8Test, DecodesShortestFormsAndRejectsEveryMalformedClass) {
  const struct {
    const char* name;
    std::string bytes;
    uint32_t point;
    size_t length;
    bool valid;
  } rows[] = {
      {"ascii", "a", 0x61, 1, true},
      {"two-byte lowest", "\xC2\x80", 0x80, 2, true},
      {"three-byte lowest", "\xE0\xA0\x80", 0x800, 3, true},
      {"just below the surrogates", "\xED\x9F\xBF", 0xD7FF, 3, true},
      {"just above the surrogates", "\xEE\x80\x80", 0xE000, 3, true},
      {"four-byte lowest", "\xF0\x90\x80\x80", 0x10000, 4, true},
      {"highest code point", "\xF4\x8F\xBF\xBF", 0x10FFFF, 4, true},
      {"stray continuation", "\x80", 0, 0, false},
      {"lead of no form", "\xFF", 0, 0, false},
      {"truncated two-byte", "\xC2", 0, 0, false},
      {"continuation missing", "\xC2 ", 0, 0, false},
      {"overlong two-byte space", "\xC0\xA0", 0, 0, false},
      {"overlong three-byte", "\xE0\x9F\xBF", 0, 0, false},
      {"overlong four-byte", "\xF0\x8F\xBF\xBF", 0, 0, false},
      {"lowest surrogate", "\xED\xA0\x80", 0, 0, false},
      {"highest surrogate", "\xED\xBF\xBF", 0, 0, false},
      {"past U+10FFFF", "\xF4\x90\x80\x80", 0, 0, false},
      {"largest four-byte form", "\xF7\xBF\xBF\xBF", 0, 0, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto point = ZefaUtf8::decode(row.bytes, 0);
    EXPECT_EQ(point.has_value(), row.length > 0);
    if (point) {
      EXPECT_EQ(point->value, row.point);
      EXPECT_EQ(point->length, row.length);
    }
    EXPECT_EQ(ZefaUtf8::isValid(row.bytes), row.valid);
    // Inside a longer text the verdict is the same: nothing reads past the character.
    EXPECT_EQ(ZefaUtf8::isValid("x" + row.bytes + "y"), row.valid);
  }
  EXPECT_FALSE(ZefaUtf8::decode("a", 1)) << "past the end";
  EXPECT_EQ(ZefaUtf8::decode("a\xC3\xA9", 1)->value, 0xE9u) << "at an offset";
  EXPECT_TRUE(ZefaUtf8::isValid(""));
}

}  // namespace
