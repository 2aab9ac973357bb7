// Settings written by a game's static object, whose constructor may run before the library's own
// static initialisation: this file is linked ahead of the library, so its objects start first.
#include <gtest/gtest.h>

#include "ZefaBase/ZefaConstants.h"
#include "ZefaBase/ZefaServerCall.h"

namespace {

const struct EarlySettings {
  EarlySettings() {
    ZefaServerCall::setHostAndDeviceId("https://early.example", "early-host", "early-device");
    ZefaServerCall::DEVICE_ID_KEY = "X-Early-Device";
  }
} kEarlySettings;

TEST(ZefaServerCallStartupTest, SettingsWrittenBeforeMainAreKept) {
  EXPECT_EQ(ZefaServerCall::newUrl(false, ZefaLoginPath::LOGIN_PATH, std::nullopt),
            "https://early.example/api/user/login");
  EXPECT_EQ(ZefaServerCall::getRequestHeaders(), (ZefaHeaders{{"Content-Type", "application/json"},
                                                              {"Accept", "application/json"},
                                                              {"X-Early-Device", "early-device"},
                                                              {"Host", "early-host"}}));
}

}  // namespace
