#include "platform/linux/ZefaSqliteKeychain.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>

#include "tests/platform/ZefaTempDirectory.h"

namespace {

mode_t modeOf(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) return 07777;
  return info.st_mode & 0777;
}

// Restores the process's file creation mask when the test ends.
class ScopedUmask {
 public:
  explicit ScopedUmask(mode_t mask) : old_(umask(mask)) {}
  ~ScopedUmask() { umask(old_); }

 private:
  mode_t old_;
};

TEST(ZefaSqliteKeychain, KeepsItsFilePrivateToTheOwner) {
  const struct {
    const char* name;
    bool directoryExists;
    mode_t existingMode;
    mode_t umaskValue;
  } rows[] = {
      {"new directory, usual umask", false, 0, 022},
      {"new directory, no umask", false, 0, 0},
      {"existing world-readable directory", true, 0755, 022},
  };
  for (const auto& row : rows) {
    ScopedUmask mask(row.umaskValue);
    ZefaTempDirectory dir;
    const std::string directory = dir.path() + "/keys";
    if (row.directoryExists) {
      ASSERT_EQ(mkdir(directory.c_str(), row.existingMode), 0);
      chmod(directory.c_str(), row.existingMode);
    }
    ZefaSqliteKeychain keychain(directory);
    ASSERT_TRUE(keychain.isOpen()) << row.name;
    ASSERT_TRUE(keychain.setPassword("secret", "S", "a")) << row.name;
    EXPECT_EQ(modeOf(directory), 0700u) << row.name;
    EXPECT_EQ(modeOf(directory + "/keychain.sqlite"), 0600u) << row.name;
    // The write-ahead log holds passwords too.
    EXPECT_EQ(modeOf(directory + "/keychain.sqlite-wal"), 0600u) << row.name;
  }
}

TEST(ZefaSqliteKeychain, StoresPasswordsByServiceAndAccount) {
  ZefaTempDirectory dir;
  ZefaSqliteKeychain keychain(dir.path());
  EXPECT_EQ(keychain.password("ZefaSDK", "keychainId"), std::nullopt);
  EXPECT_TRUE(keychain.setPassword("upper", "ZefaSDK", "keychainId"));
  EXPECT_TRUE(keychain.setPassword("lower", "ZefaSDk", "keychainId"));
  EXPECT_TRUE(keychain.setPassword("other account", "ZefaSDK", "keyChainId"));
  // Service and account names compare exactly, case included.
  EXPECT_EQ(keychain.password("ZefaSDK", "keychainId"), "upper");
  EXPECT_EQ(keychain.password("ZefaSDk", "keychainId"), "lower");
  EXPECT_EQ(keychain.password("ZefaSDK", "keyChainId"), "other account");
  EXPECT_TRUE(keychain.setPassword("replaced", "ZefaSDK", "keychainId"));
  EXPECT_EQ(keychain.password("ZefaSDK", "keychainId"), "replaced");
  EXPECT_TRUE(keychain.setPassword(std::string("a\0b", 3), "S", "nul"));
  EXPECT_EQ(keychain.password("S", "nul"), std::string("a\0b", 3));
  EXPECT_TRUE(keychain.setPassword("", "S", "empty"));
  EXPECT_EQ(keychain.password("S", "empty"), "");

  EXPECT_TRUE(keychain.deletePassword("ZefaSDK", "keychainId"));
  EXPECT_FALSE(keychain.deletePassword("ZefaSDK", "keychainId")) << "already deleted";
  EXPECT_EQ(keychain.password("ZefaSDK", "keychainId"), std::nullopt);
  EXPECT_EQ(keychain.password("ZefaSDk", "keychainId"), "lower");
}

TEST(ZefaSqliteKeychain, ListsAccountsWithTheirAttributesInCreationOrder) {
  ZefaTempDirectory dir;
  ZefaSqliteKeychain keychain(dir.path());
  EXPECT_EQ(keychain.accounts("S"), std::nullopt) << "no entry: no list";
  const double before =
      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  keychain.setPassword("1", "S", "zeta");
  keychain.setPassword("2", "S", "alpha");
  keychain.setPassword("3", "T", "other service");
  keychain.setPassword("4", "S", "zeta");  // an update keeps the account's place

  const std::optional<std::vector<ZefaJsonObject>> accounts = keychain.accounts("S");
  ASSERT_TRUE(accounts);
  ASSERT_EQ(accounts->size(), 2u);
  const char* expectedAccounts[] = {"zeta", "alpha"};
  for (size_t i = 0; i < accounts->size(); ++i) {
    const ZefaJsonObject& attributes = (*accounts)[i];
    EXPECT_EQ(attributes.at("acct"), expectedAccounts[i]);
    EXPECT_EQ(attributes.at("svce"), "S");
    ASSERT_TRUE(attributes.at("cdat").is_number());
    EXPECT_GE(attributes.at("cdat").get<double>(), before - 1);
    EXPECT_GE(attributes.at("mdat").get<double>(), attributes.at("cdat").get<double>());
    EXPECT_FALSE(attributes.contains("v_Data")) << "passwords are not listed";
  }
  keychain.deletePassword("S", "zeta");
  keychain.deletePassword("S", "alpha");
  EXPECT_EQ(keychain.accounts("S"), std::nullopt);
}

TEST(ZefaSqliteKeychain, KeepsEntriesAcrossReopening) {
  ZefaTempDirectory dir;
  { ZefaSqliteKeychain(dir.path()).setPassword("kept", "S", "a"); }
  ZefaSqliteKeychain reopened(dir.path());
  EXPECT_EQ(reopened.password("S", "a"), "kept");
}

}  // namespace
