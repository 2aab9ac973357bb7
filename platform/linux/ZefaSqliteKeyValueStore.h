#pragma once
// The user-defaults store of this platform: text values by key in the SQLite file
// "defaults.sqlite" of the app's data directory. A write is on disk when the call returns, a crash
// never damages earlier writes, and several processes may use the same file (a write that cannot
// get the file within five seconds fails). A damaged file is kept aside and replaced by a fresh
// one (see ZefaSqliteDatabase); failed writes are logged. Thread-safe.
#include <mutex>
#include <string>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaKeyValueStore.h"
#include "platform/linux/ZefaSqliteDatabase.h"

class ZEFA_EXPORT ZefaSqliteKeyValueStore final : public ZefaKeyValueStore {
 public:
  // Opens (or creates) the store file at `path`; its directory must exist. A store that cannot
  // be opened holds nothing, fails writes, and tries the file again at each use.
  explicit ZefaSqliteKeyValueStore(const std::string& path);

  std::optional<std::string> string(std::string_view key) override;
  bool setString(std::string_view key, std::string_view value) override;
  bool remove(std::string_view key) override;

 private:
  std::mutex mutex_;
  ZefaSqliteDatabase database_;
  ZefaSqliteDatabase::Statement& select_;
  ZefaSqliteDatabase::Statement& upsert_;
  ZefaSqliteDatabase::Statement& delete_;
};
