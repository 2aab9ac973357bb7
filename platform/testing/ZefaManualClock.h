#pragma once
// A clock that stands still until a test moves it, in a time zone the test chooses, with random
// draws the test scripts.
#include <deque>

#include "platform/ZefaClock.h"

class ZefaManualClock final : public ZefaClock {
 public:
  explicit ZefaManualClock(double now = 0, int64_t utcOffsetSeconds = 0)
      : now_(now), offset_(utcOffsetSeconds) {}

  double now() override { return now_; }
  int64_t utcOffsetSeconds() override { return offset_; }
  // The next scripted draw (reduced below `upper`), or 0 when none is left.
  uint32_t randomUniform(uint32_t upper) override;

  void setNow(double now) { now_ = now; }
  void advance(double seconds) { now_ += seconds; }
  void setUtcOffsetSeconds(int64_t offset) { offset_ = offset; }
  void pushRandom(uint32_t value) { draws_.push_back(value); }

 private:
  double now_;
  int64_t offset_;
  std::deque<uint32_t> draws_;
};
