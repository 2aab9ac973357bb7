#include "ZefaBase/ZefaConstants.h"

#include <gtest/gtest.h>

namespace {

TEST(ZefaConstantsTest, PathsAreBackendRoutesSpelledAsTheBackendServesThem) {
  const std::string_view paths[] = {ZefaLoginPath::LOGIN_PATH,
                                    ZefaLoginPath::AUTH_PATH,
                                    ZefaLoginPath::INFO_PATH,
                                    ZefaLoginPath::BIND_PATH,
                                    ZefaLoginPath::UNBIND_PATH,
                                    ZefaPurchasePath::SHOPITEMS_PATH,
                                    ZefaPurchasePath::PAYMENTPARAMS_PATH,
                                    ZefaPurchasePath::GET_UNCONSUME_PATH,
                                    ZefaPurchasePath::CONSUME_ITEM_PATH,
                                    ZefaPurchasePath::APPLE_CHECK_PATH,
                                    ZefaPurchasePath::APPLE_QURERY_SUB_PATH,
                                    ZefaPurchasePath::APPLE_RESTORE_SUB_PATH};
  for (const auto path : paths) {
    EXPECT_TRUE(path.starts_with("/api/user/") || path.starts_with("/api/pay/")) << path;
    EXPECT_FALSE(path.ends_with("/") || path.find('?') != path.npos) << path;
  }
  // Routes whose spelling looks wrong but is what the backend serves.
  EXPECT_EQ(ZefaPurchasePath::GET_UNCONSUME_PATH, "/api/pay/getUncomsueItem");
  EXPECT_EQ(ZefaPurchasePath::APPLE_QURERY_SUB_PATH, "/api/pay/appleQuerySub");
  EXPECT_EQ(ZefaConstants::ZEFA_LOGIN_TOKEN, "ZEFA_LOGIN_TOKEN");
}

}  // namespace
