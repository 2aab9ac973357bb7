#pragma once
// The clock and randomness of the machine: wall-clock time, the local offset from UTC and a
// uniform random draw. The log, timestamps and session ids read time only through this class.
#include <cstdint>

#include "ZefaBase/ZefaExport.h"

class ZEFA_EXPORT ZefaClock {
 public:
  virtual ~ZefaClock() = default;
  // Seconds since 1970-01-01 00:00:00 UTC, with a fractional part.
  virtual double now() = 0;
  // The local time zone's offset from UTC at this moment, in seconds (east of UTC is positive).
  virtual int64_t utcOffsetSeconds() = 0;
  // A number drawn uniformly from [0, upper); 0 when upper is 0.
  virtual uint32_t randomUniform(uint32_t upper) = 0;
};
