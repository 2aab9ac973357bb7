#include "platform/ZefaTaskQueue.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace {

constexpr int64_t kNsPerSecond = 1'000'000'000;
constexpr int64_t kLongestSleepNs = kNsPerSecond;  // run() looks at its clock at least this often
constexpr size_t kKeptTaskRoom = 1024;             // the most tasks' room kept between drains

// The queue whose tasks the current thread is running, if any.
thread_local const ZefaTaskQueue* tDraining = nullptr;

class DrainingScope {
 public:
  explicit DrainingScope(const ZefaTaskQueue* queue) : previous_(tDraining) { tDraining = queue; }
  ~DrainingScope() { tDraining = previous_; }
  DrainingScope(const DrainingScope&) = delete;
  DrainingScope& operator=(const DrainingScope&) = delete;

 private:
  const ZefaTaskQueue* previous_;
};

int64_t secondsToNs(double seconds) {
  if (!(seconds > 0)) return 0;  // negative and NaN delays mean "now"
  const double ns = seconds * static_cast<double>(kNsPerSecond);
  if (ns >= 9.0e18) return INT64_MAX / 2;
  return static_cast<int64_t>(ns);
}

}  // namespace

int64_t ZefaTaskQueue::monotonicNow() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

ZefaTaskQueue::ZefaTaskQueue() : ZefaTaskQueue(&monotonicNow) {}

ZefaTaskQueue::ZefaTaskQueue(MonotonicClock clock) : clock_(clock) {}

void ZefaTaskQueue::wakeStateChanged(const WakeState&) {}

bool ZefaTaskQueue::later(const Timer& a, const Timer& b) {
  if (a.deadlineNs != b.deadlineNs) return a.deadlineNs > b.deadlineNs;
  return a.sequence > b.sequence;
}

void ZefaTaskQueue::notifyLocked(bool draining) {
  const int64_t earliest = timers_.empty() ? -1 : timers_.front().deadlineNs;
  wakeStateChanged(WakeState{!tasks_.empty(), earliest, nowNs(), draining});
  if (!draining) wakeup_.notify_all();
}

void ZefaTaskQueue::restateWake() {
  std::lock_guard lock(mutex_);
  notifyLocked(false);
}

void ZefaTaskQueue::async(std::function<void()> task) {
  std::lock_guard lock(mutex_);
  tasks_.push_back(std::move(task));
  // Only the first task after a drain changes what the wake handle shows.
  if (tasks_.size() == 1) notifyLocked(false);
}

void ZefaTaskQueue::after(double seconds, std::function<void()> task) {
  const int64_t deadline = nowNs() + secondsToNs(seconds);
  std::lock_guard lock(mutex_);
  const int64_t earliest = timers_.empty() ? -1 : timers_.front().deadlineNs;
  timers_.push_back(Timer{deadline, nextSequence_++, std::move(task)});
  std::push_heap(timers_.begin(), timers_.end(), later);
  if (timers_.front().deadlineNs != earliest) notifyLocked(false);
}

size_t ZefaTaskQueue::runOnce() {
  std::vector<std::function<void()>> tasks;
  {
    std::lock_guard lock(mutex_);
    tasks.swap(tasks_);
    tasks_.swap(spare_);
    const int64_t now = nowNs();
    while (!timers_.empty() && timers_.front().deadlineNs <= now) {
      std::pop_heap(timers_.begin(), timers_.end(), later);
      tasks.push_back(std::move(timers_.back().task));
      timers_.pop_back();
    }
    // The wake handle goes quiet before the tasks run: work posted from now on signals anew.
    notifyLocked(true);
  }
  if (tasks.empty()) return 0;

  const DrainingScope scope(this);
  for (size_t i = 0; i < tasks.size(); ++i) {
    try {
      tasks[i]();
    } catch (...) {
      requeueFront(tasks, i + 1);
      throw;
    }
  }
  const size_t ran = tasks.size();
  tasks.clear();  // the tasks' captures are released here, outside the lock
  std::lock_guard lock(mutex_);
  if (tasks.capacity() > spare_.capacity() && tasks.capacity() <= kKeptTaskRoom) spare_.swap(tasks);
  return ran;
}

// Puts back the tasks a throwing task left unrun, ahead of anything posted since.
void ZefaTaskQueue::requeueFront(std::vector<std::function<void()>>& tasks, size_t from) {
  if (from >= tasks.size()) return;
  std::lock_guard lock(mutex_);
  const bool wasEmpty = tasks_.empty();
  tasks_.insert(tasks_.begin(), std::make_move_iterator(tasks.begin() + static_cast<long>(from)),
                std::make_move_iterator(tasks.end()));
  if (wasEmpty) notifyLocked(false);
}

bool ZefaTaskQueue::run(const std::function<bool()>& until, double timeoutSeconds) {
  const int64_t end = monotonicNow() + secondsToNs(timeoutSeconds);
  while (true) {
    runOnce();
    if (until && until()) return true;
    const int64_t left = end - monotonicNow();
    if (left <= 0) return until ? until() : false;
    std::unique_lock lock(mutex_);
    int64_t sleepNs = std::min(left, kLongestSleepNs);
    if (!timers_.empty()) sleepNs = std::min(sleepNs, timers_.front().deadlineNs - nowNs());
    if (!tasks_.empty() || sleepNs <= 0) continue;
    wakeup_.wait_for(lock, std::chrono::nanoseconds(sleepNs));
  }
}

void ZefaTaskQueue::runFor(double seconds) { run(nullptr, seconds); }

double ZefaTaskQueue::secondsUntilNextTimer() {
  std::lock_guard lock(mutex_);
  if (timers_.empty()) return -1;
  const int64_t left = timers_.front().deadlineNs - nowNs();
  return left <= 0 ? 0.0 : static_cast<double>(left) / static_cast<double>(kNsPerSecond);
}

bool ZefaTaskQueue::isDrainingThread() const { return tDraining == this; }
