#pragma once
// The main thread's task queue and one-shot timers. Any thread posts; the thread that drains the
// loop (runOnce or run) is the main thread. A game calls runOnce() once per frame, or polls
// wakeFd() in its own event loop and calls runOnce() when it becomes readable.
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaMainQueue.h"

class ZEFA_EXPORT ZefaRunLoop final : public ZefaMainQueue {
 public:
  // Nanoseconds of a monotonic clock.
  using MonotonicClock = int64_t (*)();
  ZefaRunLoop();
  // A loop whose timer deadlines read `clock` (tests); its wake descriptor and run() still follow
  // the real monotonic clock.
  explicit ZefaRunLoop(MonotonicClock clock);
  ~ZefaRunLoop() override;
  ZefaRunLoop(const ZefaRunLoop&) = delete;
  ZefaRunLoop& operator=(const ZefaRunLoop&) = delete;

  // The process's main run loop: the default main queue of the platform.
  static ZefaRunLoop& main();
  static std::shared_ptr<ZefaRunLoop> mainShared();

  // Runs `task` on the next drain, after every task posted before it. Any thread.
  void async(std::function<void()> task) override;
  // Runs `task` once, on a drain no sooner than `seconds` from now; timers run in deadline order
  // (equal deadlines in the order posted). Any thread.
  void after(double seconds, std::function<void()> task) override;

  // Runs what is due now and returns at once; never waits. Work posted meanwhile waits for the
  // next call. If a task throws, the tasks not yet run stay queued (in order) and the exception
  // reaches the caller.
  size_t runOnce() override;
  // Drains repeatedly, sleeping while nothing is due, until `until()` is true (checked after each
  // drain) or `timeoutSeconds` have passed. Returns the last value of `until()`.
  bool run(const std::function<bool()>& until, double timeoutSeconds);
  // Drains for `seconds`, then returns.
  void runFor(double seconds);

  // A descriptor that polls readable while a task is queued or a timer is due; runOnce() makes it
  // quiet again (a spurious readiness is possible, a missed one is not).
  int wakeFd() const { return epollFd_; }
  intptr_t wakeHandle() const override { return epollFd_; }
  // Seconds until the earliest timer is due (0 when one is due now), or -1 when there is none.
  double secondsUntilNextTimer();
  // True on the thread that is draining this loop right now (inside a task or timer).
  bool isDrainingThread() const;

 private:
  struct Timer {
    int64_t deadlineNs;
    uint64_t sequence;
    std::function<void()> task;
  };
  static bool later(const Timer& a, const Timer& b);
  int64_t nowNs() const { return clock_(); }
  void armTimerLocked();
  void wake();
  void requeueFront(std::vector<std::function<void()>>& tasks, size_t from);

  std::mutex mutex_;
  std::vector<std::function<void()>> tasks_;  // guarded by mutex_
  std::vector<Timer> timers_;                 // a min-heap on (deadline, sequence); mutex_
  uint64_t nextSequence_ = 0;                 // mutex_
  int64_t armedDeadlineNs_ = -1;              // the deadline timerFd_ is set to; mutex_
  MonotonicClock clock_;
  int eventFd_ = -1;
  int timerFd_ = -1;
  int epollFd_ = -1;
};
