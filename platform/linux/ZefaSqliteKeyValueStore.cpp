#include "platform/linux/ZefaSqliteKeyValueStore.h"

#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaLinuxPaths.h"

ZefaSqliteKeyValueStore::ZefaSqliteKeyValueStore(const std::string& path)
    : database_(path, 0600,
                "CREATE TABLE IF NOT EXISTS defaults("
                "key TEXT PRIMARY KEY NOT NULL, value TEXT NOT NULL) WITHOUT ROWID;"),
      select_(database_.statement("SELECT value FROM defaults WHERE key = ?1;")),
      upsert_(database_.statement("INSERT INTO defaults(key, value) VALUES(?1, ?2) "
                                  "ON CONFLICT(key) DO UPDATE SET value = excluded.value;")),
      delete_(database_.statement("DELETE FROM defaults WHERE key = ?1;")) {}

std::optional<std::string> ZefaSqliteKeyValueStore::string(std::string_view key) {
  std::lock_guard lock(mutex_);
  std::optional<std::string> value;
  database_.read([&] {
    auto run = select_.run();
    if (run.bind(1, key).row()) value = run.text(0);
  });
  return value;
}

bool ZefaSqliteKeyValueStore::setString(std::string_view key, std::string_view value) {
  std::lock_guard lock(mutex_);
  return database_.write([&] { return upsert_.run().bind(1, key).bind(2, value).execute(); });
}

bool ZefaSqliteKeyValueStore::remove(std::string_view key) {
  std::lock_guard lock(mutex_);
  return database_.write([&] { return delete_.run().bind(1, key).execute(); });
}

std::shared_ptr<ZefaKeyValueStore> zefa::platform_defaults::makeKeyValueStore() {
  const std::string directory = ZefaLinuxPaths::dataDirectory();
  ZefaLinuxPaths::makePrivateDirectory(directory);
  return std::make_shared<ZefaSqliteKeyValueStore>(directory + "defaults.sqlite");
}
