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
  // The mode of an existing directory (0: none yet) and the umask.
  for (const auto& [existingMode, umaskValue] :
       {std::pair<mode_t, mode_t>{0, 022}, {0, 0}, {0755, 022}}) {
    const mode_t oldMask = umask(umaskValue);
    ZefaTempDirectory dir;
    const std::string keys = dir.path() + "/keys";
    if (existingMode) mkdir(keys.c_str(), existingMode);
    ZefaSqliteKeychain keychain(keys);
    EXPECT_TRUE(keychain.setPassword("secret", "S", "a"));
    umask(oldMask);
    EXPECT_EQ(modeOf(keys), 0700u) << umaskValue;
    EXPECT_EQ(modeOf(keys + "/keychain.sqlite"), 0600u) << umaskValue;
    EXPECT_EQ(modeOf(keys + "/keychain.sqlite-wal"), 0600u) << umaskValue << ": the log too";
  }
}

// Entries are told apart by the exact service and account, case included.
TEST(ZefaSqliteKeychain, StoresPasswordsByExactServiceAndAccount) {
  ZefaTempDirectory dir;
  {
    ZefaSqliteKeychain keychain(dir.path());
    EXPECT_EQ(keychain.password("ZefaSDK", "keychainId"), std::nullopt);
    EXPECT_TRUE(keychain.setPassword("upper", "ZefaSDK", "keychainId"));
    EXPECT_TRUE(keychain.setPassword("lower", "ZefaSDk", "keychainId"));
    EXPECT_TRUE(keychain.setPassword("account", "ZefaSDK", "keyChainId"));
    EXPECT_TRUE(keychain.setPassword(std::string("a\0b", 3), "S", "nul"));
    EXPECT_TRUE(keychain.deletePassword("ZefaSDK", "keyChainId"));
    EXPECT_FALSE(keychain.deletePassword("ZefaSDK", "keyChainId")) << "already deleted";
  }
  ZefaSqliteKeychain reopened(dir.path());
  EXPECT_EQ(reopened.password("ZefaSDK", "keychainId"), "upper");
  EXPECT_EQ(reopened.password("ZefaSDk", "keychainId"), "lower");
  EXPECT_EQ(reopened.password("ZefaSDK", "keyChainId"), std::nullopt);
  EXPECT_EQ(reopened.password("S", "nul"), std::string("a\0b", 3));
}

TEST(ZefaSqliteKeychain, ListsAccountsWithTheirAttributesInCreationOrder) {
  ZefaTempDirectory dir;
  ZefaSqliteKeychain keychain(dir.path());
  EXPECT_EQ(keychain.accounts("S"), std::nullopt) << "no entry: no list";
  keychain.setPassword("1", "S", "zeta");
  keychain.setPassword("2", "S", "alpha");
  keychain.setPassword("3", "T", "other service");
  keychain.setPassword("4", "S", "zeta");  // an update keeps the account's place
  const auto accounts = keychain.accounts("S");
  ASSERT_TRUE(accounts);
  ASSERT_EQ(accounts->size(), 2u);
  EXPECT_EQ(accounts->at(0).at("acct"), "zeta");
  EXPECT_EQ(accounts->at(1).at("acct"), "alpha");
  for (const ZefaJsonObject& attributes : *accounts) {
    EXPECT_EQ(attributes.at("svce"), "S");
    EXPECT_GT(attributes.at("cdat").get<double>(), 1.7e9);
    EXPECT_GE(attributes.at("mdat").get<double>(), attributes.at("cdat").get<double>());
    for (const auto& entry : attributes) EXPECT_NE(entry.second, "4") << "no password listed";
  }
}

}  // namespace
