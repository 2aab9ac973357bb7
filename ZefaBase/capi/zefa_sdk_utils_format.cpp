// ZefaSDKUtils' value formatting and time helpers in the C interface.
#include <chrono>
#include <cmath>

#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/capi/zefa_support.h"

using zefa::capi::guard;
using zefa::capi::newString;

extern "C" {

char* zefa_ZefaSDKUtils_boolToString_(int value) {
  return guard<char*>(nullptr, [&] { return newString(ZefaSDKUtils::boolToString(value != 0)); });
}

char* zefa_ZefaSDKUtils_intToString_(int64_t value) {
  return guard<char*>(nullptr, [&] { return newString(ZefaSDKUtils::intToString(value)); });
}

char* zefa_ZefaSDKUtils_doubleToString_(double value) {
  return guard<char*>(nullptr, [&] { return newString(ZefaSDKUtils::doubleToString(value)); });
}

int zefa_ZefaSDKUtils_notNull_(const char* text) {
  return guard(0, [&] { return ZefaSDKUtils::notNull(zefa::capi::optionalText(text)); });
}

int64_t zefa_ZefaSDKUtils_getTimeStamp(void) {
  return guard<int64_t>(0, [] { return ZefaSDKUtils::getTimeStamp(); });
}

char* zefa_ZefaSDKUtils_nsDateToGmtString_(double seconds_since_1970) {
  // An instant the system clock cannot hold (about 292 years either side of 1970) has no text.
  if (!std::isfinite(seconds_since_1970) || std::fabs(seconds_since_1970) > 9.0e9) return nullptr;
  return guard<char*>(nullptr, [&] {
    const auto since = std::chrono::duration_cast<std::chrono::system_clock::duration>(
        std::chrono::duration<double>(seconds_since_1970));
    return newString(ZefaSDKUtils::nsDateToGmtString(std::chrono::system_clock::time_point(since)));
  });
}

}  // extern "C"
