#pragma once
// The user-defaults store of this platform: text values by key in the SQLite file
// "defaults.sqlite" of the app's data directory. A write is on disk when the call returns, a crash
// never damages earlier writes, and several processes may use the same file (a write that cannot
// get the file within five seconds is dropped). Thread-safe.
#include <memory>
#include <mutex>
#include <string>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaKeyValueStore.h"
#include "platform/linux/ZefaSqliteDatabase.h"

class ZEFA_EXPORT ZefaSqliteKeyValueStore final : public ZefaKeyValueStore {
 public:
  // Opens (or creates) the store file at `path`; its directory must exist. A store that cannot
  // be opened holds nothing and ignores writes (see isOpen()).
  explicit ZefaSqliteKeyValueStore(const std::string& path);

  std::optional<std::string> string(std::string_view key) override;
  void setString(std::string_view key, std::string_view value) override;
  void remove(std::string_view key) override;

  bool isOpen() const { return database_.isOpen(); }
  std::string lastError();

 private:
  std::mutex mutex_;
  ZefaSqliteDatabase database_;
  std::unique_ptr<ZefaSqliteDatabase::Statement> select_;
  std::unique_ptr<ZefaSqliteDatabase::Statement> upsert_;
  std::unique_ptr<ZefaSqliteDatabase::Statement> delete_;
};
