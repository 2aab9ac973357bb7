#pragma once
// The user-defaults store of this platform: text values by key in the registry, one REG_SZ value
// per key under HKEY_CURRENT_USER\Software\<application>, where <application> is the bundle
// identifier, or "ZefaBase" when the bundle has none. Values are the UTF-16 form of the UTF-8
// text (ill-formed UTF-8 is stored with U+FFFD in its place). Every call goes to the registry
// afresh, so several processes and threads may share the store; a write is in the registry when
// the call returns. Failures are false or none, never exceptions.
//
// Registry value names ignore case, the store's keys do not ("Key" and "key" are two entries), so
// a key is stored under valueName(key): upper-case letters and "^" are escaped.
#include <optional>
#include <string>
#include <string_view>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaKeyValueStore.h"

class ZEFA_EXPORT ZefaRegistryKeyValueStore final : public ZefaKeyValueStore {
 public:
  // The store under HKEY_CURRENT_USER\Software\`application` ("ZefaBase" when empty); the key is
  // created by the first write.
  explicit ZefaRegistryKeyValueStore(std::string_view application);

  std::optional<std::string> string(std::string_view key) override;
  bool setString(std::string_view key, std::string_view value) override;
  bool remove(std::string_view key) override;

  // The registry key under HKEY_CURRENT_USER that holds the values.
  const std::wstring& subKey() const { return subKey_; }

  // The registry value name of `key`: "^^" for "^", "^" and the lower-case letter for an ASCII
  // upper-case letter, "^#" and four lower-case hex digits for any other UTF-16 unit that has a
  // lower-case form; every other unit as it is. Two keys that differ only in case get names that
  // differ in more than case.
  static std::wstring valueName(std::string_view key);

  static constexpr const char* kFallbackApplication = "ZefaBase";

 private:
  std::wstring subKey_;
};
