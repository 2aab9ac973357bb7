// ZefaSDKUtils' device and network environment helpers in the C interface.
#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/capi/zefa_support.h"

using zefa::capi::guard;
using zefa::capi::newString;

extern "C" {

char* zefa_ZefaSDKUtils_getSystemVersion(void) {
  return guard<char*>(nullptr, [] { return newString(ZefaSDKUtils::getSystemVersion()); });
}

char* zefa_ZefaSDKUtils_getDeviceName(void) {
  return guard<char*>(nullptr, [] { return newString(ZefaSDKUtils::getDeviceName()); });
}

char* zefa_ZefaSDKUtils_getDeviceVersionWithRaw(void) {
  return guard<char*>(nullptr, [] { return newString(ZefaSDKUtils::getDeviceVersionWithRaw()); });
}

char* zefa_ZefaSDKUtils_getNetworkStatus(void) {
  return guard<char*>(nullptr, [] { return newString(ZefaSDKUtils::getNetworkStatus()); });
}

int64_t zefa_ZefaSDKUtils_isVpn(void) {
  return guard<int64_t>(-1, [] { return ZefaSDKUtils::isVpn(); });
}

int64_t zefa_ZefaSDKUtils_isProxy(void) {
  return guard<int64_t>(-1, [] { return ZefaSDKUtils::isProxy(); });
}

}  // extern "C"
