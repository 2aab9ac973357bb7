#pragma once
// A key-value store in memory: nothing survives the process. Safe to use from several threads.
#include <map>
#include <mutex>

#include "platform/ZefaKeyValueStore.h"

class ZefaMemoryKeyValueStore final : public ZefaKeyValueStore {
 public:
  std::optional<std::string> string(std::string_view key) override {
    std::lock_guard lock(mutex_);
    const auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return it->second;
  }
  bool setString(std::string_view key, std::string_view value) override {
    std::lock_guard lock(mutex_);
    values_.insert_or_assign(std::string(key), std::string(value));
    return true;
  }
  bool remove(std::string_view key) override {
    std::lock_guard lock(mutex_);
    if (const auto it = values_.find(key); it != values_.end()) values_.erase(it);
    return true;
  }

 private:
  std::mutex mutex_;
  std::map<std::string, std::string, std::less<>> values_;
};
