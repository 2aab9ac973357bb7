#include "platform/testing/ZefaManualClock.h"

uint32_t ZefaManualClock::randomUniform(uint32_t upper) {
  if (draws_.empty() || upper == 0) return 0;
  const uint32_t value = draws_.front();
  draws_.pop_front();
  return value % upper;
}
