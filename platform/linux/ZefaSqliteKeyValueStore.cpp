#include "platform/linux/ZefaSqliteKeyValueStore.h"

#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaLinuxPaths.h"

ZefaSqliteKeyValueStore::ZefaSqliteKeyValueStore(const std::string& path) : database_(path, 0600) {
  database_.execute(
      "CREATE TABLE IF NOT EXISTS defaults("
      "key TEXT PRIMARY KEY NOT NULL, value TEXT NOT NULL) WITHOUT ROWID;");
  select_ = std::make_unique<ZefaSqliteDatabase::Statement>(
      database_, "SELECT value FROM defaults WHERE key = ?1;");
  upsert_ = std::make_unique<ZefaSqliteDatabase::Statement>(
      database_,
      "INSERT INTO defaults(key, value) VALUES(?1, ?2) "
      "ON CONFLICT(key) DO UPDATE SET value = excluded.value;");
  delete_ = std::make_unique<ZefaSqliteDatabase::Statement>(database_,
                                                            "DELETE FROM defaults WHERE key = ?1;");
}

std::optional<std::string> ZefaSqliteKeyValueStore::string(std::string_view key) {
  std::lock_guard lock(mutex_);
  auto run = select_->run();
  run.bind(1, key);
  if (!run.row()) return std::nullopt;
  return run.text(0);
}

void ZefaSqliteKeyValueStore::setString(std::string_view key, std::string_view value) {
  std::lock_guard lock(mutex_);
  upsert_->run().bind(1, key).bind(2, value).execute();
}

void ZefaSqliteKeyValueStore::remove(std::string_view key) {
  std::lock_guard lock(mutex_);
  delete_->run().bind(1, key).execute();
}

std::string ZefaSqliteKeyValueStore::lastError() {
  std::lock_guard lock(mutex_);
  return database_.lastError();
}

std::shared_ptr<ZefaKeyValueStore> zefa::platform_defaults::makeKeyValueStore() {
  const std::string directory = ZefaLinuxPaths::dataDirectory();
  ZefaLinuxPaths::makeDirectories(directory, 0700);
  return std::make_shared<ZefaSqliteKeyValueStore>(directory + "defaults.sqlite");
}
