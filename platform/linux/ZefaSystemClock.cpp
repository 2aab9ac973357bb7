#include "platform/linux/ZefaSystemClock.h"

#include <stdlib.h>
#include <time.h>

#include "platform/ZefaPlatform.h"

double ZefaSystemClock::now() {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

int64_t ZefaSystemClock::utcOffsetSeconds() {
  // tzset() once so that a TZ set by the process after start-up is honoured; localtime_r alone
  // does not promise to re-read it.
  static const bool zoneRead = (tzset(), true);
  (void)zoneRead;
  const time_t t = time(nullptr);
  tm local{};
  localtime_r(&t, &local);
  return local.tm_gmtoff;
}

uint32_t ZefaSystemClock::randomUniform(uint32_t upper) {
  return upper == 0 ? 0 : arc4random_uniform(upper);
}

std::shared_ptr<ZefaClock> zefa::platform_defaults::makeClock() {
  return std::make_shared<ZefaSystemClock>();
}
