// ZefaSDKUtils' keychain and device identifier helpers in the C interface.
#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/capi/zefa_support.h"

using zefa::capi::guard;
using zefa::capi::newString;
using zefa::capi::newStringOrNull;

extern "C" {

char* zefa_ZefaSDKUtils_keyChainId(void) {
  return guard<char*>(nullptr, [] { return newStringOrNull(ZefaSDKUtils::keyChainId()); });
}

char* zefa_ZefaSDKUtils_idfv(void) {
  return guard<char*>(nullptr, [] { return newStringOrNull(ZefaSDKUtils::idfv()); });
}

char* zefa_ZefaSDKUtils_idfa(void) {
  return guard<char*>(nullptr, [] { return newString(ZefaSDKUtils::idfa()); });
}

void zefa_ZefaSDKUtils_saveInKeyChain_key_value_(const char* service, const char* key,
                                                 const char* value) {
  if (service == nullptr || key == nullptr || value == nullptr) return;
  guard([&] { ZefaSDKUtils::saveInKeyChain(service, key, value); });
}

char* zefa_ZefaSDKUtils_getFromKeyChain_key_(const char* service, const char* key) {
  if (service == nullptr || key == nullptr) return newString("");
  return guard<char*>(nullptr,
                      [&] { return newString(ZefaSDKUtils::getFromKeyChain(service, key)); });
}

char* zefa_ZefaSDKUtils_listFromKeyChain_(const char* service) {
  if (service == nullptr) return nullptr;
  return guard<char*>(nullptr, [&]() -> char* {
    const std::optional<ZefaJsonArray> accounts = ZefaSDKUtils::listFromKeyChain(service);
    return accounts ? newStringOrNull(zefa::capi::jsonText(*accounts)) : nullptr;
  });
}

void zefa_ZefaSDKUtils_removeFromKeyChain_key_(const char* service, const char* key) {
  if (service == nullptr || key == nullptr) return;
  guard([&] { ZefaSDKUtils::removeFromKeyChain(service, key); });
}

}  // extern "C"
