#include "tools/backend/ZefaBackendStore.h"

#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <random>

namespace {

// The schema, created when missing. Account ids start at 100001 so they read as ids.
constexpr const char* kSchema = R"sql(
CREATE TABLE IF NOT EXISTS players (
  id INTEGER PRIMARY KEY AUTOINCREMENT, login_type TEXT NOT NULL, open_id TEXT NOT NULL,
  nick_name TEXT NOT NULL, created_at INTEGER NOT NULL, UNIQUE (login_type, open_id));
INSERT INTO sqlite_sequence (name, seq) SELECT 'players', 100000
  WHERE NOT EXISTS (SELECT 1 FROM sqlite_sequence WHERE name = 'players');
CREATE TABLE IF NOT EXISTS tokens (
  token TEXT PRIMARY KEY, player_id INTEGER NOT NULL REFERENCES players(id),
  created_at INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS bindings (
  player_id INTEGER NOT NULL REFERENCES players(id), bind_type TEXT NOT NULL,
  open_id TEXT NOT NULL, UNIQUE (player_id, bind_type), UNIQUE (bind_type, open_id));
CREATE TABLE IF NOT EXISTS items (
  sku TEXT PRIMARY KEY, name TEXT NOT NULL, type TEXT NOT NULL, price REAL NOT NULL,
  currency TEXT NOT NULL);
INSERT OR IGNORE INTO items VALUES
  ('gem_pack_small', '100 gems', 'consumable', 0.99, 'USD'),
  ('gem_pack_large', '1200 gems', 'consumable', 9.99, 'USD'),
  ('vip_monthly', 'VIP pass, 30 days', 'subscription', 4.99, 'USD');
CREATE TABLE IF NOT EXISTS orders (
  order_id TEXT PRIMARY KEY, player_id INTEGER NOT NULL REFERENCES players(id),
  sku TEXT NOT NULL REFERENCES items(sku), state TEXT NOT NULL, receipt TEXT,
  created_at INTEGER NOT NULL);
)sql";

int64_t now() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// `bytes` random bytes as lower-case hex, from the OS's random source.
std::string randomHex(size_t bytes) {
  static std::mutex mutex;
  static std::random_device device;
  std::lock_guard lock(mutex);
  std::string text;
  for (size_t i = 0; i < bytes; ++i) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02x", device() & 0xffu);
    text += pair;
  }
  return text;
}

// One statement: bind by position (from 1), step, read columns (from 0). Finalized on scope exit.
class Query {
 public:
  Query(sqlite3* database, const char* sql) {
    if (sqlite3_prepare_v2(database, sql, -1, &statement_, nullptr) != SQLITE_OK) {
      sqlite3_finalize(statement_);
      statement_ = nullptr;
    }
  }
  ~Query() { sqlite3_finalize(statement_); }
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  Query& bind(int index, std::string_view text) {
    if (statement_) {
      sqlite3_bind_text(statement_, index, text.data(), static_cast<int>(text.size()),
                        SQLITE_TRANSIENT);
    }
    return *this;
  }
  Query& bind(int index, int64_t value) {
    if (statement_) sqlite3_bind_int64(statement_, index, value);
    return *this;
  }
  bool row() { return statement_ && sqlite3_step(statement_) == SQLITE_ROW; }
  bool done() { return statement_ && sqlite3_step(statement_) == SQLITE_DONE; }
  int64_t integer(int column) const { return sqlite3_column_int64(statement_, column); }
  double real(int column) const { return sqlite3_column_double(statement_, column); }
  std::string text(int column) const {
    const auto* bytes = sqlite3_column_text(statement_, column);
    return bytes ? std::string(reinterpret_cast<const char*>(bytes)) : std::string();
  }

 private:
  sqlite3_stmt* statement_ = nullptr;
};

ZefaBackendOrder orderFrom(const Query& query) {
  return {query.text(0), query.text(1), query.text(2), query.integer(3)};
}

}  // namespace

ZefaBackendStore::ZefaBackendStore(const std::string& path) {
  const std::string name = path.empty() ? ":memory:" : path;
  if (sqlite3_open_v2(name.c_str(), &database_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                      nullptr) != SQLITE_OK) {
    error_ = database_ ? sqlite3_errmsg(database_) : "cannot open " + name;
    sqlite3_close(database_);
    database_ = nullptr;
    return;
  }
  sqlite3_busy_timeout(database_, 5000);
  if (!setUp()) {
    error_ = sqlite3_errmsg(database_);
    sqlite3_close(database_);
    database_ = nullptr;
  }
}

