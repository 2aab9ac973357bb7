#pragma once
// What every platform keychain must do, checked on the one `open` makes (twice: the second reads
// what the first stored). Entries are told apart by the exact service and account (case,
// separators and wildcards included); accounts are listed in creation order with their attributes,
// never the password.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

#include "platform/ZefaKeychain.h"

inline void expectKeychainContract(const std::function<std::unique_ptr<ZefaKeychain>()>& open) {
  using Entry = std::tuple<std::string, std::string, std::optional<std::string>>;
  const std::string binary("a\0b", 3);
  // Service, account, password; stored in this order, so the last one updates the first.
  const Entry stored[] = {{"ZefaSDK", "keychainId", "upper"},
                          {"ZefaSDk", "keychainId", "lower"},
                          {"ZefaSDK", "keyChainId", "gone"},
                          {"ZefaSDK", "binary", binary},
                          {"a/b", "c", "split one way"},
                          {"a", "b/c", "split the other"},
                          {"a*", "x", "wild"},
                          {"\xE6\x9C\x8D", "\xE5\xB8\xB3", "\xE2\x9C\x93"},
                          {"ZefaSDK", "empty", ""},
                          {"ZefaSDK", "keychainId", "updated"}};
  {
    const std::unique_ptr<ZefaKeychain> keychain = open();
    EXPECT_EQ(keychain->accounts("ZefaSDK"), std::nullopt) << "no entry: no list";
    for (const auto& [service, account, password] : stored) {
      EXPECT_TRUE(keychain->setPassword(*password, service, account)) << *password;
    }
    EXPECT_TRUE(keychain->deletePassword("ZefaSDK", "keyChainId"));
    EXPECT_FALSE(keychain->deletePassword("ZefaSDK", "keyChainId")) << "already deleted";
  }
  const std::unique_ptr<ZefaKeychain> keychain = open();
  for (const auto& [service, account, password] :
       std::initializer_list<Entry>{{"ZefaSDK", "keychainId", "updated"},
                                    {"ZefaSDk", "keychainId", "lower"},
                                    {"ZefaSDK", "keyChainId", std::nullopt},
                                    {"ZefaSDK", "binary", binary},
                                    {"a/b", "c", "split one way"},
                                    {"a", "b/c", "split the other"},
                                    {"a*", "x", "wild"},
                                    {"a", "x", std::nullopt},
                                    {"\xE6\x9C\x8D", "\xE5\xB8\xB3", "\xE2\x9C\x93"},
                                    {"ZefaSDK", "empty", ""}}) {
    EXPECT_EQ(keychain->password(service, account), password) << service << " " << account;
  }
  const auto accounts = keychain->accounts("ZefaSDK");
  ASSERT_TRUE(accounts);
  ASSERT_EQ(accounts->size(), 3u);  // in creation order: an update keeps the account's place
  EXPECT_EQ(accounts->at(0).at("acct"), "keychainId");
  EXPECT_EQ(accounts->at(1).at("acct"), "binary");
  EXPECT_EQ(accounts->at(2).at("acct"), "empty");
  for (const ZefaJsonObject& attributes : *accounts) {
    EXPECT_EQ(attributes.at("svce"), "ZefaSDK");
    EXPECT_GT(attributes.at("cdat").get<double>(), 1.7e9);
    EXPECT_GE(attributes.at("mdat").get<double>() + 1e-3, attributes.at("cdat").get<double>());
    for (const auto& entry : attributes) EXPECT_NE(entry.second, "updated") << "no password";
  }
  const auto ofA = keychain->accounts("a");
  ASSERT_TRUE(ofA);
  ASSERT_EQ(ofA->size(), 1u) << "neither \"a/b\" nor \"a*\" belongs to \"a\"";
  EXPECT_EQ(ofA->at(0).at("acct"), "b/c");
}
