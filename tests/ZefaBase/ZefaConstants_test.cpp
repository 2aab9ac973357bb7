#include "ZefaBase/ZefaConstants.h"

#include <gtest/gtest.h>

namespace {

// Spelled exactly as the backend serves them and earlier releases stored them, misspellings
// included: a typo here would only fail against the real backend.
TEST(ZefaConstantsTest, RoutesAndKeysAreSpelledAsTheBackendServesThem) {
  const std::pair<std::string_view, std::string_view> rows[] = {
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
      {ZefaConstants::ZEFA_LOGIN_TOKEN, "ZEFA_LOGIN_TOKEN"},
  };
  for (const auto& [constant, spelling] : rows) EXPECT_EQ(constant, spelling);
}

}  // namespace
