// ZefaServerCall, ZefaServerCallRetry and ZefaStaticInfo in the C interface, and the drain of the
// main run loop through which a C host receives every network outcome.
#include "ZefaBase/ZefaServerCall.h"
#include "ZefaBase/ZefaServerCallRetry.h"
#include "ZefaBase/capi/zefa_support.h"
#include "ZefaBase/entity/ZefaStaticInfo.h"
#include "platform/ZefaPlatform.h"

struct zefa_ZefaServerCallRetry final : zefa::capi::Handle {
  explicit zefa_ZefaServerCallRetry(std::shared_ptr<ZefaServerCallRetry> call)
      : Handle(zefa::capi::Kind::ServerCallRetry), object(std::move(call)) {}
  std::shared_ptr<ZefaServerCallRetry> object;
};

struct zefa_ZefaStaticInfo final : zefa::capi::Handle {
  explicit zefa_ZefaStaticInfo(std::string gameName)
      : Handle(zefa::capi::Kind::StaticInfo), record(std::move(gameName)) {}
  ZefaStaticInfo record;
};

using zefa::capi::guard;
using zefa::capi::newString;
using zefa::capi::newStringOrNull;

namespace {

// The C success callback as a C++ one: "data" crosses as JSON text.
ZefaSuccessCallback successFor(zefa_json_callback success, void* userData) {
  if (success == nullptr) return {};
  return [success, userData](const ZefaJsonObject& data) {
    const std::optional<std::string> json = zefa::capi::jsonText(data);
    success(zefa::capi::cText(json), userData);
  };
}

// The C failed callback as a C++ one: the status is lent for the call. A predefined code crosses
// as its shared handle, so a host may compare it with zefa_ZefaStatusCode_<name>().
ZefaFailedCallback failedFor(zefa_status_callback failed, void* userData) {
  if (failed == nullptr) return {};
  return [failed, userData](const ZefaStatusCodeRef& status) {
#define ZEFA_CAPI_PREDEFINED(name, number, text) \
  if (status == ZefaStatusCode::name()) return failed(zefa_ZefaStatusCode_##name(), userData);
    ZEFA_STATUS_CODES(ZEFA_CAPI_PREDEFINED)
#undef ZEFA_CAPI_PREDEFINED
    zefa_ZefaStatusCode lent(status);
    lent.shared = true;  // zefa_release on it does nothing
    failed(&lent, userData);
  };
}

void post(int useDiskToken, const char* path, const char* paramsJson, const char* token,
          int64_t retryTime, zefa_json_callback success, zefa_status_callback failed,
          void* userData) {
  const std::optional<ZefaJsonObject> params = zefa::capi::parseObject(paramsJson);
  if (path == nullptr || !params) {
    if (failed != nullptr) failed(zefa_ZefaStatusCode_ErrorParameter(), userData);
    return;
  }
  ZefaServerCall::postJsonAsyncWithTokenAndRetry(
      useDiskToken != 0, path, *params, zefa::capi::optionalText(token), retryTime,
      successFor(success, userData), failedFor(failed, userData));
}

char* copyOf(const std::string& setting) {
  return guard<char*>(nullptr, [&] { return newString(setting); });
}

void assign(std::string& setting, const char* value) {
  if (value != nullptr) guard([&] { setting = value; });
}

}  // namespace

extern "C" {

char* zefa_ZefaServerCall_HOST(void) { return copyOf(ZefaServerCall::HOST); }
void zefa_ZefaServerCall_setHOST_(const char* host) { assign(ZefaServerCall::HOST, host); }
char* zefa_ZefaServerCall_SET_HOST(void) {
  return guard<char*>(nullptr, [] { return newStringOrNull(ZefaServerCall::SET_HOST); });
}
void zefa_ZefaServerCall_setSET_HOST_(const char* set_host) {
  guard([&] { ZefaServerCall::SET_HOST = zefa::capi::optionalText(set_host); });
}
char* zefa_ZefaServerCall_DEVICE_ID_KEY(void) { return copyOf(ZefaServerCall::DEVICE_ID_KEY); }
void zefa_ZefaServerCall_setDEVICE_ID_KEY_(const char* key) {
  assign(ZefaServerCall::DEVICE_ID_KEY, key);
}
char* zefa_ZefaServerCall_DEVICE_ID(void) { return copyOf(ZefaServerCall::DEVICE_ID); }
void zefa_ZefaServerCall_setDEVICE_ID_(const char* device_id) {
  assign(ZefaServerCall::DEVICE_ID, device_id);
}

void zefa_ZefaServerCall_setHostAndDeviceId___(const char* host, const char* set_host,
                                               const char* device_id) {
  if (host == nullptr || set_host == nullptr || device_id == nullptr) return;
  guard([&] { ZefaServerCall::setHostAndDeviceId(host, set_host, device_id); });
}

char* zefa_ZefaServerCall_getRequestHeaders(void) {
  return guard<char*>(nullptr, [] {
    ZefaJsonObject object;
    for (const auto& [name, value] : ZefaServerCall::getRequestHeaders()) object[name] = value;
    return newStringOrNull(zefa::capi::jsonText(object));
  });
}

char* zefa_ZefaServerCall_newUrl___(int use_disk_token, const char* path, const char* token) {
  if (path == nullptr) return nullptr;
  return guard<char*>(nullptr, [&] {
    return newStringOrNull(
        ZefaServerCall::newUrl(use_disk_token != 0, path, zefa::capi::optionalText(token)));
  });
}

void zefa_ZefaServerCall_postJsonAsync_____(int use_disk_token, const char* path,
                                            const char* params_json, zefa_json_callback success,
                                            zefa_status_callback failed, void* user_data) {
  guard([&] { post(use_disk_token, path, params_json, nullptr, 0, success, failed, user_data); });
}

void zefa_ZefaServerCall_postJsonAsyncWithToken______(int use_disk_token, const char* path,
                                                      const char* params_json, const char* token,
                                                      zefa_json_callback success,
                                                      zefa_status_callback failed,
                                                      void* user_data) {
  guard([&] { post(use_disk_token, path, params_json, token, 0, success, failed, user_data); });
}

void zefa_ZefaServerCall_postJsonAsyncWithTokenAndRetry_______(
    int use_disk_token, const char* path, const char* params_json, const char* token,
    int64_t retry_time, zefa_json_callback success, zefa_status_callback failed, void* user_data) {
  guard([&] {
    post(use_disk_token, path, params_json, token, retry_time, success, failed, user_data);
  });
}

char* zefa_ZefaServerCall_getSessionTokenFormDisk(void) {
  return guard<char*>(nullptr,
                      [] { return newStringOrNull(ZefaServerCall::getSessionTokenFormDisk()); });
}

int zefa_ZefaServerCall_getGameAccountIdFormDisk(int64_t* game_account_id) {
  return guard(0, [&] {
    const std::optional<int64_t> id = ZefaServerCall::getGameAccountIdFormDisk();
    if (id && game_account_id != nullptr) *game_account_id = *id;
    return id ? 1 : 0;
  });
}

zefa_ZefaServerCallRetry*
zefa_ZefaServerCallRetry_initWithPrintStr_url_params_retryTime_success_failed_(
    const char* print_str, const char* url, const char* params_json, const int64_t* retry_time,
    zefa_json_callback success, zefa_status_callback failed, void* user_data) {
  if (print_str == nullptr || url == nullptr) return nullptr;
  return guard<zefa_ZefaServerCallRetry*>(nullptr, [&]() -> zefa_ZefaServerCallRetry* {
    std::optional<ZefaJsonObject> params = zefa::capi::parseObject(params_json);
    if (!params) return nullptr;
    std::optional<int64_t> retries;
    if (retry_time != nullptr) retries = *retry_time;
    return new zefa_ZefaServerCallRetry(std::make_shared<ZefaServerCallRetry>(
        print_str, url, std::move(*params), retries, successFor(success, user_data),
        failedFor(failed, user_data)));
  });
}

void zefa_ZefaServerCallRetry_call(zefa_ZefaServerCallRetry* call) {
  if (call != nullptr) guard([&] { call->object->call(); });
}

void zefa_ZefaServerCallRetry_callAgain(zefa_ZefaServerCallRetry* call) {
  if (call != nullptr) guard([&] { call->object->callAgain(); });
}

int zefa_ZefaServerCallRetry_retryTime(const zefa_ZefaServerCallRetry* call, int64_t* retry_time) {
  if (call == nullptr || !call->object->retryTime) return 0;
  if (retry_time != nullptr) *retry_time = *call->object->retryTime;
  return 1;
}

void zefa_ZefaServerCallRetry_setRetryTime_(zefa_ZefaServerCallRetry* call,
                                            const int64_t* retry_time) {
  if (call == nullptr) return;
  if (retry_time != nullptr) {
    call->object->retryTime = *retry_time;
  } else {
    call->object->retryTime.reset();
  }
}

zefa_ZefaStaticInfo* zefa_ZefaStaticInfo_init_(const char* game_name) {
  if (game_name == nullptr) return nullptr;
  return guard<zefa_ZefaStaticInfo*>(nullptr, [&] { return new zefa_ZefaStaticInfo(game_name); });
}

char* zefa_ZefaStaticInfo_json(const zefa_ZefaStaticInfo* info) {
  if (info == nullptr) return nullptr;
  return guard<char*>(nullptr,
                      [&] { return newStringOrNull(zefa::capi::jsonText(info->record.toJson())); });
}

size_t zefa_main_run_once(void) {
  return guard<size_t>(0, [] { return ZefaPlatform::current().mainQueue().runOnce(); });
}

intptr_t zefa_main_wake_handle(void) {
  return guard<intptr_t>(-1, [] { return ZefaPlatform::current().mainQueue().wakeHandle(); });
}

int zefa_main_wake_fd(void) {
#ifdef _WIN32
  return -1;
#else
  return static_cast<int>(zefa_main_wake_handle());
#endif
}

}  // extern "C"
