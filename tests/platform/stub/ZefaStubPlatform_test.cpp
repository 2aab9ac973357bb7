// The library on the stub platform: every service answers "absent" or failure, and the library
// turns those answers into its usual results without crashing; the main queue still runs.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "ZefaBase/ZefaSDKUtils.h"
#include "platform/ZefaPlatform.h"

namespace {

TEST(ZefaStubPlatform, ServicesAnswerAbsentAndTheLibraryCarriesOn) {
  EXPECT_EQ(ZefaSDKUtils::getMainInfo(), std::nullopt);
  EXPECT_EQ(ZefaSDKUtils::appBundleID(), "");
  EXPECT_EQ(ZefaSDKUtils::readFile("a.json", ""), std::nullopt);
  EXPECT_EQ(ZefaSDKUtils::idfv(), std::nullopt);
  EXPECT_EQ(ZefaSDKUtils::idfa(), "00000000-0000-0000-0000-000000000000");
  EXPECT_EQ(ZefaSDKUtils::isVpn(), -1);
  EXPECT_EQ(ZefaSDKUtils::isProxy(), -1);
  ZefaSDKUtils::saveInKeyChain("svc", "key", "secret");
  EXPECT_EQ(ZefaSDKUtils::getFromKeyChain("svc", "key"), "");
  EXPECT_EQ(ZefaSDKUtils::listFromKeyChain("svc"), std::nullopt);
  EXPECT_FALSE(ZefaPlatform::current().keyValueStore().setString("k", "v"));
  EXPECT_EQ(ZefaPlatform::current().keyValueStore().string("k"), std::nullopt);
  EXPECT_EQ(ZefaPlatform::current().mainQueue().wakeHandle(), -1);
  ZefaPlatformOptions options;
  options.caBundle = "ca.pem";  // nothing is fetched, so nothing refuses it
  EXPECT_TRUE(zefa::platform_defaults::configure(options));
  const double now = ZefaPlatform::current().clock().now();
  EXPECT_GT(now, 1.7e9);  // after 2023: a real clock, not a zero
}

// A request fails as any failed transfer does: once, on the main queue, never at the call.
TEST(ZefaStubPlatform, RequestsFailOnTheMainQueue) {
  int successes = 0;
  std::optional<std::string> failure;
  ZefaSDKUtils::postJson(
      "http://127.0.0.1:9/x", ZefaJsonObject{{"a", 1}}, std::nullopt, 5,
      [&](const ZefaJsonObject&) { ++successes; },
      [&](const std::string& message) { failure = message; });
  EXPECT_EQ(failure, std::nullopt) << "reported at the call";
  EXPECT_EQ(ZefaPlatform::current().mainQueue().runOnce(), 1u);
  EXPECT_EQ(successes, 0);
  EXPECT_NE(failure, std::nullopt);
}

}  // namespace
