// ZefaSDKUtils' app bundle helpers in the C interface; dictionaries and values cross as JSON.
#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/capi/zefa_support.h"

using zefa::capi::guard;
using zefa::capi::newString;
using zefa::capi::newStringOrNull;

extern "C" {

char* zefa_ZefaSDKUtils_getMainInfo(void) {
  return guard<char*>(nullptr, []() -> char* {
    const std::optional<ZefaJsonObject> info = ZefaSDKUtils::getMainInfo();
    return info ? newStringOrNull(zefa::capi::jsonText(*info)) : nullptr;
  });
}

char* zefa_ZefaSDKUtils_getMainInfoValueForKey_(const char* key) {
  if (key == nullptr) return nullptr;
  return guard<char*>(nullptr, [&]() -> char* {
    const std::optional<ZefaJson> value = ZefaSDKUtils::getMainInfoValueForKey(key);
    return value ? newStringOrNull(zefa::capi::jsonText(*value)) : nullptr;
  });
}

char* zefa_ZefaSDKUtils_getMainInfoStringForKey_(const char* key) {
  if (key == nullptr) return nullptr;
  return guard<char*>(nullptr,
                      [&] { return newStringOrNull(ZefaSDKUtils::getMainInfoStringForKey(key)); });
}

char* zefa_ZefaSDKUtils_appBundleID(void) {
  return guard<char*>(nullptr, [] { return newStringOrNull(ZefaSDKUtils::appBundleID()); });
}

char* zefa_ZefaSDKUtils_appBundleShortVersion(void) {
  return guard<char*>(nullptr,
                      [] { return newStringOrNull(ZefaSDKUtils::appBundleShortVersion()); });
}

char* zefa_ZefaSDKUtils_appBuildVersion(void) {
  return guard<char*>(nullptr, [] { return newStringOrNull(ZefaSDKUtils::appBuildVersion()); });
}

int64_t zefa_ZefaSDKUtils_appBundleVersionCode(void) {
  return guard<int64_t>(0, [] { return ZefaSDKUtils::appBundleVersionCode(); });
}

char* zefa_ZefaSDKUtils_readFile_subPath_(const char* file_name, const char* sub_path) {
  if (file_name == nullptr || sub_path == nullptr) return nullptr;
  return guard<char*>(nullptr,
                      [&] { return newStringOrNull(ZefaSDKUtils::readFile(file_name, sub_path)); });
}

}  // extern "C"
