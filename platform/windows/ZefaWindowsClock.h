#pragma once
// The machine's own clock: the precise system time, the time zone's offset at this moment
// (daylight saving time included) and the system's preferred random number generator.
#include <cstdint>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaClock.h"

struct _TIME_ZONE_INFORMATION;

class ZEFA_EXPORT ZefaWindowsClock final : public ZefaClock {
 public:
  double now() override;
  int64_t utcOffsetSeconds() override;
  // Unbiased: draws that would favour small results are drawn again.
  uint32_t randomUniform(uint32_t upper) override;

  // The offset from UTC of local time in `zone` (the current zone when null) at `seconds` since
  // 1970; 0 when the system cannot convert the time.
  static int64_t utcOffsetAt(const _TIME_ZONE_INFORMATION* zone, double seconds);
};
