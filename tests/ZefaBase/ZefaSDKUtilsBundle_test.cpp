#include <gtest/gtest.h>
#include <sys/stat.h>

#include "ZefaBase/ZefaSDKUtils.h"
#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaDirectoryBundle.h"
#include "platform/testing/ZefaFakeBundle.h"
#include "tests/platform/ZefaTestMachine.h"

namespace {

class ZefaSDKUtilsBundleTest : public testing::Test {
 protected:
  void SetUp() override { ZefaPlatform::current().install(bundle_); }
  void TearDown() override { ZefaPlatform::current().reset(); }
  std::shared_ptr<ZefaFakeBundle> bundle_ = std::make_shared<ZefaFakeBundle>();
};

TEST_F(ZefaSDKUtilsBundleTest, ReadsTheInformationDictionary) {
  bundle_->info = ZefaJsonObject{{"CFBundleIdentifier", "com.zefa.game"},
                                 {"CFBundleShortVersionString", "2.3.1"},
                                 {"CFBundleVersion", "451"},
                                 {"Count", 7}};
  EXPECT_EQ(ZefaSDKUtils::appBundleID(), "com.zefa.game");
  EXPECT_EQ(ZefaSDKUtils::appBuildVersion(), "451");
  EXPECT_EQ(ZefaSDKUtils::getMainInfoValueForKey("Count"), ZefaJson(7));
  EXPECT_EQ(ZefaSDKUtils::getMainInfoStringForKey("Count"), std::nullopt) << "not text";
  bundle_->info.reset();
  EXPECT_EQ(ZefaSDKUtils::appBuildVersion(), std::nullopt);
  EXPECT_EQ(ZefaSDKUtils::appBundleID(), "") << "never absent";
  EXPECT_EQ(ZefaSDKUtils::appBundleVersionCode(), 0);
}

// Components weigh powers of 100 from the right; a malformed or too large version stops.
TEST_F(ZefaSDKUtilsBundleTest, VersionCodeFoldsComponentsOrStops) {
  using Row = std::tuple<ZefaJson, int64_t, const char*>;  // death message, or none
  for (const auto& [version, code, death] : std::initializer_list<Row>{
           {"1.2.3", 10203, nullptr},
           {"1.10", 110, nullptr},
           {"1.2.3.4", 1020304, nullptr},
           {"1.100", 200, nullptr},  // a component of 100 overlaps the next
           {"+1.-2", 98, nullptr},
           {"9.0.0.0.0.0.0.0.0.1", 9000000000000000001, nullptr},  // ten components: 10^18
           {"92233720368547758.7", INT64_MAX, nullptr},
           {123, 0, nullptr},  // a number is not a version text
           {"", 0, "is not an integer"},
           {"1.2.3-beta", 0, "is not an integer"},
           {" 1.2", 0, "is not an integer"},
           {"+-1", 0, "is not an integer"},
           {"99999999999999999999", 0, "is not an integer"},
           {"1.0.0.0.0.0.0.0.0.0.0", 0, "too many components"},
           {"93.0.0.0.0.0.0.0.0.0", 0, "overflows"},  // the product
           {"92233720368547758.8", 0, "overflows"},   // the sum
       }) {
    bundle_->info = ZefaJsonObject{{"CFBundleShortVersionString", version}};
    if (death) {
      EXPECT_DEATH(ZefaSDKUtils::appBundleVersionCode(), death) << version;
    } else {
      EXPECT_EQ(ZefaSDKUtils::appBundleVersionCode(), code) << version;
    }
  }
}

// Each file holds its own path, so a lookup shows which file it found.
TEST(ZefaSDKUtilsReadFile, SearchesTheTopLevelThenDataRawWithoutASeparator) {
  ZefaTempDirectory dir;
  ZefaPlatform::current().install(std::make_shared<ZefaDirectoryBundle>(dir.path()));
  mkdir((dir.path() + "/folder").c_str(), 0755);
  using Row = std::tuple<std::string, std::string, std::string, std::optional<std::string>>;
  const Row rows[] = {
      // file written, file name, sub-path, content found
      {"both.txt", "both.txt", "", "both.txt"},
      {"Data/Raw/both.txt", "both.txt", "", "both.txt"},
      {"Data/Raw/raw.txt", "raw.txt", "", "Data/Raw/raw.txt"},
      {"cfga.json", "a.json", "cfg", "cfga.json"},
      {"cfg/a.json", "a.json", "cfg/", "cfg/a.json"},
      {"Data/Raw/folder", "folder", "", std::nullopt},  // the top-level directory is found
      {"other.txt", "missing.txt", "", std::nullopt},
  };
  for (const auto& row : rows) dir.write(std::get<0>(row), std::get<0>(row));
  for (const auto& [file, name, subPath, found] : rows) {
    EXPECT_EQ(ZefaSDKUtils::readFile(name, subPath), found) << file;
  }
  dir.write("latin1.txt", "caf\xe9");
  EXPECT_EQ(ZefaSDKUtils::readFile("latin1.txt", ""), std::nullopt) << "not UTF-8";
  // The first directory that has the name wins, even when it cannot be read.
  auto bundle = std::make_shared<ZefaFakeBundle>();
  bundle->addResource("", "x.txt", "", std::nullopt);
  bundle->addResource("Data/Raw", "x.txt", "", "text");
  ZefaPlatform::current().install(bundle);
  EXPECT_EQ(ZefaSDKUtils::readFile("x.txt", ""), std::nullopt);
  ZefaPlatform::current().reset();
}

}  // namespace
