#pragma once
// The game's main thread as a queue: work posted here runs later, one task at a time, on the
// thread that drains the queue. Every network outcome and every retry timer runs here.
#include <functional>

#include "ZefaBase/ZefaExport.h"

class ZEFA_EXPORT ZefaMainQueue {
 public:
  virtual ~ZefaMainQueue() = default;
  // Runs `task` later on the main thread; tasks run in the order they were posted. Any thread.
  virtual void async(std::function<void()> task) = 0;
  // Runs `task` once on the main thread, no sooner than `seconds` from now. Any thread.
  virtual void after(double seconds, std::function<void()> task) = 0;
};
