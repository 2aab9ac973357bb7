#pragma once
// The machine's own clock: CLOCK_REALTIME, the C library's local-time offset and arc4random.
#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaClock.h"

class ZEFA_EXPORT ZefaSystemClock final : public ZefaClock {
 public:
  double now() override;
  int64_t utcOffsetSeconds() override;
  uint32_t randomUniform(uint32_t upper) override;
};
