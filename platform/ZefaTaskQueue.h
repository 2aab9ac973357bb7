#pragma once
// The main queue's rules, with no OS call: tasks run in the order posted, one-shot timers in
// deadline order (equal deadlines in the order posted), and a drain runs what is due when it
// starts, never waiting. Any thread posts; the thread that drains is the main thread.
//
// On its own it is a complete main queue without a wake handle (a game drains it once per frame).
// A platform's run loop derives from it and adds only its wake mechanism, told through
// wakeStateChanged() when work arrives, when the earliest deadline moves and on every drain.
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaMainQueue.h"

class ZEFA_EXPORT ZefaTaskQueue : public ZefaMainQueue {
 public:
  // Nanoseconds of a monotonic clock.
  using MonotonicClock = int64_t (*)();
  // The monotonic clock queues use by default (steady_clock).
  static int64_t monotonicNow();

  ZefaTaskQueue();
  // A queue whose timer deadlines read `clock` (tests); run()'s timeout follows the real clock.
  explicit ZefaTaskQueue(MonotonicClock clock);
  ZefaTaskQueue(const ZefaTaskQueue&) = delete;
  ZefaTaskQueue& operator=(const ZefaTaskQueue&) = delete;

  // Runs `task` on the next drain, after every task posted before it. Any thread.
  void async(std::function<void()> task) override;
  // Runs `task` once, on a drain no sooner than `seconds` from now (negative and NaN mean now).
  // Any thread.
  void after(double seconds, std::function<void()> task) override;

  // Runs the tasks posted so far, then the timers due now, and returns at once; never waits.
  // Work posted meanwhile waits for the next call. If a task throws, the tasks not yet run stay
  // queued (in order, ahead of later work) and the exception reaches the caller.
  size_t runOnce() override;
  // Drains repeatedly, sleeping while nothing is due, until `until()` is true (checked after each
  // drain) or `timeoutSeconds` have passed. Returns the last value of `until()`.
  bool run(const std::function<bool()>& until, double timeoutSeconds);
  // Drains for `seconds`, then returns.
  void runFor(double seconds);

  // Seconds until the earliest timer is due (0 when one is due now), or -1 when there is none.
  double secondsUntilNextTimer();
  // True on the thread that is draining this queue right now (inside a task or timer).
  bool isDrainingThread() const;

 protected:
  struct WakeState {
    bool tasksWaiting;           // a task is queued
    int64_t earliestDeadlineNs;  // of the earliest timer, on the queue's clock; -1: no timer
    int64_t nowNs;               // the queue's clock when the state was taken
    bool draining;               // told by runOnce(): what was due has just been taken
  };
  // Tells a platform loop what its wake handle must show: ready while tasksWaiting, else ready
  // from earliestDeadlineNs on. Called with the queue's lock held, so calls arrive in the order
  // of the changes; it must not call back into the queue.
  virtual void wakeStateChanged(const WakeState& state);
  // Tells wakeStateChanged() the present state again (a wake handle that starts to be watched).
  void restateWake();
  int64_t nowNs() const { return clock_(); }

 private:
  struct Timer {
    int64_t deadlineNs;
    uint64_t sequence;
    std::function<void()> task;
  };
  static bool later(const Timer& a, const Timer& b);
  void notifyLocked(bool draining);
  void requeueFront(std::vector<std::function<void()>>& tasks, size_t from);

  std::mutex mutex_;
  std::condition_variable wakeup_;            // run() sleeps on it
  std::vector<std::function<void()>> tasks_;  // guarded by mutex_
  // The room of a drained batch, handed back to tasks_ by the next drain, so that posting
  // allocates nothing once batches of the usual size have been seen. mutex_
  std::vector<std::function<void()>> spare_;
  std::vector<Timer> timers_;  // a min-heap on (deadline, sequence); mutex_
  uint64_t nextSequence_ = 0;  // mutex_
  MonotonicClock clock_;
};