ZefaBackendStore::~ZefaBackendStore() { sqlite3_close(database_); }

bool ZefaBackendStore::setUp() {
  return sqlite3_exec(database_, "PRAGMA foreign_keys = ON; PRAGMA journal_mode = WAL;", nullptr,
                      nullptr, nullptr) == SQLITE_OK &&
         sqlite3_exec(database_, kSchema, nullptr, nullptr, nullptr) == SQLITE_OK;
}

std::optional<ZefaBackendPlayer> ZefaBackendStore::login(std::string_view loginType,
                                                         std::string_view openId) {
  std::lock_guard lock(mutex_);
  if (!database_) return std::nullopt;
  // Looked up before inserting: an ignored insert would still use up an account id.
  Query find(database_, "SELECT id FROM players WHERE login_type = ?1 AND open_id = ?2");
  if (find.bind(1, loginType).bind(2, openId).row()) return playerById(find.integer(0));
  Query insert(database_,
               "INSERT INTO players (login_type, open_id, nick_name, created_at) "
               "VALUES (?1, ?2, '', ?3)");
  if (!insert.bind(1, loginType).bind(2, openId).bind(3, now()).done()) return std::nullopt;
  const int64_t id = sqlite3_last_insert_rowid(database_);
  Query name(database_, "UPDATE players SET nick_name = ?1 WHERE id = ?2");
  name.bind(1, "Player" + std::to_string(id)).bind(2, id).done();
  std::optional<ZefaBackendPlayer> player = playerById(id);
  if (player) player->isNew = true;
  return player;
}

std::optional<ZefaBackendPlayer> ZefaBackendStore::playerById(int64_t gameAccountId) {
  Query query(database_,
              "SELECT id, login_type, open_id, nick_name, created_at FROM players WHERE id = ?1");
  if (!query.bind(1, gameAccountId).row()) return std::nullopt;
  return ZefaBackendPlayer{query.integer(0), query.text(1),    query.text(2),
                           query.text(3),    query.integer(4), false};
}

std::optional<std::string> ZefaBackendStore::issueToken(int64_t gameAccountId) {
  std::lock_guard lock(mutex_);
  if (!database_) return std::nullopt;
  const std::string token = randomHex(16);
  Query insert(database_, "INSERT INTO tokens (token, player_id, created_at) VALUES (?1, ?2, ?3)");
  if (!insert.bind(1, token).bind(2, gameAccountId).bind(3, now()).done()) return std::nullopt;
  return token;
}

std::optional<ZefaBackendPlayer> ZefaBackendStore::playerForToken(std::string_view token) {
  std::lock_guard lock(mutex_);
  if (!database_) return std::nullopt;
  Query query(database_, "SELECT player_id FROM tokens WHERE token = ?1");
  if (!query.bind(1, token).row()) return std::nullopt;
  return playerById(query.integer(0));
}

std::vector<std::pair<std::string, std::string>> ZefaBackendStore::bindings(int64_t gameAccountId) {
  std::lock_guard lock(mutex_);
  std::vector<std::pair<std::string, std::string>> found;
  if (!database_) return found;
  Query query(database_,
              "SELECT bind_type, open_id FROM bindings WHERE player_id = ?1 ORDER BY rowid");
  query.bind(1, gameAccountId);
  while (query.row()) found.emplace_back(query.text(0), query.text(1));
  return found;
}

ZefaBackendStore::Change ZefaBackendStore::bind(int64_t gameAccountId, std::string_view bindType,
                                                std::string_view openId) {
  std::lock_guard lock(mutex_);
  if (!database_) return Change::Missing;
  Query insert(
      database_,
      "INSERT OR IGNORE INTO bindings (player_id, bind_type, open_id) VALUES (?1, ?2, ?3)");
  if (!insert.bind(1, gameAccountId).bind(2, bindType).bind(3, openId).done()) {
    return Change::Missing;
  }
  return sqlite3_changes(database_) > 0 ? Change::Done : Change::Conflict;
}

ZefaBackendStore::Change ZefaBackendStore::unbind(int64_t gameAccountId,
                                                  std::string_view bindType) {
  std::lock_guard lock(mutex_);
  if (!database_) return Change::Missing;
  Query remove(database_, "DELETE FROM bindings WHERE player_id = ?1 AND bind_type = ?2");
  remove.bind(1, gameAccountId).bind(2, bindType).done();
  return sqlite3_changes(database_) > 0 ? Change::Done : Change::Missing;
}

