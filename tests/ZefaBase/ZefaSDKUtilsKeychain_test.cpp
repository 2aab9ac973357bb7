#include <gtest/gtest.h>

#include "ZefaBase/ZefaSDKUtils.h"
#include "platform/ZefaPlatform.h"
#include "platform/testing/ZefaFakeDevice.h"
#include "platform/testing/ZefaFakeKeychain.h"
#include "tests/support/ZefaLogCapture.h"

namespace {

const std::string kVendor = "6F9619FF-8B86-D011-B42D-00C04FC964FF";
const std::string kLine = "[I][ZefaSDKUtils][keyChainId()](";
const std::string kSaved = kLine + "77):Zefa[Swift]-> save success to keychainId " + kVendor + ";";
const std::string kFound = kLine + "82):Zefa[Swift]-> find keychain form keychain X;";
const std::string kFailed =
    "[E][ZefaSDKUtils][keyChainId()](72):Zefa[Swift]-> get keychainId failed";

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

// The device id is read under "ZefaSDK" and written under "ZefaSDk", so it never finds itself.
TEST_F(ZefaSDKUtilsKeychainTest, KeyChainIdReadsOneServiceAndWritesTheOther) {
  using Entries = std::map<std::pair<std::string, std::string>, std::string>;
  const Entries saved{{{"ZefaSDk", "keychainId"}, kVendor}}, kept{{{"ZefaSDK", "keychainId"}, "X"}};
  const Entries stale{{{"ZefaSDk", "keychainId"}, "OLD"}};
  const struct {
    const char* name;
    Entries preset;
    bool vendor, acceptWrites, showInfo;
    std::optional<std::string> result;
    Entries after;
    std::vector<std::string> log;
  } rows[] = {
      {"empty keychain: vendor id saved", {}, true, true, true, kVendor, saved, {kSaved}},
      {"found under ZefaSDK, nothing written", kept, true, true, true, "X", kept, {kFound}},
      {"own ZefaSDk entry never found", stale, true, true, false, kVendor, saved, {}},
      {"no vendor id: logged with info off", {}, false, true, false, std::nullopt, {}, {kFailed}},
      {"refused write: vendor id, no log", {}, true, false, true, kVendor, {}, {}},
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

// Service first, then account; a missing entry reads as "", a missing list stays absent.
TEST_F(ZefaSDKUtilsKeychainTest, ThinOperationsTakeServiceThenAccount) {
  EXPECT_EQ(ZefaSDKUtils::getFromKeyChain("S", "missing"), "");
  ZefaSDKUtils::saveInKeyChain("S", "account", "value");
  EXPECT_EQ(keychain_->entries().at({"S", "account"}), "value");
  EXPECT_EQ(ZefaSDKUtils::getFromKeyChain("S", "account"), "value");
  ZefaSDKUtils::removeFromKeyChain("S", "account");
  EXPECT_EQ(keychain_->entries().count({"S", "account"}), 0u);
  using Accounts = std::vector<ZefaJsonObject>;
  for (const auto& [store, list] :
       std::initializer_list<std::pair<std::optional<Accounts>, std::optional<ZefaJsonArray>>>{
           {std::nullopt, std::nullopt},
           {Accounts{}, ZefaJsonArray{}},
           {Accounts{{{"acct", "b"}}, {{"acct", "a"}}},
            ZefaJsonArray{ZefaJsonObject{{"acct", "b"}}, ZefaJsonObject{{"acct", "a"}}}},
       }) {
    keychain_->scriptAccounts(store);
    EXPECT_EQ(ZefaSDKUtils::listFromKeyChain("S"), list);
  }
}

}  // namespace
