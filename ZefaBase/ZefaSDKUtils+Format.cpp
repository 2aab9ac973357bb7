#include <cinttypes>
#include <cmath>
#include <cstdio>

#include "ZefaBase/ZefaCalendar.h"
#include "ZefaBase/ZefaFatal.h"
#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/ZefaUtf8.h"
#include "platform/ZefaPlatform.h"

std::string ZefaSDKUtils::boolToString(bool value) { return value ? "1" : "0"; }

std::string ZefaSDKUtils::intToString(int64_t value) {
  // "%d" reads a 32-bit int: only the low 32 bits count, as a signed number.
  return std::to_string(static_cast<int32_t>(static_cast<uint32_t>(value)));
}

std::string ZefaSDKUtils::doubleToString(double value) {
  char text[512];
  const int n = std::snprintf(text, sizeof text, "%f", value);
  return std::string(text, n > 0 ? static_cast<size_t>(n) : 0);
}

bool ZefaSDKUtils::notNull(const std::optional<std::string>& text) {
  return text && !text->empty();
}

int64_t ZefaSDKUtils::getTimeStamp() {
  const double now = ZefaPlatform::current().clock().now();
  if (!std::isfinite(now) || now >= 9223372036854775808.0 || now <= -9223372036854777856.0) {
    ZefaFatal::stop("getTimeStamp(): the current time is not a finite 64-bit number of seconds");
  }
  return static_cast<int64_t>(now);  // truncation toward zero
}

std::string ZefaSDKUtils::nsDateToGmtString(std::chrono::system_clock::time_point date) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(date.time_since_epoch());
  return ZefaCalendar::dateTimeText(seconds.count());
}

namespace {

// Unicode's space separators, tab and the line breaks.
bool isWhiteSpaceOrNewline(uint32_t p) {
  return p == 0x20 || (p >= 0x09 && p <= 0x0D) || p == 0x85 || p == 0xA0 || p == 0x1680 ||
         (p >= 0x2000 && p <= 0x200A) || p == 0x2028 || p == 0x2029 || p == 0x202F || p == 0x205F ||
         p == 0x3000;
}

}  // namespace

bool isBlank(std::string_view text) {
  // Trimming both ends leaves nothing exactly when every character is white space. Bytes that
  // are not a character are not white space either.
  for (size_t i = 0; i < text.size();) {
    const std::optional<ZefaUtf8::CodePoint> point = ZefaUtf8::decode(text, i);
    if (!point || !isWhiteSpaceOrNewline(point->value)) return false;
    i += point->length;
  }
  return true;
}
