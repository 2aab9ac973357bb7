#include "platform/windows/ZefaRegistryKeyValueStore.h"

#include <windows.h>

#include "platform/ZefaPlatform.h"
#include "platform/windows/ZefaWideText.h"

namespace {

// The lower-case form of one UTF-16 unit by the system's invariant rules; the unit itself when it
// has none.
wchar_t lowerCase(wchar_t unit) {
  wchar_t lower = unit;
  if (LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_LOWERCASE, &unit, 1, &lower, 1, nullptr, nullptr,
                    0) != 1) {
    return unit;
  }
  return lower;
}

}  // namespace

ZefaRegistryKeyValueStore::ZefaRegistryKeyValueStore(std::string_view application)
    : subKey_(L"Software\\" +
              ZefaWideText::fromUtf8(application.empty() ? kFallbackApplication : application)) {}

std::wstring ZefaRegistryKeyValueStore::valueName(std::string_view key) {
  static constexpr wchar_t kHex[] = L"0123456789abcdef";
  std::wstring name;
  for (const wchar_t unit : ZefaWideText::fromUtf8(key)) {
    if (unit == L'^') {
      name += L"^^";
    } else if (unit >= L'A' && unit <= L'Z') {
      name += L'^';
      name += static_cast<wchar_t>(unit - L'A' + L'a');
    } else if (unit >= 0x80 && lowerCase(unit) != unit) {
      name += L"^#";
      for (int shift = 12; shift >= 0; shift -= 4) name += kHex[(unit >> shift) & 0xf];
    } else {
      name += unit;
    }
  }
  return name;
}

std::optional<std::string> ZefaRegistryKeyValueStore::string(std::string_view key) {
  const std::wstring name = valueName(key);
  // The value may grow between the two calls (another process writing): then ask again.
  for (int attempt = 0; attempt < 4; ++attempt) {
    DWORD size = 0;
    LSTATUS status = RegGetValueW(HKEY_CURRENT_USER, subKey_.c_str(), name.c_str(), RRF_RT_REG_SZ,
                                  nullptr, nullptr, &size);
    if (status != ERROR_SUCCESS) return std::nullopt;
    std::wstring data(size / sizeof(wchar_t) + 1, L'\0');
    size = static_cast<DWORD>(data.size() * sizeof(wchar_t));
    status = RegGetValueW(HKEY_CURRENT_USER, subKey_.c_str(), name.c_str(), RRF_RT_REG_SZ, nullptr,
                          data.data(), &size);
    if (status == ERROR_MORE_DATA) continue;
    if (status != ERROR_SUCCESS) return std::nullopt;
    // The size counts the terminating zero that the registry guarantees; zeros inside are kept.
    data.resize(size / sizeof(wchar_t));
    if (!data.empty() && data.back() == L'\0') data.pop_back();
    return ZefaWideText::toUtf8(data);
  }
  return std::nullopt;
}

bool ZefaRegistryKeyValueStore::setString(std::string_view key, std::string_view value) {
  const std::wstring name = valueName(key);
  const std::wstring data = ZefaWideText::fromUtf8(value);
  if (data.empty() != value.empty()) return false;  // too long to convert
  const size_t bytes = (data.size() + 1) * sizeof(wchar_t);
  if (bytes > MAXDWORD) return false;
  // Creates the application's key when it is missing.
  return RegSetKeyValueW(HKEY_CURRENT_USER, subKey_.c_str(), name.c_str(), REG_SZ, data.c_str(),
                         static_cast<DWORD>(bytes)) == ERROR_SUCCESS;
}

bool ZefaRegistryKeyValueStore::remove(std::string_view key) {
  const LSTATUS status =
      RegDeleteKeyValueW(HKEY_CURRENT_USER, subKey_.c_str(), valueName(key).c_str());
  // Nothing to remove (no such value, or no key yet) is success, as removing an absent entry.
  return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

std::shared_ptr<ZefaKeyValueStore> zefa::platform_defaults::makeKeyValueStore() {
  return std::make_shared<ZefaRegistryKeyValueStore>(
      ZefaPlatform::current().bundle().bundleIdentifier().value_or(""));
}
