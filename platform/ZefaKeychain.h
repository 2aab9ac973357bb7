#pragma once
// Secret text entries keyed by (service, account): the platform keychain. Passwords are never
// written to logs.
#include <optional>
#include <string>
#include <vector>

#include "ZefaBase/ZefaExport.h"
#include "ZefaBase/ZefaJson.h"

class ZEFA_EXPORT ZefaKeychain {
 public:
  virtual ~ZefaKeychain() = default;
  // Stores `password` for (service, account), replacing an earlier one; true when stored.
  virtual bool setPassword(const std::string& password, const std::string& service,
                           const std::string& account) = 0;
  virtual std::optional<std::string> password(const std::string& service,
                                              const std::string& account) = 0;
  // One attribute dictionary per account of the service ("acct", "svce", "cdat", "mdat", ...);
  // none when the store has nothing for the service or cannot be read.
  virtual std::optional<std::vector<ZefaJsonObject>> accounts(const std::string& service) = 0;
  // True when an entry was deleted.
  virtual bool deletePassword(const std::string& service, const std::string& account) = 0;
};
