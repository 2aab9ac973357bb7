#pragma once
// The text forms that log lines show of values: quoted debug strings, the "Optional(...)" / "nil"
// wrapping of optional values, dictionaries as ["key": "value", "n": 1], and numbers in their
// shortest round-trip form ("1.0", "0.1", "1e+16").
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ZefaBase/ZefaExport.h"
#include "ZefaBase/ZefaJson.h"

class ZEFA_EXPORT ZefaDescription {
 public:
  // "\"text\"" with backslash escapes for quotes, backslashes and control characters.
  static std::string quoted(std::string_view text);
  // Optional("text") with the text quoted, or nil.
  static std::string optional(const std::optional<std::string>& text);
  // Optional(42), or nil.
  static std::string optional(const std::optional<int64_t>& number);
  // Optional(<dictionary>), or nil.
  static std::string optional(const std::optional<ZefaJsonObject>& object);
  // A value's debug text: texts quoted, [:] for an empty object, [1, 2] for arrays, <null>.
  static std::string describe(const ZefaJson& value);
  static std::string describe(const ZefaJsonObject& object);
  // The shortest decimal text that reads back to `value`, with at least one digit after the
  // point in fixed notation ("1.0", "-0.5"), and an exponent outside 1e-4 to 1e16 ("1e-05").
  static std::string number(double value);
  // The same for a float: the shortest text that reads back to the same float (0.1f is "0.1").
  static std::string number(float value);
};
