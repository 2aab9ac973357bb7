#include "ZefaBase/ZefaConstants.h"

#include <gtest/gtest.h>

namespace {

// The backend's routes as it serves them: letter case and misspellings included.
TEST(ZefaConstantsTest, PathsAreTheBackendsRoutes) {
  const struct {
    std::string_view path;
    const char* route;
  } rows[] = {
      {ZefaLoginPath::LOGIN_PATH, "/api/user/login"},
      {ZefaLoginPath::AUTH_PATH, "/api/user/auth"},
      {ZefaLoginPath::INFO_PATH, "/api/user/info"},
      {ZefaLoginPath::BIND_PATH, "/api/user/bind"},
      {ZefaLoginPath::UNBIND_PATH, "/api/user/unbind"},
      {ZefaPurchasePath::SHOPITEMS_PATH, "/api/pay/getShopItems"},
      {ZefaPurchasePath::PAYMENTPARAMS_PATH, "/api/pay/getPaymentParams"},
      {ZefaPurchasePath::GET_UNCONSUME_PATH, "/api/pay/getUncomsueItem"},
      {ZefaPurchasePath::CONSUME_ITEM_PATH, "/api/pay/sdkConsume"},
      {ZefaPurchasePath::APPLE_CHECK_PATH, "/api/pay/appstoreCheck"},
      {ZefaPurchasePath::APPLE_QURERY_SUB_PATH, "/api/pay/appleQuerySub"},
      {ZefaPurchasePath::APPLE_RESTORE_SUB_PATH, "/api/pay/appleRestoreSub"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.path, row.route);
    EXPECT_TRUE(row.path.starts_with("/api/user/") || row.path.starts_with("/api/pay/"))
        << row.path;
    EXPECT_NE(row.path.back(), '/');
  }
  EXPECT_EQ(ZefaConstants::ZEFA_LOGIN_TOKEN, "ZEFA_LOGIN_TOKEN");
  EXPECT_EQ(ZefaConstants::SDK_KEYWORDS, "Zefa");
}

}  // namespace
