#pragma once
// The app's user-defaults store (the platform's persistent key-value store), with JSON records
// kept as text under keys of the caller's choosing.
#include <optional>
#include <string>
#include <string_view>

#include "ZefaBase/ZefaExport.h"
#include "ZefaBase/ZefaSDKUtils.h"

class ZEFA_EXPORT ZefaUserDefaults {
 public:
  static ZefaUserDefaults& standard();

  // The text stored under `key`, or none.
  std::optional<std::string> string(std::string_view key);
  // Stores `value` under `key`; none removes the entry. False when the store failed to (it logs
  // why).
  bool setValue(const std::optional<std::string>& value, std::string_view key);

  // Stores the record's JSON text under `key`; false, leaving the key as it was, when the
  // record cannot be encoded or the store fails to write it.
  template <class T>
  bool addModel(std::string_view key, const T& model) {
    const std::optional<std::string> text = ZefaSDKUtils::modelToJsonString(model);
    return text && setValue(*text, key);
  }

  // The record stored under `key`; none when nothing is stored or it is not such a record.
  template <class T>
  std::optional<T> model(std::string_view key) {
    const std::optional<std::string> text = string(key);
    if (!text) return std::nullopt;
    return ZefaSDKUtils::jsonStringToModel<T>(*text);
  }

 private:
  ZefaUserDefaults() = default;
};
