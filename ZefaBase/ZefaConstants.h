#pragma once
// The backend's endpoint paths and the SDK's shared keys. Paths are appended as they stand to
// ZefaServerCall::HOST; some spellings are the backend's own routes and must not be corrected.
#include <string_view>

#include "ZefaBase/ZefaExport.h"

struct ZEFA_EXPORT ZefaConstants {
  // The user-defaults key of the stored login record (a JSON object text).
  static constexpr std::string_view ZEFA_LOGIN_TOKEN = "ZEFA_LOGIN_TOKEN";
  static constexpr std::string_view SDK_KEYWORDS = "Zefa";
};

// User account endpoints.
struct ZEFA_EXPORT ZefaLoginPath {
  static constexpr std::string_view LOGIN_PATH = "/api/user/login";
  static constexpr std::string_view AUTH_PATH = "/api/user/auth";
  static constexpr std::string_view INFO_PATH = "/api/user/info";
  static constexpr std::string_view BIND_PATH = "/api/user/bind";
  static constexpr std::string_view UNBIND_PATH = "/api/user/unbind";
};

// In-app purchase endpoints.
struct ZEFA_EXPORT ZefaPurchasePath {
  static constexpr std::string_view SHOPITEMS_PATH = "/api/pay/getShopItems";
  static constexpr std::string_view PAYMENTPARAMS_PATH = "/api/pay/getPaymentParams";
  static constexpr std::string_view GET_UNCONSUME_PATH = "/api/pay/getUncomsueItem";
  static constexpr std::string_view CONSUME_ITEM_PATH = "/api/pay/sdkConsume";
  static constexpr std::string_view APPLE_CHECK_PATH = "/api/pay/appstoreCheck";
  static constexpr std::string_view APPLE_QURERY_SUB_PATH = "/api/pay/appleQuerySub";
  static constexpr std::string_view APPLE_RESTORE_SUB_PATH = "/api/pay/appleRestoreSub";
};
