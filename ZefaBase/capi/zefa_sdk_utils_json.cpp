// ZefaSDKUtils' JSON helpers in the C interface; values cross as JSON text.
#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/capi/zefa_support.h"

using zefa::capi::guard;
using zefa::capi::newString;
using zefa::capi::newStringOrNull;

extern "C" {

char* zefa_ZefaSDKUtils_objectToJsonString_(const char* value_json) {
  if (value_json == nullptr) return nullptr;
  return guard<char*>(nullptr, [&]() -> char* {
    // Any JSON value is accepted here, scalars included, so the library decides what it writes.
    const std::optional<ZefaJson> value = zefa::capi::parseValue(value_json);
    if (!value) return nullptr;
    return newStringOrNull(ZefaSDKUtils::objectToJsonString(*value));
  });
}

char* zefa_ZefaSDKUtils_jsonStringToDictionary_(const char* text) {
  if (text == nullptr) return nullptr;
  return guard<char*>(nullptr, [&]() -> char* {
    const std::optional<ZefaJsonObject> object = ZefaSDKUtils::jsonStringToDictionary(text);
    return object ? newStringOrNull(zefa::capi::jsonText(*object)) : nullptr;
  });
}

char* zefa_ZefaSDKUtils_jsonStringToArray_(const char* text) {
  if (text == nullptr) return nullptr;
  return guard<char*>(nullptr, [&]() -> char* {
    const std::optional<ZefaJsonArray> array = ZefaSDKUtils::jsonStringToArray(text);
    return array ? newStringOrNull(zefa::capi::jsonText(*array)) : nullptr;
  });
}

}  // extern "C"
