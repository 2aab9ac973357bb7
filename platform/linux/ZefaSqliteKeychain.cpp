#include "platform/linux/ZefaSqliteKeychain.h"

#include <chrono>

#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaLinuxPaths.h"

namespace {

std::string filePath(const std::string& directory) {
  // No directory given: the app's data directory, never the working directory.
  std::string path = directory.empty() ? ZefaLinuxPaths::dataDirectory() : directory;
  if (path.back() != '/') path.push_back('/');
  ZefaLinuxPaths::makePrivateDirectory(path);
  return path + ZefaSqliteKeychain::kFileName;
}

double secondsNow() {
  const auto since = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration<double>(since).count();
}

}  // namespace

ZefaSqliteKeychain::ZefaSqliteKeychain(const std::string& directory)
    : database_(filePath(directory), 0600,
                "CREATE TABLE IF NOT EXISTS items("
                "service TEXT NOT NULL, account TEXT NOT NULL, password BLOB NOT NULL, "
                "cdat REAL NOT NULL, mdat REAL NOT NULL, PRIMARY KEY(service, account));"),
      upsert_(database_.statement(
          "INSERT INTO items(service, account, password, cdat, mdat) VALUES(?1, ?2, ?3, ?4, ?4) "
          "ON CONFLICT(service, account) DO UPDATE SET password = excluded.password, "
          "mdat = excluded.mdat;")),
      select_(
          database_.statement("SELECT password FROM items WHERE service = ?1 AND account = ?2;")),
      list_(database_.statement(
          "SELECT account, cdat, mdat FROM items WHERE service = ?1 ORDER BY rowid;")),
      delete_(database_.statement("DELETE FROM items WHERE service = ?1 AND account = ?2;")) {}

bool ZefaSqliteKeychain::setPassword(const std::string& password, const std::string& service,
                                     const std::string& account) {
  std::lock_guard lock(mutex_);
  return database_.write([&] {
    return upsert_.run()
        .bind(1, service)
        .bind(2, account)
        .bindBlob(3, password)
        .bind(4, secondsNow())
        .execute();
  });
}

std::optional<std::string> ZefaSqliteKeychain::password(const std::string& service,
                                                        const std::string& account) {
  std::lock_guard lock(mutex_);
  std::optional<std::string> found;
  database_.read([&] {
    auto run = select_.run();
    if (run.bind(1, service).bind(2, account).row()) found = run.text(0);
  });
  return found;
}

std::optional<std::vector<ZefaJsonObject>> ZefaSqliteKeychain::accounts(
    const std::string& service) {
  std::lock_guard lock(mutex_);
  std::vector<ZefaJsonObject> result;
  const bool read = database_.read([&] {
    auto run = list_.run();
    run.bind(1, service);
    while (run.row()) {
      ZefaJsonObject attributes;
      attributes.emplace("acct", run.text(0));
      attributes.emplace("svce", service);
      attributes.emplace("cdat", run.real(1));
      attributes.emplace("mdat", run.real(2));
      result.push_back(std::move(attributes));
    }
  });
  // Like the platform keychains: nothing found is no list at all.
  if (!read || result.empty()) return std::nullopt;
  return result;
}

bool ZefaSqliteKeychain::deletePassword(const std::string& service, const std::string& account) {
  std::lock_guard lock(mutex_);
  return database_.write([&] {
    return delete_.run().bind(1, service).bind(2, account).execute();
  }) && database_.changes() > 0;
}

std::shared_ptr<ZefaKeychain> zefa::platform_defaults::makeKeychain() {
  return std::make_shared<ZefaSqliteKeychain>(ZefaLinuxPaths::dataDirectory());
}
