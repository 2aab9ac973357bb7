#pragma once
// The development backend's state in SQLite: players (found or created at login), session
// tokens, bound third-party accounts, shop items and orders. One connection behind a mutex, so
// any connection thread of the server may use it. A file keeps the state across restarts; an
// empty path keeps it in memory.
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct sqlite3;

struct ZefaBackendPlayer {
  int64_t gameAccountId = 0;
  std::string loginType;
  std::string openId;  // the identity the player logged in with (the device id for guests)
  std::string nickName;
  int64_t createdAt = 0;  // seconds since 1970
  bool isNew = false;     // created by this login
};

struct ZefaBackendItem {
  std::string sku;
  std::string name;
  std::string type;  // "consumable" or "subscription"
  double price = 0;
  std::string currency;
};

struct ZefaBackendOrder {
  std::string orderId;
  std::string sku;
  std::string state;  // "created", "paid" or "consumed"
  int64_t createdAt = 0;
};

class ZefaBackendStore {
 public:
  // How a change that may be refused went.
  enum class Change { Done, Missing, Conflict };

  explicit ZefaBackendStore(const std::string& path);
  ~ZefaBackendStore();
  ZefaBackendStore(const ZefaBackendStore&) = delete;
  ZefaBackendStore& operator=(const ZefaBackendStore&) = delete;

  // False, with error() saying why, when the database cannot be opened or set up.
  bool isOpen() const { return database_ != nullptr; }
  const std::string& error() const { return error_; }

  // The player of (loginType, openId), created on first login; none when the database fails.
  std::optional<ZefaBackendPlayer> login(std::string_view loginType, std::string_view openId);
  // A new session token for the player.
  std::optional<std::string> issueToken(int64_t gameAccountId);
  std::optional<ZefaBackendPlayer> playerForToken(std::string_view token);

  // The player's bound accounts as (bindType, openId), in binding order.
  std::vector<std::pair<std::string, std::string>> bindings(int64_t gameAccountId);
  // Conflict when that account is bound to another player or the type is already bound.
  Change bind(int64_t gameAccountId, std::string_view bindType, std::string_view openId);
  // Missing when nothing of that type is bound.
  Change unbind(int64_t gameAccountId, std::string_view bindType);

  std::vector<ZefaBackendItem> items();
  std::optional<ZefaBackendItem> item(std::string_view sku);

  // A new order of `sku` in state "created"; none when the database fails.
  std::optional<ZefaBackendOrder> createOrder(int64_t gameAccountId, std::string_view sku);
  std::optional<ZefaBackendOrder> order(int64_t gameAccountId, std::string_view orderId);
  // Marks a created order paid; Missing when the player has no such order, Conflict when it is
  // already paid or consumed.
  Change pay(int64_t gameAccountId, std::string_view orderId, std::string_view receipt);
  // Marks a paid order consumed; Missing without such an order, Conflict when not paid.
  Change consume(int64_t gameAccountId, std::string_view orderId);
  // The player's orders in `state`, oldest first.
  std::vector<ZefaBackendOrder> orders(int64_t gameAccountId, std::string_view state);
  // The player's paid or consumed orders of subscription items, oldest first.
  std::vector<ZefaBackendOrder> subscriptions(int64_t gameAccountId);

 private:
  bool setUp();
  std::optional<ZefaBackendPlayer> playerById(int64_t gameAccountId);
  std::vector<ZefaBackendOrder> orderList(const char* sql, int64_t gameAccountId,
                                          std::string_view state);

  std::mutex mutex_;
  sqlite3* database_ = nullptr;
  std::string error_;
};
