#include "platform/windows/ZefaWindowsClock.h"

#include <windows.h>

#include <bcrypt.h>

#include <cmath>

#include "platform/ZefaPlatform.h"

namespace {

// 100-nanosecond ticks between 1601-01-01 (the FILETIME epoch) and 1970-01-01.
constexpr int64_t kUnixEpochTicks = 116444736000000000LL;

int64_t ticksOf(const FILETIME& time) {
  return static_cast<int64_t>((static_cast<uint64_t>(time.dwHighDateTime) << 32) |
                              time.dwLowDateTime);
}

}  // namespace

double ZefaWindowsClock::now() {
  FILETIME time{};
  GetSystemTimePreciseAsFileTime(&time);
  return static_cast<double>(ticksOf(time) - kUnixEpochTicks) / 1e7;
}

int64_t ZefaWindowsClock::utcOffsetAt(const _TIME_ZONE_INFORMATION* zone, double seconds) {
  // Whole seconds: offsets are whole minutes, and the conversion keeps milliseconds only.
  const auto ticks = static_cast<uint64_t>(static_cast<int64_t>(std::floor(seconds)) * 10'000'000 +
                                           kUnixEpochTicks);
  const FILETIME utcTime{.dwLowDateTime = static_cast<DWORD>(ticks),
                         .dwHighDateTime = static_cast<DWORD>(ticks >> 32)};
  SYSTEMTIME utc{};
  SYSTEMTIME local{};
  FILETIME localTime{};
  // SystemTimeToTzSpecificLocalTime applies the zone's daylight saving rules for that date.
  if (!FileTimeToSystemTime(&utcTime, &utc) ||
      !SystemTimeToTzSpecificLocalTime(zone, &utc, &local) ||
      !SystemTimeToFileTime(&local, &localTime)) {
    return 0;
  }
  return (ticksOf(localTime) - ticksOf(utcTime)) / 10'000'000;
}

int64_t ZefaWindowsClock::utcOffsetSeconds() { return utcOffsetAt(nullptr, now()); }

uint32_t ZefaWindowsClock::randomUniform(uint32_t upper) {
  if (upper == 0) return 0;
  // 2^32 mod upper: the draws below it would make the small results more likely.
  const uint32_t threshold = static_cast<uint32_t>(-upper) % upper;
  for (;;) {
    uint32_t draw = 0;
    if (!BCRYPT_SUCCESS(BCryptGenRandom(nullptr, reinterpret_cast<PUCHAR>(&draw), sizeof draw,
                                        BCRYPT_USE_SYSTEM_PREFERRED_RNG))) {
      return 0;  // the system generator does not fail in practice; never throw
    }
    if (draw >= threshold) return draw % upper;
  }
}

std::shared_ptr<ZefaClock> zefa::platform_defaults::makeClock() {
  return std::make_shared<ZefaWindowsClock>();
}
