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
                                 {"Count", 7},
                                 {"List", ZefaJsonArray{"a"}}};
  EXPECT_EQ(ZefaSDKUtils::getMainInfo(), bundle_->info);
  EXPECT_EQ(ZefaSDKUtils::appBundleID(), "com.zefa.game");
  EXPECT_EQ(ZefaSDKUtils::appBundleShortVersion(), "2.3.1");
  EXPECT_EQ(ZefaSDKUtils::appBuildVersion(), "451");
  // A number is handed on as a value but is not text.
  EXPECT_EQ(ZefaSDKUtils::getMainInfoValueForKey("Count"), ZefaJson(7));
  EXPECT_EQ(ZefaSDKUtils::getMainInfoStringForKey("Count"), std::nullopt);
  EXPECT_EQ(ZefaSDKUtils::getMainInfoValueForKey("List"), ZefaJson(ZefaJsonArray{"a"}));
  EXPECT_EQ(ZefaSDKUtils::getMainInfoValueForKey("Missing"), std::nullopt);
  EXPECT_EQ(ZefaSDKUtils::getMainInfoStringForKey("Missing"), std::nullopt);
}

TEST_F(ZefaSDKUtilsBundleTest, MissingBundleDataGivesAbsentResults) {
  bundle_->info.reset();
  EXPECT_EQ(ZefaSDKUtils::getMainInfo(), std::nullopt);
  EXPECT_EQ(ZefaSDKUtils::getMainInfoValueForKey("CFBundleVersion"), std::nullopt);
  EXPECT_EQ(ZefaSDKUtils::appBundleShortVersion(), std::nullopt);
  EXPECT_EQ(ZefaSDKUtils::appBuildVersion(), std::nullopt);
  EXPECT_EQ(ZefaSDKUtils::appBundleID(), "") << "never absent";
  EXPECT_EQ(ZefaSDKUtils::appBundleVersionCode(), 0);
}

TEST_F(ZefaSDKUtilsBundleTest, VersionCodeFoldsComponentsByPowersOfHundred) {
  const struct {
    const char* name;
    ZefaJson version;
    int64_t code;
  } rows[] = {
      {"three components", "1.2.3", 10203},
      {"two components", "2.0", 200},
      {"two-digit component", "1.10", 110},
      {"single component", "7", 7},
      {"four components", "1.2.3.4", 1020304},
      {"component of 100 overlaps the next", "1.100", 200},
      {"leading zero", "10.0.0", 100000},
      {"only the last component", "0.0.1", 1},
      {"signs are allowed", "+1.-2", 98},
      {"ten components reach 10^18", "9.0.0.0.0.0.0.0.0.1", 9000000000000000001},
      {"largest 64-bit value", "9223372036854775807", INT64_MAX},
      {"smallest 64-bit value", "-9223372036854775808", INT64_MIN},
      {"sum lands exactly on the maximum", "92233720368547758.7", INT64_MAX},
      {"a number is not a version", 123, 0},
  };
  for (const auto& row : rows) {
    useShortVersion(row.version);
    EXPECT_EQ(ZefaSDKUtils::appBundleVersionCode(), row.code) << row.name;
  }
}

TEST_F(ZefaSDKUtilsBundleTest, VersionCodeStopsOnAMalformedVersion) {
  const struct {
    const char* name;
    const char* version;
    const char* message;
  } rows[] = {
      {"empty version", "", "is not an integer"},
      {"two dots in a row", "1..2", "is not an integer"},
      {"trailing dot", "1.2.", "is not an integer"},
      {"suffix", "1.2.3-beta", "is not an integer"},
      {"letters", "a.b", "is not an integer"},
      {"white space", " 1.2", "is not an integer"},
      {"sign without digits", "1.+", "is not an integer"},
      {"two signs", "+-1", "is not an integer"},
      {"component beyond 64 bits", "99999999999999999999", "is not an integer"},
      {"eleven components", "1.0.0.0.0.0.0.0.0.0.0", "too many components"},
      {"product overflows", "93.0.0.0.0.0.0.0.0.0", "overflows"},
      {"sum overflows", "92233720368547758.8", "overflows"},
  };
  for (const auto& row : rows) {
    useShortVersion(row.version);
    EXPECT_DEATH(ZefaSDKUtils::appBundleVersionCode(), row.message) << row.name;
  }
}

class ZefaSDKUtilsReadFileTest : public testing::Test {
 protected:
  void SetUp() override {
    ZefaPlatform::current().install(std::make_shared<ZefaDirectoryBundle>(dir_.path()));
  }
  void TearDown() override { ZefaPlatform::current().reset(); }
  ZefaTempDirectory dir_;
};

TEST_F(ZefaSDKUtilsReadFileTest, SearchesTheTopLevelThenDataRaw) {
  dir_.write("both.txt", "top");
  dir_.write("Data/Raw/both.txt", "raw");
  dir_.write("Data/Raw/raw-only.txt", "raw only");
  dir_.write("cfga.json", "no separator");
  dir_.write("cfg/a.json", "in cfg");
  dir_.write("Data/Raw/cfg/b.json", "raw cfg");
  dir_.write("empty.txt", "");
  dir_.write("latin1.txt", "caf\xe9");
  dir_.write("overlong.txt", "\xc0\xaf");
  dir_.write("utf8.txt", "caf\xc3\xa9 \xf0\x9f\x8e\xae");
  mkdir((dir_.path() + "/folder").c_str(), 0755);
  dir_.write("Data/Raw/folder", "shadowed by the top-level directory");
  const struct {
    const char* name;
    std::string fileName, subPath;
    std::optional<std::string> content;
  } rows[] = {
      {"top level before Data/Raw", "both.txt", "", "top"},
      {"found in Data/Raw", "raw-only.txt", "", "raw only"},
      {"no separator between sub-path and name", "a.json", "cfg", "no separator"},
      {"sub-path ending in a slash", "a.json", "cfg/", "in cfg"},
      {"sub-path inside Data/Raw", "b.json", "cfg/", "raw cfg"},
      {"empty file", "empty.txt", "", ""},
      {"valid UTF-8", "utf8.txt", "", "caf\xc3\xa9 \xf0\x9f\x8e\xae"},
      {"not UTF-8", "latin1.txt", "", std::nullopt},
      {"overlong UTF-8", "overlong.txt", "", std::nullopt},
      {"missing", "missing.txt", "", std::nullopt},
      {"a directory found first cannot be read", "folder", "", std::nullopt},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ZefaSDKUtils::readFile(row.fileName, row.subPath), row.content) << row.name;
  }
}

TEST(ZefaSDKUtilsReadFile, AnEmptyPathIsNoFile) {
  auto bundle = std::make_shared<ZefaFakeBundle>();
  bundle->addResource("", "x.txt", "", "");
  bundle->addResource("Data/Raw", "x.txt", "", "/etc/hostname");
  ZefaPlatform::current().install(bundle);
  // The first directory that answers wins, even with an empty path.
  EXPECT_EQ(ZefaSDKUtils::readFile("x.txt", ""), std::nullopt);
  ZefaPlatform::current().reset();
}

}  // namespace
