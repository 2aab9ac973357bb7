#include "platform/linux/ZefaSqliteKeychain.h"

#include <sys/stat.h>

#include <chrono>

#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaLinuxPaths.h"

namespace {

std::string openDirectory(const std::string& directory) {
  // No directory given: the app's data directory, never the working directory.
  std::string path = directory.empty() ? ZefaLinuxPaths::dataDirectory() : directory;
  if (path.back() != '/') path.push_back('/');
  ZefaLinuxPaths::makeDirectories(path, 0700);
  // An existing directory may have been made with a wider mode; secrets need it private.
  ::chmod(path.c_str(), 0700);
  return path;
}

double secondsNow() {
  const auto since = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration<double>(since).count();
}

}  // namespace

ZefaSqliteKeychain::ZefaSqliteKeychain(const std::string& directory)
    : database_(std::make_unique<ZefaSqliteDatabase>(openDirectory(directory) + kFileName, 0600)) {
  database_->execute(
      "CREATE TABLE IF NOT EXISTS items("
      "service TEXT NOT NULL, account TEXT NOT NULL, password BLOB NOT NULL, "
      "cdat REAL NOT NULL, mdat REAL NOT NULL, PRIMARY KEY(service, account));");
  upsert_ = std::make_unique<ZefaSqliteDatabase::Statement>(
      *database_,
      "INSERT INTO items(service, account, password, cdat, mdat) VALUES(?1, ?2, ?3, ?4, ?4) "
      "ON CONFLICT(service, account) DO UPDATE SET password = excluded.password, "
      "mdat = excluded.mdat;");
  select_ = std::make_unique<ZefaSqliteDatabase::Statement>(
      *database_, "SELECT password FROM items WHERE service = ?1 AND account = ?2;");
  list_ = std::make_unique<ZefaSqliteDatabase::Statement>(
      *database_, "SELECT account, cdat, mdat FROM items WHERE service = ?1 ORDER BY rowid;");
  delete_ = std::make_unique<ZefaSqliteDatabase::Statement>(
      *database_, "DELETE FROM items WHERE service = ?1 AND account = ?2;");
}

bool ZefaSqliteKeychain::setPassword(const std::string& password, const std::string& service,
                                     const std::string& account) {
  std::lock_guard lock(mutex_);
  return upsert_->run()
      .bind(1, service)
      .bind(2, account)
      .bindBlob(3, password)
      .bind(4, secondsNow())
      .execute();
}

std::optional<std::string> ZefaSqliteKeychain::password(const std::string& service,
                                                        const std::string& account) {
  std::lock_guard lock(mutex_);
  auto run = select_->run();
  run.bind(1, service).bind(2, account);
  if (!run.row()) return std::nullopt;
  return run.text(0);
}

std::optional<std::vector<ZefaJsonObject>> ZefaSqliteKeychain::accounts(
    const std::string& service) {
  std::lock_guard lock(mutex_);
  std::vector<ZefaJsonObject> result;
  auto run = list_->run();
  run.bind(1, service);
  while (run.row()) {
    ZefaJsonObject attributes;
    attributes.emplace("acct", run.text(0));
    attributes.emplace("svce", service);
    attributes.emplace("cdat", run.real(1));
    attributes.emplace("mdat", run.real(2));
    result.push_back(std::move(attributes));
  }
  // Like the platform keychains: nothing found is no list at all.
  if (result.empty()) return std::nullopt;
  return result;
}

bool ZefaSqliteKeychain::deletePassword(const std::string& service, const std::string& account) {
  std::lock_guard lock(mutex_);
  return delete_->run().bind(1, service).bind(2, account).execute() && database_->changes() > 0;
}

std::shared_ptr<ZefaKeychain> zefa::platform_defaults::makeKeychain() {
  return std::make_shared<ZefaSqliteKeychain>(ZefaLinuxPaths::dataDirectory());
}
