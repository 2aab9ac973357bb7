#pragma once
// The main thread's task queue and one-shot timers (ZefaTaskQueue's rules) with a descriptor that
// polls readable while work is due. Any thread posts; the thread that drains the loop (runOnce
// or run) is the main thread. A game calls runOnce() once per frame, or polls wakeFd() in its own
// event loop and calls runOnce() when it becomes readable.
#include <atomic>
#include <cstdint>
#include <memory>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaTaskQueue.h"

class ZEFA_EXPORT ZefaRunLoop final : public ZefaTaskQueue {
 public:
  ZefaRunLoop();
  // A loop whose timer deadlines read `clock` (tests); its wake descriptor and run()'s timeout
  // still follow the real monotonic clock.
  explicit ZefaRunLoop(MonotonicClock clock);
  ~ZefaRunLoop() override;
  ZefaRunLoop(const ZefaRunLoop&) = delete;
  ZefaRunLoop& operator=(const ZefaRunLoop&) = delete;

  // The process's main run loop: the default main queue of the platform.
  static ZefaRunLoop& main();
  static std::shared_ptr<ZefaRunLoop> mainShared();

  // A descriptor that polls readable while a task is queued or a timer is due; runOnce() makes it
  // quiet again (a spurious readiness is possible, a missed one is not). The descriptor is kept
  // up to date from the first time it is asked for: a game that only calls runOnce() once per
  // frame then pays no system call to signal it and quiet it again.
  int wakeFd() const;
  intptr_t wakeHandle() const override { return wakeFd(); }

 private:
  void wakeStateChanged(const WakeState& state) override;

  mutable std::atomic<bool> watched_{false};  // the descriptor has been asked for
  bool eventSignalled_ = false;               // eventFd_ holds a count; under the queue's lock
  int64_t armedDeadlineNs_ = -1;  // the deadline timerFd_ is set to; under the queue's lock
  int eventFd_ = -1;
  int timerFd_ = -1;
  int epollFd_ = -1;
};
