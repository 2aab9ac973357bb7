#include <gtest/gtest.h>
#include <sys/stat.h>

#include "ZefaBase/ZefaSDKUtils.h"
#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaDirectoryBundle.h"
#include "platform/testing/ZefaFakeBundle.h"
#include "tests/platform/ZefaTempDirectory.h"

namespace {

class ZefaSDKUtilsBundleTest : public testing::Test {
 protected:
  void SetUp() override { ZefaPlatform::current().install(bundle_); }
  void TearDown() override { ZefaPlatform::current().reset(); }
  void useShortVersion(ZefaJson version) {
    bundle_->info = ZefaJsonObject{{"CFBundleShortVersionString", std::move(version)}};
  }
  std::shared_ptr<ZefaFakeBundle> bundle_ = std::make_shared<ZefaFakeBundle>();
};

TEST_F(ZefaSDKUtilsBundleTest, ReadsTheInformationDictionary) {
  bundle_->info = ZefaJsonObject{{"CFBundleIdentifier", "com.zefa.game"},
                                 {"CFBundleShortVersionString", "2.3.1"},
                                 {"CFBundleVersion", "451"},
                                 {"Count", 7}};
  EXPECT_EQ(ZefaSDKUtils::getMainInfo(), bundle_->info);
  EXPECT_EQ(ZefaSDKUtils::appBundleID(), "com.zefa.game");
  EXPECT_EQ(ZefaSDKUtils::appBundleShortVersion(), "2.3.1");
  EXPECT_EQ(ZefaSDKUtils::appBuildVersion(), "451");
  // A number is handed on as a value but is not text.
  EXPECT_EQ(ZefaSDKUtils::getMainInfoValueForKey("Count"), ZefaJson(7));
  EXPECT_EQ(ZefaSDKUtils::getMainInfoStringForKey("Count"), std::nullopt);
  EXPECT_EQ(ZefaSDKUtils::getMainInfoValueForKey("Missing"), std::nullopt);

  bundle_->info.reset();
  EXPECT_EQ(ZefaSDKUtils::getMainInfo(), std::nullopt);
  EXPECT_EQ(ZefaSDKUtils::getMainInfoValueForKey("CFBundleVersion"), std::nullopt);
  EXPECT_EQ(ZefaSDKUtils::appBuildVersion(), std::nullopt);
  EXPECT_EQ(ZefaSDKUtils::appBundleID(), "") << "never absent";
  EXPECT_EQ(ZefaSDKUtils::appBundleVersionCode(), 0);
}

TEST_F(ZefaSDKUtilsBundleTest, VersionCodeFoldsComponentsByPowersOfHundred) {
  const struct {
    ZefaJson version;
    int64_t code;
  } rows[] = {
      {"1.2.3", 10203},
      {"2.0", 200},
      {"1.10", 110},
      {"7", 7},
      {"1.2.3.4", 1020304},
      {"1.100", 200},  // a component of 100 overlaps the next
      {"10.0.0", 100000},
      {"0.0.1", 1},
      {"+1.-2", 98},
      {"9.0.0.0.0.0.0.0.0.1", 9000000000000000001},  // ten components: 10^18
      {"9223372036854775807", INT64_MAX},
      {"-9223372036854775808", INT64_MIN},
      {"92233720368547758.7", INT64_MAX},
      {123, 0},  // a number is not a version text
  };
  for (const auto& row : rows) {
    useShortVersion(row.version);
    EXPECT_EQ(ZefaSDKUtils::appBundleVersionCode(), row.code) << row.version;
  }
}

TEST_F(ZefaSDKUtilsBundleTest, VersionCodeStopsOnAMalformedVersion) {
  const struct {
    const char* version;
    const char* message;
  } rows[] = {
      {"", "is not an integer"},
      {"1..2", "is not an integer"},
      {"1.2.", "is not an integer"},
      {"1.2.3-beta", "is not an integer"},
      {" 1.2", "is not an integer"},
      {"1.+", "is not an integer"},
      {"+-1", "is not an integer"},
      {"99999999999999999999", "is not an integer"},
      {"1.0.0.0.0.0.0.0.0.0.0", "too many components"},
      {"93.0.0.0.0.0.0.0.0.0", "overflows"},  // the product
      {"92233720368547758.8", "overflows"},   // the sum
  };
  for (const auto& row : rows) {
    useShortVersion(row.version);
    EXPECT_DEATH(ZefaSDKUtils::appBundleVersionCode(), row.message) << row.version;
  }
}

TEST(ZefaSDKUtilsReadFile, SearchesTheTopLevelThenDataRaw) {
  ZefaTempDirectory dir;
  ZefaPlatform::current().install(std::make_shared<ZefaDirectoryBundle>(dir.path()));
  dir.write("both.txt", "top");
  dir.write("Data/Raw/both.txt", "raw");
  dir.write("Data/Raw/raw-only.txt", "raw only");
  dir.write("cfga.json", "no separator");
  dir.write("cfg/a.json", "in cfg");
  dir.write("empty.txt", "");
  dir.write("latin1.txt", "caf\xe9");
  dir.write("overlong.txt", "\xc0\xaf");
  dir.write("utf8.txt", "caf\xc3\xa9 \xf0\x9f\x8e\xae");
  mkdir((dir.path() + "/folder").c_str(), 0755);
  dir.write("Data/Raw/folder", "shadowed by the top-level directory");
  const struct {
    std::string fileName, subPath;
    std::optional<std::string> content;
  } rows[] = {
      {"both.txt", "", "top"},
      {"raw-only.txt", "", "raw only"},
      {"a.json", "cfg", "no separator"},
      {"a.json", "cfg/", "in cfg"},
      {"empty.txt", "", ""},
      {"utf8.txt", "", "caf\xc3\xa9 \xf0\x9f\x8e\xae"},
      {"latin1.txt", "", std::nullopt},
      {"overlong.txt", "", std::nullopt},
      {"missing.txt", "", std::nullopt},
      {"folder", "", std::nullopt},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ZefaSDKUtils::readFile(row.fileName, row.subPath), row.content)
        << row.subPath << row.fileName;
  }
  // The first directory that answers wins, even with an empty path.
  auto bundle = std::make_shared<ZefaFakeBundle>();
  bundle->addResource("", "x.txt", "", "");
  bundle->addResource("Data/Raw", "x.txt", "", dir.path() + "/both.txt");
  ZefaPlatform::current().install(bundle);
  EXPECT_EQ(ZefaSDKUtils::readFile("x.txt", ""), std::nullopt);
  ZefaPlatform::current().reset();
}

}  // namespace
