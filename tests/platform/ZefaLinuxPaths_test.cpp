#include "platform/linux/ZefaLinuxPaths.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/ZefaUserDefaults.h"
#include "platform/ZefaPlatform.h"
#include "tests/platform/ZefaTempDirectory.h"

namespace {

// Sets an environment variable for the scope of a test and restores it afterwards.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) old_ = old;
    if (value) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
  }
  ~ScopedEnv() {
    if (old_) {
      setenv(name_, old_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(ZefaLinuxPaths, DefaultDataDirectoryFollowsTheXdgConvention) {
  const struct {
    const char* name;
    const char* xdg;
    const char* home;
    std::string expected;
  } rows[] = {
      {"absolute XDG_DATA_HOME", "/data/home", "/home/u", "/data/home/com.zefa.game/"},
      {"XDG_DATA_HOME with trailing slash", "/data/home/", "/home/u", "/data/home/com.zefa.game/"},
      {"relative XDG_DATA_HOME is ignored", "rel/dir", "/home/u",
       "/home/u/.local/share/com.zefa.game/"},
      {"empty XDG_DATA_HOME", "", "/home/u", "/home/u/.local/share/com.zefa.game/"},
      {"no XDG_DATA_HOME", nullptr, "/home/u/", "/home/u/.local/share/com.zefa.game/"},
  };
  for (const auto& row : rows) {
    ScopedEnv xdg("XDG_DATA_HOME", row.xdg);
    ScopedEnv home("HOME", row.home);
    EXPECT_EQ(ZefaLinuxPaths::defaultDataDirectory("com.zefa.game"), row.expected) << row.name;
  }
}

TEST(ZefaLinuxPaths, MakesMissingDirectoriesWithTheGivenMode) {
  ZefaTempDirectory dir;
  const std::string deep = dir.path() + "/a/b/c";
  ASSERT_TRUE(ZefaLinuxPaths::makeDirectories(deep, 0700));
  EXPECT_TRUE(ZefaLinuxPaths::makeDirectories(deep + "/", 0700)) << "existing directory";
  struct stat info {};
  ASSERT_EQ(stat(deep.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  const std::string file = dir.write("plain", "x");
  EXPECT_FALSE(ZefaLinuxPaths::makeDirectories(file, 0700)) << "a file is not a directory";
  EXPECT_FALSE(ZefaLinuxPaths::makeDirectories(file + "/below", 0700));
}

TEST(ZefaLinuxPaths, BundleDirectoryDefaultsToTheExecutablesDirectory) {
  const std::optional<std::string> executable = ZefaLinuxPaths::executablePath();
  ASSERT_TRUE(executable);
  EXPECT_EQ(ZefaLinuxPaths::bundleDirectory(), executable->substr(0, executable->rfind('/')));
}

// The default services, made on first use from the directories chosen at start-up. Runs in a
// child process so that the defaults are made there, from this test's directories.
TEST(ZefaLinuxPaths, DefaultServicesUseTheChosenDirectories) {
  ZefaTempDirectory bundleDir;
  ZefaTempDirectory home;
  bundleDir.write("Info.json", R"({"CFBundleIdentifier":"com.zefa.paths",)"
                               R"("CFBundleShortVersionString":"1.2.3"})");
  bundleDir.write("Data/Raw/hello.txt", "hello");
  const std::string dataDir = home.path() + "/xdg/com.zefa.paths/";
  EXPECT_EXIT(
      {
        ZefaPlatform::current().reset();
        setenv("XDG_DATA_HOME", (home.path() + "/xdg").c_str(), 1);
        ZefaLinuxPaths::setBundleDirectory(bundleDir.path());
        bool ok = ZefaSDKUtils::appBundleID() == "com.zefa.paths" &&
                  ZefaSDKUtils::appBundleVersionCode() == 10203 &&
                  ZefaSDKUtils::readFile("hello.txt", "") == "hello" &&
                  ZefaLinuxPaths::dataDirectory() == dataDir;
        ZefaUserDefaults::standard().setValue("v", "k");
        ZefaSDKUtils::saveInKeyChain("S", "a", "secret");
        struct stat info {};
        ok = ok && ZefaUserDefaults::standard().string("k") == "v" &&
             ZefaSDKUtils::getFromKeyChain("S", "a") == "secret" &&
             stat((dataDir + "defaults.sqlite").c_str(), &info) == 0 &&
             stat((dataDir + "keychain.sqlite").c_str(), &info) == 0 &&
             (info.st_mode & 0777) == 0600;
        std::filesystem::remove_all(bundleDir.path());
        std::filesystem::remove_all(home.path());
        _exit(ok ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
