// The development backend's business rules, in-process over a store in memory.
#include "tools/backend/ZefaBackendApi.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace {

// One request of a walk: "{order}" in a text parameter stands for the order made earlier.
struct Step {
  const char* what;
  const char* path;
  const char* token;  // "a" or "b": the session of player a or b
  ZefaJsonObject params;
  int64_t code;
};

TEST(ZefaBackendApiTest, OrdersAndBindingsMoveThroughTheirStates) {
  ZefaBackendStore store("");
  ASSERT_TRUE(store.isOpen()) << store.error();
  ZefaBackendApi api(store);
  std::map<std::string, std::string> tokens;
  for (const char* device : {"a", "b"}) {
    const ZefaBackendAnswer login =
        api.answer({"/api/user/login", std::nullopt, device, {{"loginType", "guest"}}});
    ASSERT_EQ(login.code, 0) << login.msg;
    tokens[device] = login.data.at("sessionToken").get<std::string>();
  }
  const std::vector<Step> walk = {
      {"an order", "/api/pay/getPaymentParams", "a", {{"sku", "gem_pack_small"}}, 0},
      {"consumed before it is paid", "/api/pay/sdkConsume", "a", {{"orderId", "{order}"}}, 409},
      {"paid by another player",
       "/api/pay/appstoreCheck",
       "b",
       {{"orderId", "{order}"}, {"receipt", "r"}},
       404},
      {"paid", "/api/pay/appstoreCheck", "a", {{"orderId", "{order}"}, {"receipt", "r"}}, 0},
      {"paid twice",
       "/api/pay/appstoreCheck",
       "a",
       {{"orderId", "{order}"}, {"receipt", "r"}},
       409},
      {"consumed by another player", "/api/pay/sdkConsume", "b", {{"orderId", "{order}"}}, 404},
      {"consumed", "/api/pay/sdkConsume", "a", {{"orderId", "{order}"}}, 0},
      {"consumed twice", "/api/pay/sdkConsume", "a", {{"orderId", "{order}"}}, 409},
      {"an unknown order", "/api/pay/sdkConsume", "a", {{"orderId", "ord_0"}}, 404},
      {"an order id of the wrong kind", "/api/pay/sdkConsume", "a", {{"orderId", 5}}, 422},
      {"a binding without its account", "/api/user/bind", "a", {{"bindType", "google"}}, 422},
      {"a binding", "/api/user/bind", "a", {{"bindType", "google"}, {"openId", "g1"}}, 0},
      {"a second of that type",
       "/api/user/bind",
       "a",
       {{"bindType", "google"}, {"openId", "g2"}},
       409},
      {"that account for another player",
       "/api/user/bind",
       "b",
       {{"bindType", "google"}, {"openId", "g1"}},
       409},
      {"unbound", "/api/user/unbind", "a", {{"bindType", "google"}}, 0},
      {"unbound twice", "/api/user/unbind", "a", {{"bindType", "google"}}, 404},
      {"now free for another player",
       "/api/user/bind",
       "b",
       {{"bindType", "google"}, {"openId", "g1"}},
       0},
      {"a restore without a receipt", "/api/pay/appleRestoreSub", "a", {}, 422},
  };
  std::string order;
  for (const Step& step : walk) {
    ZefaJsonObject params = step.params;
    for (auto& [key, value] : params) {
      if (value == "{order}") value = order;
    }
    const ZefaBackendAnswer answer =
        api.answer({step.path, tokens[step.token], step.token, params});
    EXPECT_EQ(answer.code, step.code) << step.what << ": " << answer.msg;
    if (answer.data.contains("orderId") && order.empty()) {
      order = answer.data.at("orderId").get<std::string>();
    }
  }
  const ZefaBackendAnswer open = api.answer({"/api/pay/getUncomsueItem", tokens["a"], "a", {}});
  EXPECT_EQ(open.data.at("orders").size(), 0u) << "the consumed order is no longer open";
}

TEST(ZefaBackendApiTest, LoginFindsThePlayerOfALoginTypeAndIdentity) {
  ZefaBackendStore store("");
  ZefaBackendApi api(store);
  struct Row {
    const char* what;
    std::string deviceHeader;
    ZefaJsonObject params;
    int64_t code;
    int64_t gameAccountId;  // 0: not checked
  };
  const std::vector<Row> rows = {
      {"a new guest", "D1", {{"loginType", "guest"}}, 0, 100001},
      {"the same guest", "D1", {{"loginType", "guest"}}, 0, 100001},
      {"the device id from the body", "", {{"loginType", "guest"}, {"deviceId", "D1"}}, 0, 100001},
      {"another login type", "D1", {{"loginType", "google"}}, 0, 100002},
      {"an open id over the device", "D1", {{"loginType", "google"}, {"openId", "G"}}, 0, 100003},
      {"no login type", "D1", {}, 422, 0},
      {"no identity", "", {{"loginType", "guest"}}, 422, 0},
  };
  for (const Row& row : rows) {
    const ZefaBackendAnswer answer =
        api.answer({"/api/user/login", std::nullopt, row.deviceHeader, row.params});
    EXPECT_EQ(answer.code, row.code) << row.what;
    if (row.gameAccountId != 0) {
      EXPECT_EQ(answer.data.at("gameAccountId"), row.gameAccountId) << row.what;
    }
  }
}

}  // namespace