std::vector<ZefaBackendItem> ZefaBackendStore::items() {
  std::lock_guard lock(mutex_);
  std::vector<ZefaBackendItem> found;
  if (!database_) return found;
  Query query(database_, "SELECT sku, name, type, price, currency FROM items ORDER BY price");
  while (query.row()) {
    found.push_back({query.text(0), query.text(1), query.text(2), query.real(3), query.text(4)});
  }
  return found;
}

std::optional<ZefaBackendItem> ZefaBackendStore::item(std::string_view sku) {
  std::lock_guard lock(mutex_);
  if (!database_) return std::nullopt;
  Query query(database_, "SELECT sku, name, type, price, currency FROM items WHERE sku = ?1");
  if (!query.bind(1, sku).row()) return std::nullopt;
  return ZefaBackendItem{query.text(0), query.text(1), query.text(2), query.real(3), query.text(4)};
}

std::optional<ZefaBackendOrder> ZefaBackendStore::createOrder(int64_t gameAccountId,
                                                              std::string_view sku) {
  std::lock_guard lock(mutex_);
  if (!database_) return std::nullopt;
  ZefaBackendOrder order{"ord_" + randomHex(8), std::string(sku), "created", now()};
  Query insert(database_,
               "INSERT INTO orders (order_id, player_id, sku, state, created_at) "
               "VALUES (?1, ?2, ?3, 'created', ?4)");
  if (!insert.bind(1, order.orderId)
           .bind(2, gameAccountId)
           .bind(3, sku)
           .bind(4, order.createdAt)
           .done()) {
    return std::nullopt;
  }
  return order;
}

std::optional<ZefaBackendOrder> ZefaBackendStore::order(int64_t gameAccountId,
                                                        std::string_view orderId) {
  std::lock_guard lock(mutex_);
  if (!database_) return std::nullopt;
  Query query(database_,
              "SELECT order_id, sku, state, created_at FROM orders "
              "WHERE player_id = ?1 AND order_id = ?2");
  if (!query.bind(1, gameAccountId).bind(2, orderId).row()) return std::nullopt;
  return orderFrom(query);
}

ZefaBackendStore::Change ZefaBackendStore::pay(int64_t gameAccountId, std::string_view orderId,
                                               std::string_view receipt) {
  const std::optional<ZefaBackendOrder> current = order(gameAccountId, orderId);
  if (!current) return Change::Missing;
  std::lock_guard lock(mutex_);
  Query update(database_,
               "UPDATE orders SET state = 'paid', receipt = ?1 "
               "WHERE player_id = ?2 AND order_id = ?3 AND state = 'created'");
  update.bind(1, receipt).bind(2, gameAccountId).bind(3, orderId).done();
  return sqlite3_changes(database_) > 0 ? Change::Done : Change::Conflict;
}

ZefaBackendStore::Change ZefaBackendStore::consume(int64_t gameAccountId,
                                                   std::string_view orderId) {
  const std::optional<ZefaBackendOrder> current = order(gameAccountId, orderId);
  if (!current) return Change::Missing;
  std::lock_guard lock(mutex_);
  Query update(database_,
               "UPDATE orders SET state = 'consumed' "
               "WHERE player_id = ?1 AND order_id = ?2 AND state = 'paid'");
  update.bind(1, gameAccountId).bind(2, orderId).done();
  return sqlite3_changes(database_) > 0 ? Change::Done : Change::Conflict;
}

std::vector<ZefaBackendOrder> ZefaBackendStore::orderList(const char* sql, int64_t gameAccountId,
                                                          std::string_view state) {
  std::lock_guard lock(mutex_);
  std::vector<ZefaBackendOrder> found;
  if (!database_) return found;
  Query query(database_, sql);
  query.bind(1, gameAccountId).bind(2, state);
  while (query.row()) found.push_back(orderFrom(query));
  return found;
}

std::vector<ZefaBackendOrder> ZefaBackendStore::orders(int64_t gameAccountId,
                                                       std::string_view state) {
  return orderList(
      "SELECT order_id, sku, state, created_at FROM orders "
      "WHERE player_id = ?1 AND state = ?2 ORDER BY created_at, rowid",
      gameAccountId, state);
}

std::vector<ZefaBackendOrder> ZefaBackendStore::subscriptions(int64_t gameAccountId) {
  return orderList(
      "SELECT o.order_id, o.sku, o.state, o.created_at FROM orders o JOIN items i USING (sku) "
      "WHERE o.player_id = ?1 AND i.type = ?2 AND o.state IN ('paid', 'consumed') "
      "ORDER BY o.created_at, o.rowid",
      gameAccountId, "subscription");
}
