#include "tools/backend/ZefaBackendApi.h"

#include <array>
#include <chrono>
#include <utility>

#include "ZefaBase/ZefaConstants.h"

namespace {

constexpr int64_t kSubscriptionSeconds = 30 * 24 * 3600;

// The parameter `key` when it is non-empty text.
std::optional<std::string> text(const ZefaJsonObject& params, std::string_view key) {
  const auto found = params.find(std::string(key));
  if (found == params.end() || !found->second.is_string()) return std::nullopt;
  std::string value = found->second.get<std::string>();
  if (value.empty()) return std::nullopt;
  return value;
}

ZefaBackendAnswer missing(std::string_view name) {
  return ZefaBackendAnswer::failure(ZefaBackendApi::kMissingParameter,
                                    "missing parameter: " + std::string(name));
}

ZefaBackendAnswer success(ZefaJsonObject data) {
  ZefaBackendAnswer answer;
  answer.data = std::move(data);
  return answer;
}

ZefaBackendAnswer databaseFailure() {
  return ZefaBackendAnswer::failure(ZefaBackendApi::kInternal, "database error");
}

ZefaJson orderJson(const ZefaBackendOrder& order) {
  return ZefaJsonObject{{"orderId", order.orderId},
                        {"sku", order.sku},
                        {"state", order.state},
                        {"createdAt", order.createdAt}};
}

}  // namespace

ZefaJson ZefaBackendAnswer::envelope() const {
  return ZefaJsonObject{{"state", ZefaJsonObject{{"code", code}, {"msg", msg}}}, {"data", data}};
}

ZefaBackendAnswer ZefaBackendAnswer::failure(int64_t code, std::string msg) {
  return ZefaBackendAnswer{code, std::move(msg), {}};
}

const ZefaBackendApi::Route* ZefaBackendApi::route(std::string_view path) {
  // Login and the shop list are answered without a token; they have no handler here.
  static const std::array<Route, 12> kRoutes{{
      {ZefaLoginPath::LOGIN_PATH, nullptr},
      {ZefaPurchasePath::SHOPITEMS_PATH, nullptr},
      {ZefaLoginPath::AUTH_PATH, &ZefaBackendApi::auth},
      {ZefaLoginPath::INFO_PATH, &ZefaBackendApi::info},
      {ZefaLoginPath::BIND_PATH, &ZefaBackendApi::bind},
      {ZefaLoginPath::UNBIND_PATH, &ZefaBackendApi::unbind},
      {ZefaPurchasePath::PAYMENTPARAMS_PATH, &ZefaBackendApi::paymentParams},
      {ZefaPurchasePath::GET_UNCONSUME_PATH, &ZefaBackendApi::unconsumed},
      {ZefaPurchasePath::CONSUME_ITEM_PATH, &ZefaBackendApi::consume},
      {ZefaPurchasePath::APPLE_CHECK_PATH, &ZefaBackendApi::checkReceipt},
      {ZefaPurchasePath::APPLE_QURERY_SUB_PATH, &ZefaBackendApi::querySubscriptions},
      {ZefaPurchasePath::APPLE_RESTORE_SUB_PATH, &ZefaBackendApi::restoreSubscriptions},
  }};
  for (const Route& candidate : kRoutes) {
    if (candidate.path == path) return &candidate;
  }
  return nullptr;
}

bool ZefaBackendApi::knows(std::string_view path) { return route(path) != nullptr; }

ZefaBackendAnswer ZefaBackendApi::answer(const ZefaBackendRequest& request) {
  const Route* found = route(request.path);
  if (found == nullptr) return ZefaBackendAnswer::failure(kNotFound, "no such path");
  if (request.path == ZefaLoginPath::LOGIN_PATH) return login(request);
  if (request.path == ZefaPurchasePath::SHOPITEMS_PATH) return shopItems();
  if (!request.sessionToken || request.sessionToken->empty()) {
    return ZefaBackendAnswer::failure(kUnknownToken, "missing parameter: sessionToken");
  }
  const std::optional<ZefaBackendPlayer> player = store_.playerForToken(*request.sessionToken);
  if (!player) return ZefaBackendAnswer::failure(kUnknownToken, "unknown session token");
  return (this->*found->handler)(*player, request.params);
}

