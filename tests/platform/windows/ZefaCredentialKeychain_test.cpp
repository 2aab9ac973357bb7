#include "platform/windows/ZefaCredentialKeychain.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <wincred.h>

#include <memory>

#include "tests/platform/ZefaKeychainContract.h"

namespace {

// A keychain of its own application; whatever a test leaves behind is deleted at the end.
class ZefaCredentialKeychainTest : public testing::Test {
 protected:
  void TearDown() override {
    const std::wstring filter = L"ZefaBase:" + ZefaCredentialKeychain::hex(application) + L"/*";
    DWORD count = 0;
    PCREDENTIALW* list = nullptr;
    if (!CredEnumerateW(filter.c_str(), 0, &count, &list)) return;
    for (DWORD i = 0; i < count; ++i) CredDeleteW(list[i]->TargetName, CRED_TYPE_GENERIC, 0);
    CredFree(list);
  }
  const std::string application = "com.zefa.keychain-test." + std::to_string(GetCurrentProcessId());
  ZefaCredentialKeychain keychain{application};
};

TEST_F(ZefaCredentialKeychainTest, StoresAndListsByExactServiceAndAccount) {
  expectKeychainContract([&] { return std::make_unique<ZefaCredentialKeychain>(application); });
  EXPECT_EQ(ZefaCredentialKeychain("another.game").password("ZefaSDK", "keychainId"), std::nullopt)
      << "another application's keychain";
}

TEST_F(ZefaCredentialKeychainTest, RefusesAPasswordLongerThanACredentialHolds) {
  EXPECT_TRUE(keychain.setPassword(std::string(CRED_MAX_CREDENTIAL_BLOB_SIZE, 'p'), "S", "max"));
  EXPECT_FALSE(keychain.setPassword(std::string(CRED_MAX_CREDENTIAL_BLOB_SIZE + 1, 'p'), "S", "a"));
  EXPECT_EQ(keychain.password("S", "a"), std::nullopt);
}

}  // namespace
