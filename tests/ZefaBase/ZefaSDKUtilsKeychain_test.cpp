#include <gtest/gtest.h>

#include "ZefaBase/ZefaSDKUtils.h"
#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaSqliteKeychain.h"
#include "platform/testing/ZefaFakeDevice.h"
#include "platform/testing/ZefaFakeKeychain.h"
#include "tests/platform/ZefaTestMachine.h"
#include "tests/support/ZefaLogCapture.h"

namespace {

const std::string kVendor = "6F9619FF-8B86-D011-B42D-00C04FC964FF";
const std::string kLine = "[I][ZefaSDKUtils][keyChainId()](";

class ZefaSDKUtilsKeychainTest : public testing::Test {
 protected:
  void SetUp() override {
    ZefaPlatform::current().install(keychain_);
    ZefaPlatform::current().install(device_);
  }
  void TearDown() override { ZefaPlatform::current().reset(); }
  std::shared_ptr<ZefaFakeKeychain> keychain_ = std::make_shared<ZefaFakeKeychain>();
  std::shared_ptr<ZefaFakeDevice> device_ = std::make_shared<ZefaFakeDevice>();
};

TEST_F(ZefaSDKUtilsKeychainTest, KeyChainIdReadsOneServiceAndWritesTheOther) {
  using Entries = std::map<std::pair<std::string, std::string>, std::string>;
  const Entries saved{{{"ZefaSDk", "keychainId"}, kVendor}};
  const Entries kept{{{"ZefaSDK", "keychainId"}, "X"}};
  const struct {
    const char* name;
    Entries preset;
    bool vendor, acceptWrites, showInfo;
    std::optional<std::string> result;
    Entries after;
    std::vector<std::string> log;
  } rows[] = {
      {"empty keychain: the vendor id is saved under ZefaSDk",
       {},
       true,
       true,
       true,
       kVendor,
       saved,
       {kLine + "77):Zefa[Swift]-> save success to keychainId " + kVendor + ";"}},
      {"an entry under ZefaSDK is returned, nothing written",
       kept,
       true,
       true,
       true,
       "X",
       kept,
       {kLine + "82):Zefa[Swift]-> find keychain form keychain X;"}},
      {"an entry under ZefaSDk is never found",
       {{{"ZefaSDk", "keychainId"}, "OLD"}},
       true,
       true,
       false,
       kVendor,
       saved,
       {}},
      {"no vendor id: absent, logged even with info lines off",
       {},
       false,
       true,
       false,
       std::nullopt,
       {},
       {"[E][ZefaSDKUtils][keyChainId()](72):Zefa[Swift]-> get keychainId failed"}},
      {"a refused write still returns the vendor id, silently",
       {},
       true,
       false,
       true,
       kVendor,
       {},
       {}},
  };
  for (const auto& row : rows) {
    keychain_ = std::make_shared<ZefaFakeKeychain>();
    ZefaPlatform::current().install(keychain_);
    for (const auto& [key, value] : row.preset) keychain_->preset(key.first, key.second, value);
    keychain_->setAcceptWrites(row.acceptWrites);
    device_->vendorIdentifier = row.vendor ? std::optional(kVendor) : std::nullopt;
    ZefaLogCapture capture(row.showInfo);
    EXPECT_EQ(ZefaSDKUtils::keyChainId(), row.result) << row.name;
    EXPECT_EQ(keychain_->entries(), row.after) << row.name;
    EXPECT_EQ(capture.entries(), row.log) << row.name;
  }
}

TEST_F(ZefaSDKUtilsKeychainTest, KeyChainIdOnTheRealKeychainFollowsTheVendorId) {
  ZefaTempDirectory dir;
  ZefaPlatform::current().install(std::make_shared<ZefaSqliteKeychain>(dir.path()));
  EXPECT_EQ(ZefaSDKUtils::keyChainId(), kVendor);
  device_->vendorIdentifier = "00000000-1111-2222-3333-444444444444";
  EXPECT_EQ(ZefaSDKUtils::keyChainId(), "00000000-1111-2222-3333-444444444444")
      << "its own entry is not found again";
  EXPECT_EQ(ZefaSDKUtils::getFromKeyChain("ZefaSDk", "keychainId"),
            "00000000-1111-2222-3333-444444444444");
  ZefaSDKUtils::saveInKeyChain("ZefaSDK", "keychainId", "FROM-ELSEWHERE");
  EXPECT_EQ(ZefaSDKUtils::keyChainId(), "FROM-ELSEWHERE");
}

TEST_F(ZefaSDKUtilsKeychainTest, ThinOperationsTakeServiceThenAccount) {
  EXPECT_EQ(ZefaSDKUtils::getFromKeyChain("S", "missing"), "") << "empty, not absent";
  ZefaSDKUtils::saveInKeyChain("S", "account", "value");
  EXPECT_EQ(keychain_->entries().at({"S", "account"}), "value");
  EXPECT_EQ(ZefaSDKUtils::getFromKeyChain("S", "account"), "value");
  ZefaSDKUtils::removeFromKeyChain("S", "account");
  ZefaSDKUtils::removeFromKeyChain("S", "account");  // a failed delete is ignored
  EXPECT_EQ(ZefaSDKUtils::getFromKeyChain("S", "account"), "");

  const struct {
    std::optional<std::vector<ZefaJsonObject>> store;
    std::optional<ZefaJsonArray> expected;
  } rows[] = {
      {std::nullopt, std::nullopt},
      {std::vector<ZefaJsonObject>{}, ZefaJsonArray{}},
      {std::vector<ZefaJsonObject>{{{"acct", "b"}}, {{"acct", "a"}}},
       ZefaJsonArray{ZefaJsonObject{{"acct", "b"}}, ZefaJsonObject{{"acct", "a"}}}},
  };
  for (const auto& row : rows) {
    keychain_->scriptAccounts(row.store);
    EXPECT_EQ(ZefaSDKUtils::listFromKeyChain("S"), row.expected);
  }
}

}  // namespace
