#include <gtest/gtest.h>

#include "ZefaBase/ZefaSDKUtils.h"
#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaSqliteKeychain.h"
#include "platform/testing/ZefaFakeDevice.h"
#include "platform/testing/ZefaFakeKeychain.h"
#include "tests/platform/ZefaTempDirectory.h"
#include "tests/support/ZefaLogCapture.h"

namespace {

constexpr const char* kVendor = "6F9619FF-8B86-D011-B42D-00C04FC964FF";

class ZefaSDKUtilsKeychainTest : public testing::Test {
 protected:
  void SetUp() override {
    ZefaPlatform::current().install(keychain_);
    ZefaPlatform::current().install(device_);
    device_->vendorIdentifier = kVendor;
  }
  void TearDown() override { ZefaPlatform::current().reset(); }
  std::shared_ptr<ZefaFakeKeychain> keychain_ = std::make_shared<ZefaFakeKeychain>();
  std::shared_ptr<ZefaFakeDevice> device_ = std::make_shared<ZefaFakeDevice>();
};

TEST_F(ZefaSDKUtilsKeychainTest, KeyChainIdReadsOneServiceAndWritesTheOther) {
  using Entries = std::map<std::pair<std::string, std::string>, std::string>;
  const struct {
    const char* name;
    Entries preset;
    std::optional<std::string> vendor;
    bool acceptWrites;
    bool showInfo;
    std::optional<std::string> result;
    Entries after;
    std::vector<std::string> log;
  } rows[] = {
      {"empty keychain: the vendor id is saved under ZefaSDk",
       {},
       kVendor,
       true,
       true,
       kVendor,
       {{{"ZefaSDk", "keychainId"}, kVendor}},
       {std::string("[I][ZefaSDKUtils][keyChainId()](77):Zefa[Swift]-> save success to "
                    "keychainId ") +
        kVendor + ";"}},
      {"an entry under ZefaSDK is returned and nothing is written",
       {{{"ZefaSDK", "keychainId"}, "X-DEVICE"}},
       kVendor,
       true,
       true,
       "X-DEVICE",
       {{{"ZefaSDK", "keychainId"}, "X-DEVICE"}},
       {"[I][ZefaSDKUtils][keyChainId()](82):Zefa[Swift]-> find keychain form keychain "
        "X-DEVICE;"}},
      {"an entry under ZefaSDk is never found",
       {{{"ZefaSDk", "keychainId"}, "OLD"}},
       kVendor,
       true,
       false,
       kVendor,
       {{{"ZefaSDk", "keychainId"}, kVendor}},
       {}},
      {"an entry under another account is not the device id",
       {{{"ZefaSDK", "keyChainId"}, "WRONG ACCOUNT"}},
       kVendor,
       true,
       false,
       kVendor,
       {{{"ZefaSDK", "keyChainId"}, "WRONG ACCOUNT"}, {{"ZefaSDk", "keychainId"}, kVendor}},
       {}},
      {"no vendor id: absent, with an error line even with info lines off",
       {},
       std::nullopt,
       true,
       false,
       std::nullopt,
       {},
       {"[E][ZefaSDKUtils][keyChainId()](72):Zefa[Swift]-> get keychainId failed"}},
      {"a refused write still returns the vendor id, silently",
       {},
       kVendor,
       false,
       true,
       kVendor,
       {},
       {}},
      {"info lines off: the save is not logged",
       {},
       kVendor,
       true,
       false,
       kVendor,
       {{{"ZefaSDk", "keychainId"}, kVendor}},
       {}},
  };
  for (const auto& row : rows) {
    keychain_ = std::make_shared<ZefaFakeKeychain>();
    ZefaPlatform::current().install(keychain_);
    for (const auto& [key, value] : row.preset) keychain_->preset(key.first, key.second, value);
    keychain_->setAcceptWrites(row.acceptWrites);
    device_->vendorIdentifier = row.vendor;
    ZefaLogCapture capture(row.showInfo);
    EXPECT_EQ(ZefaSDKUtils::keyChainId(), row.result) << row.name;
    EXPECT_EQ(keychain_->entries(), row.after) << row.name;
    EXPECT_EQ(capture.entries(), row.log) << row.name;
  }
}

TEST_F(ZefaSDKUtilsKeychainTest, KeyChainIdFollowsTheVendorIdOnEveryCall) {
  EXPECT_EQ(ZefaSDKUtils::keyChainId(), kVendor);
  device_->vendorIdentifier = "00000000-1111-2222-3333-444444444444";
  EXPECT_EQ(ZefaSDKUtils::keyChainId(), "00000000-1111-2222-3333-444444444444");
  const std::vector<std::string> expected{
      "password(ZefaSDK,keychainId)", "setPassword(ZefaSDk,keychainId)",
      "password(ZefaSDK,keychainId)", "setPassword(ZefaSDk,keychainId)"};
  EXPECT_EQ(keychain_->calls(), expected);
}

TEST_F(ZefaSDKUtilsKeychainTest, KeyChainIdOnTheRealKeychainNeverFindsItsOwnEntry) {
  ZefaTempDirectory dir;
  ZefaPlatform::current().install(std::make_shared<ZefaSqliteKeychain>(dir.path()));
  ZefaLogCapture capture(true);
  EXPECT_EQ(ZefaSDKUtils::keyChainId(), kVendor);
  EXPECT_EQ(ZefaSDKUtils::keyChainId(), kVendor);
  EXPECT_EQ(ZefaSDKUtils::getFromKeyChain("ZefaSDk", "keychainId"), kVendor);
  EXPECT_EQ(ZefaSDKUtils::getFromKeyChain("ZefaSDK", "keychainId"), "");
  ASSERT_EQ(capture.entries().size(), 2u);
  EXPECT_NE(capture.entries()[1].find("(77):"), std::string::npos);
  // Once another program writes the upper-case entry, it is the device id.
  ZefaSDKUtils::saveInKeyChain("ZefaSDK", "keychainId", "FROM-ELSEWHERE");
  EXPECT_EQ(ZefaSDKUtils::keyChainId(), "FROM-ELSEWHERE");
}

TEST_F(ZefaSDKUtilsKeychainTest, ThinOperationsPassTheirArgumentsInOrder) {
  EXPECT_EQ(ZefaSDKUtils::getFromKeyChain("S", "missing"), "") << "empty, not absent";
  ZefaSDKUtils::saveInKeyChain("S", "account", "value");
  EXPECT_EQ(keychain_->entries().at({"S", "account"}), "value");
  EXPECT_EQ(ZefaSDKUtils::getFromKeyChain("S", "account"), "value");
  ZefaSDKUtils::removeFromKeyChain("S", "account");
  ZefaSDKUtils::removeFromKeyChain("S", "account");  // a failed delete is ignored
  EXPECT_EQ(ZefaSDKUtils::getFromKeyChain("S", "account"), "");
  keychain_->setAcceptWrites(false);
  ZefaSDKUtils::saveInKeyChain("S", "refused", "x");  // a failed save is ignored
  EXPECT_EQ(ZefaSDKUtils::getFromKeyChain("S", "refused"), "");
}

TEST_F(ZefaSDKUtilsKeychainTest, ListFromKeyChainHandsOnTheStoresAnswer) {
  const struct {
    const char* name;
    std::optional<std::vector<ZefaJsonObject>> store;
    std::optional<ZefaJsonArray> expected;
  } rows[] = {
      {"none stays absent", std::nullopt, std::nullopt},
      {"an empty list stays an empty list", std::vector<ZefaJsonObject>{}, ZefaJsonArray{}},
      {"records keep their order",
       std::vector<ZefaJsonObject>{{{"acct", "b"}, {"svce", "S"}}, {{"acct", "a"}}},
       ZefaJsonArray{ZefaJsonObject{{"acct", "b"}, {"svce", "S"}}, ZefaJsonObject{{"acct", "a"}}}},
  };
  for (const auto& row : rows) {
    keychain_->scriptAccounts(row.store);
    EXPECT_EQ(ZefaSDKUtils::listFromKeyChain("S"), row.expected) << row.name;
  }
}

TEST_F(ZefaSDKUtilsKeychainTest, IdentifiersComeFromTheDevice) {
  device_->advertising = "00000000-0000-0000-0000-000000000000";
  EXPECT_EQ(ZefaSDKUtils::idfa(), "00000000-0000-0000-0000-000000000000");
  EXPECT_EQ(ZefaSDKUtils::idfv(), kVendor);
  device_->vendorIdentifier.reset();
  EXPECT_EQ(ZefaSDKUtils::idfv(), std::nullopt);
}

}  // namespace
