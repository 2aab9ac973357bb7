#include "platform/windows/ZefaCredentialKeychain.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <wincred.h>

#include <tuple>

namespace {

// A keychain of its own application; whatever a test leaves behind is deleted at the end.
class ZefaCredentialKeychainTest : public testing::Test {
 protected:
  void TearDown() override {
    const std::wstring filter = L"ZefaBase:" + ZefaCredentialKeychain::hex(application) + L"/*";
    DWORD count = 0;
    PCREDENTIALW* list = nullptr;
    if (!CredEnumerateW(filter.c_str(), 0, &count, &list)) return;
    for (DWORD i = 0; i < count; ++i) CredDeleteW(list[i]->TargetName, CRED_TYPE_GENERIC, 0);
    CredFree(list);
  }
  const std::string application = "com.zefa.keychain-test." + std::to_string(GetCurrentProcessId());
  ZefaCredentialKeychain keychain{application};
};

// Entries are told apart by the exact service and account (case, separators and wildcards
// included); accounts are listed in creation order with their attributes, never the password.
TEST_F(ZefaCredentialKeychainTest, StoresAndListsByExactServiceAndAccount) {
  EXPECT_EQ(keychain.accounts("ZefaSDK"), std::nullopt) << "no entry: no list";
  for (const auto& [password, service, account] :
       std::initializer_list<std::tuple<std::string, std::string, std::string>>{
           {"upper", "ZefaSDK", "keychainId"},
           {"lower", "ZefaSDk", "keychainId"},
           {"gone", "ZefaSDK", "keyChainId"},
           {std::string("a\0b", 3), "ZefaSDK", "binary"},
           {"split one way", "a/b", "c"},
           {"split the other", "a", "b/c"},
           {"wild", "a*", "x"},
           {"\xE2\x9C\x93", "\xE6\x9C\x8D", "\xE5\xB8\xB3"},
           {"", "ZefaSDK", "empty"},
           {"updated", "ZefaSDK", "keychainId"}}) {
    EXPECT_TRUE(keychain.setPassword(password, service, account)) << password;
  }
  EXPECT_TRUE(keychain.deletePassword("ZefaSDK", "keyChainId"));
  EXPECT_FALSE(keychain.deletePassword("ZefaSDK", "keyChainId")) << "already deleted";

  for (const auto& [service, account, password] :
       std::initializer_list<std::tuple<std::string, std::string, std::optional<std::string>>>{
           {"ZefaSDK", "keychainId", "updated"},
           {"ZefaSDk", "keychainId", "lower"},
           {"ZefaSDK", "keyChainId", std::nullopt},
           {"ZefaSDK", "binary", std::string("a\0b", 3)},
           {"a/b", "c", "split one way"},
           {"a", "b/c", "split the other"},
           {"a*", "x", "wild"},
           {"a", "x", std::nullopt},
           {"\xE6\x9C\x8D", "\xE5\xB8\xB3", "\xE2\x9C\x93"},
           {"ZefaSDK", "empty", ""}}) {
    EXPECT_EQ(keychain.password(service, account), password) << service << " " << account;
  }
  EXPECT_EQ(ZefaCredentialKeychain("another.game").password("ZefaSDK", "keychainId"), std::nullopt)
      << "another application's keychain";

  const auto accounts = keychain.accounts("ZefaSDK");
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
  const auto ofA = keychain.accounts("a");
  ASSERT_TRUE(ofA);
  ASSERT_EQ(ofA->size(), 1u) << "neither \"a/b\" nor \"a*\" belongs to \"a\"";
  EXPECT_EQ(ofA->at(0).at("acct"), "b/c");
}

TEST_F(ZefaCredentialKeychainTest, RefusesAPasswordLongerThanACredentialHolds) {
  EXPECT_TRUE(keychain.setPassword(std::string(CRED_MAX_CREDENTIAL_BLOB_SIZE, 'p'), "S", "max"));
  EXPECT_FALSE(keychain.setPassword(std::string(CRED_MAX_CREDENTIAL_BLOB_SIZE + 1, 'p'), "S", "a"));
  EXPECT_EQ(keychain.password("S", "a"), std::nullopt);
}

}  // namespace
