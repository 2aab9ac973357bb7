#pragma once
// The backend's business: one handler per path of ZefaLoginPath and ZefaPurchasePath, each
// turning a request's parameters into an answer for the reply envelope. Paths other than login
// and the shop list need a session token issued by login.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ZefaBase/ZefaJson.h"
#include "tools/backend/ZefaBackendStore.h"

// What a handler sees of a request.
struct ZefaBackendRequest {
  std::string path;
  std::optional<std::string> sessionToken;  // the "sessionToken" query parameter
  std::string deviceId;                     // the "deviceId" header, "" when absent
  ZefaJsonObject params;  // the body; for a GET (whose body repeats the query) the query
};

// The envelope's content: code 0 with "data", or a failure code with its message.
struct ZefaBackendAnswer {
  int64_t code = 0;
  std::string msg = "ok";
  ZefaJsonObject data;
  // {"state":{"code","msg"},"data":{...}}
  ZefaJson envelope() const;
  static ZefaBackendAnswer failure(int64_t code, std::string msg);
};

class ZefaBackendApi {
 public:
  // The backend's failure codes.
  static constexpr int64_t kBadRequest = 400;        // the body is not a JSON object
  static constexpr int64_t kUnknownToken = 401;      // no or unknown session token
  static constexpr int64_t kNotFound = 404;          // unknown path, item, order or binding
  static constexpr int64_t kConflict = 409;          // already bound, paid or consumed
  static constexpr int64_t kTooLarge = 413;          // the body is over the limit
  static constexpr int64_t kMissingParameter = 422;  // a required parameter is missing or empty
  static constexpr int64_t kInternal = 500;          // the database failed

  explicit ZefaBackendApi(ZefaBackendStore& store) : store_(store) {}

  // True for the paths this backend answers.
  static bool knows(std::string_view path);
  ZefaBackendAnswer answer(const ZefaBackendRequest& request);

 private:
  using Handler = ZefaBackendAnswer (ZefaBackendApi::*)(const ZefaBackendPlayer&,
                                                        const ZefaJsonObject&);
  struct Route {
    std::string_view path;
    Handler handler;
  };
  static const Route* route(std::string_view path);

  ZefaBackendAnswer login(const ZefaBackendRequest& request);
  ZefaBackendAnswer shopItems();
  ZefaBackendAnswer auth(const ZefaBackendPlayer& player, const ZefaJsonObject& params);
  ZefaBackendAnswer info(const ZefaBackendPlayer& player, const ZefaJsonObject& params);
  ZefaBackendAnswer bind(const ZefaBackendPlayer& player, const ZefaJsonObject& params);
  ZefaBackendAnswer unbind(const ZefaBackendPlayer& player, const ZefaJsonObject& params);
  ZefaBackendAnswer paymentParams(const ZefaBackendPlayer& player, const ZefaJsonObject& params);
  ZefaBackendAnswer unconsumed(const ZefaBackendPlayer& player, const ZefaJsonObject& params);
  ZefaBackendAnswer consume(const ZefaBackendPlayer& player, const ZefaJsonObject& params);
  ZefaBackendAnswer checkReceipt(const ZefaBackendPlayer& player, const ZefaJsonObject& params);
  ZefaBackendAnswer querySubscriptions(const ZefaBackendPlayer& player,
                                       const ZefaJsonObject& params);
  ZefaBackendAnswer restoreSubscriptions(const ZefaBackendPlayer& player,
                                         const ZefaJsonObject& params);

  ZefaJson bindingList(int64_t gameAccountId);
  ZefaJson subscriptionList(int64_t gameAccountId);

  ZefaBackendStore& store_;
};
