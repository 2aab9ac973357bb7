#pragma once
// The machine's own clock: CLOCK_REALTIME, the C library's local-time offset and arc4random.
#include "platform/ZefaClock.h"

class ZefaSystemClock final : public ZefaClock {
 public:
  double now() override;
  int64_t utcOffsetSeconds() override;
  uint32_t randomUniform(uint32_t upper) override;
};
