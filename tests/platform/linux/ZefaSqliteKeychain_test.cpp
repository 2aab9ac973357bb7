#include "platform/linux/ZefaSqliteKeychain.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/platform/ZefaKeychainContract.h"
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

TEST(ZefaSqliteKeychain, StoresAndListsByExactServiceAndAccount) {
  ZefaTempDirectory dir;
  expectKeychainContract([&] { return std::make_unique<ZefaSqliteKeychain>(dir.path()); });
}

}  // namespace
