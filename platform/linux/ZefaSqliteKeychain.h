#pragma once
// The keychain of this platform: passwords by (service, account) in the SQLite file
// "keychain.sqlite" (mode 0600) inside a directory of mode 0700, by default the app's data
// directory. Passwords are stored as given and never logged. A damaged file is kept aside and
// replaced by a fresh one (see ZefaSqliteDatabase); failed writes are logged. Thread-safe.
//
// accounts() gives, per account in creation order: "acct" (account), "svce" (service), and
// "cdat" / "mdat", the creation and last modification times as seconds since 1970 (numbers).
#include <mutex>
#include <string>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaKeychain.h"
#include "platform/linux/ZefaSqliteDatabase.h"

class ZEFA_EXPORT ZefaSqliteKeychain final : public ZefaKeychain {
 public:
  // Opens (or creates) `directory`/keychain.sqlite, creating the directory when missing and
  // restricting it to its owner (0700). An empty `directory` means the app's data directory.
  explicit ZefaSqliteKeychain(const std::string& directory);

  bool setPassword(const std::string& password, const std::string& service,
                   const std::string& account) override;
  std::optional<std::string> password(const std::string& service,
                                      const std::string& account) override;
  std::optional<std::vector<ZefaJsonObject>> accounts(const std::string& service) override;
  bool deletePassword(const std::string& service, const std::string& account) override;

  static constexpr const char* kFileName = "keychain.sqlite";

 private:
  std::mutex mutex_;
  ZefaSqliteDatabase database_;
  ZefaSqliteDatabase::Statement& upsert_;
  ZefaSqliteDatabase::Statement& select_;
  ZefaSqliteDatabase::Statement& list_;
  ZefaSqliteDatabase::Statement& delete_;
};
