#include "platform/linux/ZefaLinuxPaths.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/ZefaUserDefaults.h"
#include "platform/ZefaPlatform.h"
#include "tests/platform/ZefaTestMachine.h"

namespace {

TEST(ZefaLinuxPaths, DefaultDataDirectoryFollowsTheXdgConvention) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      // XDG_DATA_HOME, HOME
      {"/data/home/", "/home/u", "/data/home/com.zefa.game/"},
      {"rel/dir", "/home/u", "/home/u/.local/share/com.zefa.game/"},  // relative: ignored
      {nullptr, "/home/u/", "/home/u/.local/share/com.zefa.game/"},
  };
  for (const auto& [xdg, home, expected] : rows) {
    ScopedEnv xdgData("XDG_DATA_HOME", xdg), homeDirectory("HOME", home);
    EXPECT_EQ(ZefaLinuxPaths::defaultDataDirectory("com.zefa.game"), expected)
        << testing::PrintToString(xdg);
  }
}

// The default services are made on first use from the directories chosen at start-up, and the
// data directory is made private even when it exists already and only the defaults are used. The
// check runs in a child process, whose defaults come from this test's directories.
TEST(ZefaLinuxPaths, DefaultServicesUseTheChosenDirectories) {
  ZefaTempDirectory bundleDir, home;
  bundleDir.write("Info.json", R"({"CFBundleIdentifier":"com.zefa.paths",)"
                               R"("CFBundleShortVersionString":"1.2.3"})");
  bundleDir.write("Data/Raw/hello.txt", "hello");
  const std::string dataDir = home.path() + "/xdg/com.zefa.paths/";
  std::filesystem::create_directories(dataDir);
  chmod(dataDir.c_str(), 0755);
  EXPECT_EXIT(
      {
        ZefaPlatform::current().reset();
        setenv("XDG_DATA_HOME", (home.path() + "/xdg").c_str(), 1);
        ZefaLinuxPaths::setBundleDirectory(bundleDir.path());
        struct stat data {};
        const bool stored = ZefaUserDefaults::standard().setValue("v", "k");
        const bool isPrivate = stat(dataDir.c_str(), &data) == 0 && (data.st_mode & 0777) == 0700;
        ZefaSDKUtils::saveInKeyChain("S", "a", "secret");
        const bool ok = stored && isPrivate && ZefaSDKUtils::appBundleVersionCode() == 10203 &&
                        ZefaSDKUtils::readFile("hello.txt", "") == "hello" &&
                        ZefaUserDefaults::standard().string("k") == "v" &&
                        ZefaSDKUtils::getFromKeyChain("S", "a") == "secret" &&
                        access((dataDir + "defaults.sqlite").c_str(), F_OK) == 0 &&
                        access((dataDir + "keychain.sqlite").c_str(), F_OK) == 0;
        std::filesystem::remove_all(bundleDir.path());
        std::filesystem::remove_all(home.path());
        _exit(ok ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
