// ZefaStatusCode, ZefaStatusCodeBuilder and ZefaLog in the C interface.
#include "ZefaBase/ZefaLog.h"
#include "ZefaBase/ZefaStatusCode.h"
#include "ZefaBase/capi/zefa_support.h"

struct zefa_ZefaStatusCodeBuilder final : zefa::capi::Handle {
  zefa_ZefaStatusCodeBuilder() : Handle(zefa::capi::Kind::StatusCodeBuilder) {}
  ZefaStatusCodeBuilder builder;
};

struct zefa_ZefaLog final : zefa::capi::Handle {
  zefa_ZefaLog() : Handle(zefa::capi::Kind::Log) {}
  ZefaLog log;
};

using zefa::capi::guard;

namespace {

zefa_ZefaStatusCode* sharedHandle(const ZefaStatusCodeRef& code) {
  auto* handle = new zefa_ZefaStatusCode(code);
  handle->shared = true;
  return handle;
}

}  // namespace

extern "C" {

// One function per predefined code, each with its own handle made once and kept for good.
#define ZEFA_CAPI_STATUS_CODE(name, number, text)                                      \
  zefa_ZefaStatusCode* zefa_ZefaStatusCode_##name(void) {                              \
    return guard<zefa_ZefaStatusCode*>(nullptr, [] {                                   \
      static zefa_ZefaStatusCode* const handle = sharedHandle(ZefaStatusCode::name()); \
      return handle;                                                                   \
    });                                                                                \
  }
ZEFA_STATUS_CODES(ZEFA_CAPI_STATUS_CODE)
#undef ZEFA_CAPI_STATUS_CODE

zefa_ZefaStatusCodeBuilder* zefa_ZefaStatusCode_Builder(void) {
  return guard<zefa_ZefaStatusCodeBuilder*>(nullptr, [] { return new zefa_ZefaStatusCodeBuilder; });
}

zefa_ZefaStatusCode* zefa_ZefaStatusCode_init(void) {
  return guard<zefa_ZefaStatusCode*>(
      nullptr, [] { return new zefa_ZefaStatusCode(std::make_shared<ZefaStatusCode>()); });
}

int64_t zefa_ZefaStatusCode_getCode(const zefa_ZefaStatusCode* status) {
  if (status == nullptr) return 0;
  return status->object->getCode();
}

void zefa_ZefaStatusCode_setCode_(zefa_ZefaStatusCode* status, int64_t code) {
  if (status != nullptr) status->object->setCode(code);
}

char* zefa_ZefaStatusCode_getMsg(const zefa_ZefaStatusCode* status) {
  if (status == nullptr) return nullptr;
  const ZefaStatusCode& object = *status->object;
  return guard<char*>(nullptr, [&] { return zefa::capi::newString(object.getMsg()); });
}

void zefa_ZefaStatusCode_setMsg_(zefa_ZefaStatusCode* status, const char* msg) {
  if (status == nullptr || msg == nullptr) return;
  guard([&] { status->object->setMsg(msg); });
}

zefa_ZefaStatusCode* zefa_ZefaStatusCode_withMsg_(const zefa_ZefaStatusCode* status,
                                                  const char* msg) {
  if (status == nullptr || msg == nullptr) return nullptr;
  return guard<zefa_ZefaStatusCode*>(
      nullptr, [&] { return new zefa_ZefaStatusCode(status->object->withMsg(msg)); });
}

zefa_ZefaStatusCodeBuilder* zefa_ZefaStatusCodeBuilder_init(void) {
  return guard<zefa_ZefaStatusCodeBuilder*>(nullptr, [] { return new zefa_ZefaStatusCodeBuilder; });
}

zefa_ZefaLog* zefa_ZefaLog_init(void) {
  return guard<zefa_ZefaLog*>(nullptr, [] { return new zefa_ZefaLog; });
}

}  // extern "C"
