#include "platform/windows/ZefaWideText.h"

#include <windows.h>

#include <climits>

std::wstring ZefaWideText::fromUtf8(std::string_view text) {
  if (text.empty() || text.size() > INT_MAX) return {};
  const int size = static_cast<int>(text.size());
  const int wide = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
  if (wide <= 0) return {};
  std::wstring result(static_cast<size_t>(wide), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), size, result.data(), wide);
  return result;
}

std::string ZefaWideText::toUtf8(std::wstring_view text) {
  if (text.empty() || text.size() > INT_MAX) return {};
  const int size = static_cast<int>(text.size());
  const int bytes =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
  if (bytes <= 0) return {};
  std::string result(static_cast<size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), size, result.data(), bytes, nullptr, nullptr);
  return result;
}