// A guest is known by its device id (the header, else the body's "deviceId"); other login
// types by the body's "openId" when given.
ZefaBackendAnswer ZefaBackendApi::login(const ZefaBackendRequest& request) {
  const std::optional<std::string> loginType = text(request.params, "loginType");
  if (!loginType) return missing("loginType");
  std::optional<std::string> identity = text(request.params, "openId");
  if (!identity && !request.deviceId.empty()) identity = request.deviceId;
  if (!identity) identity = text(request.params, "deviceId");
  if (!identity) return missing("deviceId");
  const std::optional<ZefaBackendPlayer> player = store_.login(*loginType, *identity);
  if (!player) return databaseFailure();
  const std::optional<std::string> token = store_.issueToken(player->gameAccountId);
  if (!token) return databaseFailure();
  return success({{"gameAccountId", player->gameAccountId},
                  {"sessionToken", *token},
                  {"loginType", player->loginType},
                  {"nickName", player->nickName},
                  {"isNew", player->isNew}});
}

ZefaBackendAnswer ZefaBackendApi::shopItems() {
  ZefaJsonArray items;
  for (const ZefaBackendItem& item : store_.items()) {
    items.push_back(ZefaJsonObject{{"sku", item.sku},
                                   {"name", item.name},
                                   {"type", item.type},
                                   {"price", item.price},
                                   {"currency", item.currency}});
  }
  return success({{"items", std::move(items)}});
}

ZefaBackendAnswer ZefaBackendApi::auth(const ZefaBackendPlayer& player, const ZefaJsonObject&) {
  return success(
      {{"gameAccountId", player.gameAccountId}, {"loginType", player.loginType}, {"valid", true}});
}

ZefaBackendAnswer ZefaBackendApi::info(const ZefaBackendPlayer& player, const ZefaJsonObject&) {
  return success({{"gameAccountId", player.gameAccountId},
                  {"nickName", player.nickName},
                  {"loginType", player.loginType},
                  {"createdAt", player.createdAt},
                  {"bindings", bindingList(player.gameAccountId)}});
}

ZefaBackendAnswer ZefaBackendApi::bind(const ZefaBackendPlayer& player,
                                       const ZefaJsonObject& params) {
  const std::optional<std::string> type = text(params, "bindType");
  if (!type) return missing("bindType");
  const std::optional<std::string> openId = text(params, "openId");
  if (!openId) return missing("openId");
  switch (store_.bind(player.gameAccountId, *type, *openId)) {
    case ZefaBackendStore::Change::Done:
      return success({{"gameAccountId", player.gameAccountId},
                      {"bindings", bindingList(player.gameAccountId)}});
    case ZefaBackendStore::Change::Conflict:
      return ZefaBackendAnswer::failure(kConflict, "already bound: " + *type);
    case ZefaBackendStore::Change::Missing:
      break;
  }
  return databaseFailure();
}

ZefaBackendAnswer ZefaBackendApi::unbind(const ZefaBackendPlayer& player,
                                         const ZefaJsonObject& params) {
  const std::optional<std::string> type = text(params, "bindType");
  if (!type) return missing("bindType");
  if (store_.unbind(player.gameAccountId, *type) != ZefaBackendStore::Change::Done) {
    return ZefaBackendAnswer::failure(kNotFound, "not bound: " + *type);
  }
  return success(
      {{"gameAccountId", player.gameAccountId}, {"bindings", bindingList(player.gameAccountId)}});
}

ZefaBackendAnswer ZefaBackendApi::paymentParams(const ZefaBackendPlayer& player,
                                                const ZefaJsonObject& params) {
  const std::optional<std::string> sku = text(params, "sku");
  if (!sku) return missing("sku");
  const std::optional<ZefaBackendItem> item = store_.item(*sku);
  if (!item) return ZefaBackendAnswer::failure(kNotFound, "unknown item: " + *sku);
  const std::optional<ZefaBackendOrder> order = store_.createOrder(player.gameAccountId, *sku);
  if (!order) return databaseFailure();
  return success({{"orderId", order->orderId},
                  {"sku", item->sku},
                  {"price", item->price},
                  {"currency", item->currency},
                  {"gameAccountId", player.gameAccountId},
                  {"payload", "zefa-dev:" + order->orderId}});
}

