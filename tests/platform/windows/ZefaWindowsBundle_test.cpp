#include "platform/windows/ZefaWindowsBundle.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>

#include "platform/ZefaPlatform.h"
#include "tests/platform/ZefaTestMachine.h"

namespace {

TEST(ZefaWindowsBundle, ReadsTheInformationDictionaryFromInfoJson) {
  ZefaTempDirectory dir;
  ZefaWindowsBundle bundle(dir.path() + "\\");
  EXPECT_EQ(bundle.infoDictionary(), std::nullopt) << "no Info.json";
  dir.write("Info.json", R"({"CFBundleIdentifier":"com.zefa.game","CFBundleVersion":"7"})");
  EXPECT_EQ(bundle.bundleIdentifier(), "com.zefa.game");
  dir.write("Info.json", "[1]");
  EXPECT_EQ(bundle.infoDictionary(), std::nullopt) << "not an object";
}

TEST(ZefaWindowsBundle, FindsResourcesByNameTypeAndDirectory) {
  ZefaTempDirectory dir;
  std::filesystem::create_directories(std::filesystem::path(dir.path()) / "Data/Raw/empty");
  dir.write("a.json", "top");
  dir.write("Data/Raw/a.json", "raw");
  dir.write(std::filesystem::path(u8"Data/Raw/\u00e9t\u00e9"), std::string("bin\0ary", 7));
  ZefaWindowsBundle bundle(dir.path());
  using Bytes = std::optional<std::string>;
  for (const auto& [name, type, subDirectory, exists, bytes] :
       std::initializer_list<std::tuple<std::string, std::string, std::string, bool, Bytes>>{
           {"a.json", "", "", true, "top"},
           {"a", "json", "", true, "top"},
           {"a", ".json", "", true, "top"},
           {"a.json", "", "Data/Raw", true, "raw"},
           {"a.json", "", "/Data\\Raw/", true, "raw"},
           {"Raw/a.json", "", "Data", true, "raw"},
           {"\xC3\xA9t\xC3\xA9", "", "Data/Raw", true, std::string("bin\0ary", 7)},
           {"empty", "", "Data/Raw", true, std::nullopt},
           {"b.json", "", "", false, std::nullopt},
           {"", "", "Data", false, std::nullopt}}) {
    const ZefaBundleResource found = bundle.resource(name, type, subDirectory);
    EXPECT_EQ(found.exists, exists) << name << " in " << subDirectory;
    EXPECT_EQ(found.bytes, bytes) << name << " in " << subDirectory;
  }
}

// The default bundle is beside the executable until start-up names another directory; the
// options this platform cannot honour are refused with nothing applied.
TEST(ZefaWindowsBundle, DefaultDirectoryFollowsTheStartUpOptions) {
  ZefaTempDirectory dir;
  wchar_t executable[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, executable, MAX_PATH);
  EXPECT_EQ(std::filesystem::path(ZefaWindowsBundle::defaultDirectory()),
            std::filesystem::path(executable).parent_path());

  ZefaPlatformOptions refused;
  refused.bundleDirectory = "C:\\elsewhere";
  refused.caBundle = "C:\\certificates.pem";
  EXPECT_FALSE(zefa::platform_defaults::configure(refused));
  EXPECT_EQ(std::filesystem::path(ZefaWindowsBundle::defaultDirectory()),
            std::filesystem::path(executable).parent_path());

  ZefaPlatformOptions accepted;
  accepted.bundleDirectory = dir.path();
  accepted.dataDirectory = "C:\\ignored";
  EXPECT_TRUE(zefa::platform_defaults::configure(accepted));
  dir.write("Info.json", R"({"CFBundleIdentifier":"com.zefa.configured"})");
  EXPECT_EQ(zefa::platform_defaults::makeBundle()->bundleIdentifier(), "com.zefa.configured");
}

}  // namespace
