#include "platform/linux/ZefaLinuxPaths.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/ZefaUserDefaults.h"
#include "platform/ZefaPlatform.h"
#include "tests/platform/ZefaTestMachine.h"
#include "tests/platform/ZefaTestMachine.h"

namespace {

TEST(ZefaLinuxPaths, DefaultDataDirectoryFollowsTheXdgConvention) {
  const struct {
    const char* xdg;
    const char* home;
    std::string expected;
  } rows[] = {
      {"/data/home/", "/home/u", "/data/home/com.zefa.game/"},
      {"rel/dir", "/home/u", "/home/u/.local/share/com.zefa.game/"},  // relative: ignored
      {nullptr, "/home/u/", "/home/u/.local/share/com.zefa.game/"},
  };
  for (const auto& row : rows) {
    ScopedEnv xdg("XDG_DATA_HOME", row.xdg);
    ScopedEnv home("HOME", row.home);
    EXPECT_EQ(ZefaLinuxPaths::defaultDataDirectory("com.zefa.game"), row.expected);
  }
}

// The default services, made on first use from the directories chosen at start-up. The check
// runs in a child process, where the defaults are made from this test's directories.
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
        ZefaUserDefaults::standard().setValue("v", "k");
        ZefaSDKUtils::saveInKeyChain("S", "a", "secret");
        struct stat info {};
        const bool ok = ZefaSDKUtils::appBundleID() == "com.zefa.paths" &&
                        ZefaSDKUtils::appBundleVersionCode() == 10203 &&
                        ZefaSDKUtils::readFile("hello.txt", "") == "hello" &&
                        ZefaUserDefaults::standard().string("k") == "v" &&
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