ZefaBackendAnswer ZefaBackendApi::unconsumed(const ZefaBackendPlayer& player,
                                             const ZefaJsonObject&) {
  ZefaJsonArray orders;
  for (const ZefaBackendOrder& order : store_.orders(player.gameAccountId, "paid")) {
    orders.push_back(orderJson(order));
  }
  return success({{"orders", std::move(orders)}});
}

ZefaBackendAnswer ZefaBackendApi::consume(const ZefaBackendPlayer& player,
                                          const ZefaJsonObject& params) {
  const std::optional<std::string> orderId = text(params, "orderId");
  if (!orderId) return missing("orderId");
  switch (store_.consume(player.gameAccountId, *orderId)) {
    case ZefaBackendStore::Change::Done:
      return success({{"orderId", *orderId}, {"state", "consumed"}});
    case ZefaBackendStore::Change::Conflict:
      return ZefaBackendAnswer::failure(kConflict, "order is not paid or already consumed");
    case ZefaBackendStore::Change::Missing:
      break;
  }
  return ZefaBackendAnswer::failure(kNotFound, "unknown order: " + *orderId);
}

// Development accepts any non-empty receipt. The order is the one named by "orderId", or a new
// one for "sku" (a purchase started outside the game).
ZefaBackendAnswer ZefaBackendApi::checkReceipt(const ZefaBackendPlayer& player,
                                               const ZefaJsonObject& params) {
  const std::optional<std::string> receipt = text(params, "receipt");
  if (!receipt) return missing("receipt");
  std::optional<std::string> orderId = text(params, "orderId");
  if (!orderId) {
    const std::optional<std::string> sku = text(params, "sku");
    if (!sku) return missing("orderId");
    if (!store_.item(*sku)) return ZefaBackendAnswer::failure(kNotFound, "unknown item: " + *sku);
    const std::optional<ZefaBackendOrder> order = store_.createOrder(player.gameAccountId, *sku);
    if (!order) return databaseFailure();
    orderId = order->orderId;
  }
  switch (store_.pay(player.gameAccountId, *orderId, *receipt)) {
    case ZefaBackendStore::Change::Done:
      return success({{"orderId", *orderId}, {"state", "paid"}});
    case ZefaBackendStore::Change::Conflict:
      return ZefaBackendAnswer::failure(kConflict, "order already paid");
    case ZefaBackendStore::Change::Missing:
      break;
  }
  return ZefaBackendAnswer::failure(kNotFound, "unknown order: " + *orderId);
}

ZefaBackendAnswer ZefaBackendApi::querySubscriptions(const ZefaBackendPlayer& player,
                                                     const ZefaJsonObject&) {
  ZefaJson list = subscriptionList(player.gameAccountId);
  const bool active = !list.empty();
  return success({{"subscriptions", std::move(list)}, {"active", active}});
}

ZefaBackendAnswer ZefaBackendApi::restoreSubscriptions(const ZefaBackendPlayer& player,
                                                       const ZefaJsonObject& params) {
  if (!text(params, "receipt")) return missing("receipt");
  ZefaJson list = subscriptionList(player.gameAccountId);
  const size_t restored = list.size();
  return success({{"subscriptions", std::move(list)}, {"restored", restored}});
}

ZefaJson ZefaBackendApi::bindingList(int64_t gameAccountId) {
  ZefaJsonArray list;
  for (const auto& [type, openId] : store_.bindings(gameAccountId)) {
    list.push_back(ZefaJsonObject{{"bindType", type}, {"openId", openId}});
  }
  return list;
}

// Subscriptions still running: each lasts 30 days from its order.
ZefaJson ZefaBackendApi::subscriptionList(int64_t gameAccountId) {
  const int64_t now = std::chrono::duration_cast<std::chrono::seconds>(
                          std::chrono::system_clock::now().time_since_epoch())
                          .count();
  ZefaJsonArray list;
  for (const ZefaBackendOrder& order : store_.subscriptions(gameAccountId)) {
    const int64_t expiresAt = order.createdAt + kSubscriptionSeconds;
    if (expiresAt <= now) continue;
    list.push_back(
        ZefaJsonObject{{"orderId", order.orderId}, {"sku", order.sku}, {"expiresAt", expiresAt}});
  }
  return list;
}
