#pragma once
// A keychain in memory that a test scripts: entries written "by someone else", a store that
// refuses writes, a list call that returns none or an empty list. Records every call.
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/ZefaKeychain.h"

class ZefaFakeKeychain final : public ZefaKeychain {
 public:
  bool setPassword(const std::string& password, const std::string& service,
                   const std::string& account) override;
  std::optional<std::string> password(const std::string& service,
                                      const std::string& account) override;
  // Without a scripted answer: per stored account of the service, {"acct", "svce"}; none when
  // the service has no entry.
  std::optional<std::vector<ZefaJsonObject>> accounts(const std::string& service) override;
  bool deletePassword(const std::string& service, const std::string& account) override;

  // Stores an entry without recording a call, as another program would have.
  void preset(const std::string& service, const std::string& account, std::string password);
  // When false, setPassword stores nothing and reports failure.
  void setAcceptWrites(bool accept) { acceptWrites_ = accept; }
  // Fixes what accounts() answers for every service.
  void scriptAccounts(std::optional<std::vector<ZefaJsonObject>> answer) {
    scriptedAccounts_ = std::move(answer);
    accountsScripted_ = true;
  }

  // The entries as (service, account) -> password.
  const std::map<std::pair<std::string, std::string>, std::string>& entries() const {
    return entries_;
  }
  // Calls in order, e.g. "password(ZefaSDK,keychainId)" or "setPassword(ZefaSDk,keychainId)"
  // (passwords are not recorded).
  const std::vector<std::string>& calls() const { return calls_; }

 private:
  std::map<std::pair<std::string, std::string>, std::string> entries_;
  std::vector<std::string> calls_;
  bool acceptWrites_ = true;
  bool accountsScripted_ = false;
  std::optional<std::vector<ZefaJsonObject>> scriptedAccounts_;
};
