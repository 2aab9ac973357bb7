#pragma once
// Reads an XML property list (the Info.plist form of a bundle's information dictionary) into a
// JSON value: dict, array, string, integer, real, true/false; date and data become text.
#include <optional>
#include <string_view>

#include "ZefaBase/ZefaExport.h"
#include "ZefaBase/ZefaJson.h"

class ZEFA_EXPORT ZefaPropertyList {
 public:
  // The value of the document's top-level element; none when the text is not a well-formed
  // XML property list (binary property lists are not read).
  static std::optional<ZefaJson> parse(std::string_view text);
};
