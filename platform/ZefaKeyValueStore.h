#pragma once
// The app's persistent string-by-key store (the user-defaults store).
#include <optional>
#include <string>
#include <string_view>

#include "ZefaBase/ZefaExport.h"

class ZEFA_EXPORT ZefaKeyValueStore {
 public:
  virtual ~ZefaKeyValueStore() = default;
  // The text stored under `key`, or none when the key is not present.
  virtual std::optional<std::string> string(std::string_view key) = 0;
  // Stores `value` under `key`, replacing any earlier value; false when the store failed to.
  virtual bool setString(std::string_view key, std::string_view value) = 0;
  // Removes the entry under `key`, if any; false when the store failed to.
  virtual bool remove(std::string_view key) = 0;
};
