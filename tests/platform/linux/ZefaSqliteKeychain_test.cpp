#include "platform/linux/ZefaSqliteKeychain.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/platform/ZefaTestMachine.h"

namespace {

mode_t modeOf(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 ? info.st_mode & 0777 : 07777;
}

// The directory is 0700 and the files 0600, whatever the umask or an existing directory's mode.
TEST(ZefaSqliteKeychain, KeepsItsFilesPrivateToTheOwner) {
  const mode_t oldMask = umask(0);
  ZefaTempDirectory dir;
  const std::string keys = dir.path() + "/keys";
  mkdir(keys.c_str(), 0755);
  ZefaSqliteKeychain keychain(keys);
  EXPECT_TRUE(keychain.setPassword("secret", "S", "a"));
  umask(oldMask);
  EXPECT_EQ(modeOf(keys), 0700u);
  EXPECT_EQ(modeOf(keys + "/keychain.sqlite"), 0600u);
  EXPECT_EQ(modeOf(keys + "/keychain.sqlite-wal"), 0600u) << "the log too";
}

// Entries are told apart by the exact service and account, case included; accounts are listed
// in creation order with their attributes and never their passwords.
TEST(ZefaSqliteKeychain, StoresAndListsByExactServiceAndAccount) {
  ZefaTempDirectory dir;
  {
    ZefaSqliteKeychain keychain(dir.path());
    EXPECT_EQ(keychain.accounts("ZefaSDK"), std::nullopt) << "no entry: no list";
    for (const auto& [password, service, account] :
         std::initializer_list<std::tuple<std::string, std::string, std::string>>{
             {"upper", "ZefaSDK", "keychainId"},
             {"lower", "ZefaSDk", "keychainId"},
             {"gone", "ZefaSDK", "keyChainId"},
             {std::string("a\0b", 3), "ZefaSDK", "binary"},
             {"updated", "ZefaSDK", "keychainId"}}) {
      EXPECT_TRUE(keychain.setPassword(password, service, account)) << password;
    }
    EXPECT_TRUE(keychain.deletePassword("ZefaSDK", "keyChainId"));
    EXPECT_FALSE(keychain.deletePassword("ZefaSDK", "keyChainId")) << "already deleted";
  }
  ZefaSqliteKeychain reopened(dir.path());
  EXPECT_EQ(reopened.password("ZefaSDK", "keychainId"), "updated");
  EXPECT_EQ(reopened.password("ZefaSDk", "keychainId"), "lower");
  EXPECT_EQ(reopened.password("ZefaSDK", "keyChainId"), std::nullopt);
  EXPECT_EQ(reopened.password("ZefaSDK", "binary"), std::string("a\0b", 3));
  const auto accounts = reopened.accounts("ZefaSDK");
  ASSERT_TRUE(accounts);
  ASSERT_EQ(accounts->size(), 2u);  // in creation order: an update keeps the account's place
  EXPECT_EQ(accounts->at(0).at("acct"), "keychainId");
  EXPECT_EQ(accounts->at(1).at("acct"), "binary");
  for (const ZefaJsonObject& attributes : *accounts) {
    EXPECT_EQ(attributes.at("svce"), "ZefaSDK");
    EXPECT_GT(attributes.at("cdat").get<double>(), 1.7e9);
    EXPECT_GE(attributes.at("mdat").get<double>(), attributes.at("cdat").get<double>());
    for (const auto& entry : attributes) EXPECT_NE(entry.second, "updated") << "no password";
  }
}

}  // namespace
