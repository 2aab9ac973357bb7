#include "platform/testing/ZefaFakeKeychain.h"

bool ZefaFakeKeychain::setPassword(const std::string& password, const std::string& service,
                                   const std::string& account) {
  calls_.push_back("setPassword(" + service + "," + account + ")");
  if (!acceptWrites_) return false;
  entries_[{service, account}] = password;
  return true;
}

std::optional<std::string> ZefaFakeKeychain::password(const std::string& service,
                                                      const std::string& account) {
  calls_.push_back("password(" + service + "," + account + ")");
  const auto it = entries_.find({service, account});
  if (it == entries_.end()) return std::nullopt;
  return it->second;
}

std::optional<std::vector<ZefaJsonObject>> ZefaFakeKeychain::accounts(const std::string& service) {
  calls_.push_back("accounts(" + service + ")");
  if (accountsScripted_) return scriptedAccounts_;
  std::vector<ZefaJsonObject> found;
  for (const auto& [key, password] : entries_) {
    if (key.first != service) continue;
    ZefaJsonObject attributes;
    attributes.emplace("acct", key.second);
    attributes.emplace("svce", key.first);
    found.push_back(std::move(attributes));
  }
  if (found.empty()) return std::nullopt;
  return found;
}

bool ZefaFakeKeychain::deletePassword(const std::string& service, const std::string& account) {
  calls_.push_back("deletePassword(" + service + "," + account + ")");
  return entries_.erase({service, account}) > 0;
}

void ZefaFakeKeychain::preset(const std::string& service, const std::string& account,
                              std::string password) {
  entries_[{service, account}] = std::move(password);
}
