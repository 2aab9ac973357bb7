#pragma once
// UTF-8 <-> UTF-16 for the Windows API, whose text is wide. Invalid input never throws: ill-formed
// sequences become U+FFFD, as the system's own conversion makes them.
#include <string>
#include <string_view>

namespace ZefaWideText {
std::wstring fromUtf8(std::string_view text);
std::string toUtf8(std::wstring_view text);
}  // namespace ZefaWideText
