#include "ZefaBase/ZefaServerCall.h"

#include <memory>
#include <utility>

#include "ZefaBase/ZefaConstants.h"
#include "ZefaBase/ZefaDescription.h"
#include "ZefaBase/ZefaFatal.h"
#include "ZefaBase/ZefaLog.h"
#include "ZefaBase/ZefaServerCallRetry.h"
#include "ZefaBase/ZefaUserDefaults.h"

namespace {

constexpr std::string_view kFile = "ZefaBase/ZefaServerCall";
constexpr const char* kNotFound = "The specified data was not found ZEFA_LOGIN_TOKEN";

// The member `key` of the stored login record, when there is a record and it is an object.
std::optional<ZefaJson> loginRecordMember(std::string_view key) {
  const std::optional<std::string> stored =
      ZefaUserDefaults::standard().string(ZefaConstants::ZEFA_LOGIN_TOKEN);
  if (!stored) return std::nullopt;
  const std::optional<ZefaJsonObject> record = ZefaSDKUtils::jsonStringToDictionary(*stored);
  if (!record) return std::nullopt;
  const auto member = record->find(std::string(key));
  if (member == record->end()) return std::nullopt;
  return member->second;
}

}  // namespace

// A game may write the settings from its own static constructors, which can run before this
// file's dynamic initialisation: g++ initialises them as constants; clang, whose library string
// has no constant constructor here, initialises them before objects of default priority.
#if defined(__clang__)
#define ZEFA_SETTING __attribute__((init_priority(101)))
#else
#define ZEFA_SETTING constinit
#endif
ZEFA_SETTING std::string ZefaServerCall::HOST;
ZEFA_SETTING std::optional<std::string> ZefaServerCall::SET_HOST;
ZEFA_SETTING std::string ZefaServerCall::DEVICE_ID_KEY = "deviceId";
ZEFA_SETTING std::string ZefaServerCall::DEVICE_ID;

void ZefaServerCall::setHostAndDeviceId(std::string host, std::string setHost,
                                        std::string deviceId) {
  HOST = std::move(host);
  SET_HOST = std::move(setHost);
  DEVICE_ID = std::move(deviceId);
}

ZefaHeaders ZefaServerCall::getRequestHeaders() {
  if (DEVICE_ID_KEY == "Content-Type" || DEVICE_ID_KEY == "Accept") {
    ZefaFatal::stop("ZefaServerCall: DEVICE_ID_KEY \"" + DEVICE_ID_KEY +
                    "\" repeats a key of the request headers");
  }
  ZefaHeaders headers{{"Content-Type", "application/json"},
                      {"Accept", "application/json"},
                      {DEVICE_ID_KEY, DEVICE_ID}};
  if (SET_HOST) headers.insert_or_assign("Host", *SET_HOST);
  return headers;
}

std::optional<std::string> ZefaServerCall::newUrl(bool useDiskToken, std::string_view path,
                                                  const std::optional<std::string>& token) {
  std::optional<std::string> diskToken;
  if (useDiskToken) {
    diskToken = getSessionTokenFormDisk();
    if (!diskToken) {
      ZefaLog::e("Not found sessionToken", ZefaLogSite{kFile, "newUrl(_:_:_:)", 40});
      return std::nullopt;
    }
  }
  const std::optional<std::string>& used = useDiskToken ? diskToken : token;
  std::string url = HOST;
  url += path;
  if (used) {
    url += "?sessionToken=";
    url += *used;
  }
  return url;
}

void ZefaServerCall::postJsonAsync(bool useDiskToken, std::string_view path,
                                   const ZefaJsonObject& params, ZefaSuccessCallback success,
                                   ZefaFailedCallback failed) {
  postJsonAsyncWithTokenAndRetry(useDiskToken, path, params, std::nullopt, 0, std::move(success),
                                 std::move(failed));
}

void ZefaServerCall::postJsonAsyncWithToken(bool useDiskToken, std::string_view path,
                                            const ZefaJsonObject& params,
                                            const std::optional<std::string>& token,
                                            ZefaSuccessCallback success,
                                            ZefaFailedCallback failed) {
  postJsonAsyncWithTokenAndRetry(useDiskToken, path, params, token, 0, std::move(success),
                                 std::move(failed));
}

void ZefaServerCall::postJsonAsyncWithTokenAndRetry(bool useDiskToken, std::string_view path,
                                                    const ZefaJsonObject& params,
                                                    const std::optional<std::string>& token,
                                                    int64_t retryTime, ZefaSuccessCallback success,
                                                    ZefaFailedCallback failed) {
  (void)retryTime;  // calls made through the entry points always start with no retry left
  std::optional<std::string> url = newUrl(useDiskToken, path, token);
  if (!url) {
    if (failed) failed(ZefaStatusCode::CLIENT_HAS_NOT_LOGIN());
    return;
  }
  // The description (host, path, body) is written only when a log line shows it.
  // Copied without recursion: a body nested too deep to send still reaches the transport,
  // which refuses it, instead of overflowing the stack here.
  // Made from the blocks this thread keeps, as the call is freed among many others when its
  // reply has been delivered.
  auto call = std::allocate_shared<ZefaServerCallRetry>(
      ZefaBlockAllocator<ZefaServerCallRetry>{},
      ZefaServerCallRetry::DescribedAs{HOST, std::string(path)}, std::move(*url),
      ZefaJsonText::copy(params), 0, std::move(success), std::move(failed));
  // The call keeps itself alive through its pending handlers and timer.
  call->call();
}

std::optional<std::string> ZefaServerCall::getSessionTokenFormDisk() {
  const std::optional<ZefaJson> member = loginRecordMember("sessionToken");
  if (member && member->is_string()) return member->get<std::string>();
  ZefaLog::w(kNotFound, ZefaLogSite{kFile, "getSessionTokenFormDisk()", 74});
  return std::nullopt;
}

std::optional<int64_t> ZefaServerCall::getGameAccountIdFormDisk() {
  const std::optional<ZefaJson> member = loginRecordMember("gameAccountId");
  if (member) {
    if (const std::optional<int64_t> id = ZefaJsonText::int64Value(*member)) return id;
  }
  ZefaLog::w(kNotFound, ZefaLogSite{kFile, "getGameAccountIdFormDisk()", 86});
  return std::nullopt;
}
