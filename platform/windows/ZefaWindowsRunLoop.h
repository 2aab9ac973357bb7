#pragma once
// The main thread's task queue and one-shot timers (ZefaTaskQueue's rules) with a waitable
// HANDLE that is signalled while work is due. Any thread posts; the thread that drains the loop
// (runOnce or run) is the main thread. A game calls runOnce() once per frame, or waits on
// wakeHandle() in its own message loop (MsgWaitForMultipleObjects) and calls runOnce() when it is
// signalled.
#include <cstdint>
#include <memory>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaTaskQueue.h"

class ZEFA_EXPORT ZefaWindowsRunLoop final : public ZefaTaskQueue {
 public:
  ZefaWindowsRunLoop();
  // A loop whose timer deadlines read `clock` (tests); run()'s timeout follows the real clock.
  explicit ZefaWindowsRunLoop(MonotonicClock clock);
  ~ZefaWindowsRunLoop() override;
  ZefaWindowsRunLoop(const ZefaWindowsRunLoop&) = delete;
  ZefaWindowsRunLoop& operator=(const ZefaWindowsRunLoop&) = delete;

  // The process's main run loop: the default main queue of the platform.
  static ZefaWindowsRunLoop& main();
  static std::shared_ptr<ZefaWindowsRunLoop> mainShared();

  // A manual-reset waitable timer, signalled while a task is queued or a timer is due; runOnce()
  // makes it quiet again (a spurious wake is possible, a missed one is not).
  intptr_t wakeHandle() const override { return reinterpret_cast<intptr_t>(timer_); }

 private:
  void wakeStateChanged(const WakeState& state) override;
  void arm(int64_t dueTime);

  void* timer_ = nullptr;         // the HANDLE
  int64_t armedDueTime_ = 0;      // what the timer was last set to (its due-time form); lock
  int64_t armedDeadlineNs_ = -1;  // the queue deadline that due time stands for; lock
};
