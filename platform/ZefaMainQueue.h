#pragma once
// The game's main thread as a queue: work posted here runs later, one task at a time, on the
// thread that drains the queue. Every network outcome and every retry timer runs here.
#include <cstddef>
#include <cstdint>
#include <functional>

#include "ZefaBase/ZefaExport.h"

class ZEFA_EXPORT ZefaMainQueue {
 public:
  virtual ~ZefaMainQueue() = default;
  // Runs `task` later on the main thread; tasks run in the order they were posted. Any thread.
  virtual void async(std::function<void()> task) = 0;
  // Runs `task` once on the main thread, no sooner than `seconds` from now; timers run in
  // deadline order, equal deadlines in the order posted. Any thread.
  virtual void after(double seconds, std::function<void()> task) = 0;
  // Runs what is due now (the tasks posted so far, then the timers whose deadline has passed) and
  // returns at once, never waiting. Returns the number of tasks and timers run. The thread that
  // calls it is the main thread.
  virtual size_t runOnce() = 0;
  // A handle the game's own event loop may wait on, ready while work is due: a pollable file
  // descriptor on POSIX systems, an event or timer HANDLE on Windows. -1 when the queue has none
  // and must be drained by calling runOnce() once per frame.
  virtual intptr_t wakeHandle() const { return -1; }
};
