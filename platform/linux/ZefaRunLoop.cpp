#include "platform/linux/ZefaRunLoop.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <ctime>
#include <string>
#include <utility>

#include "ZefaBase/ZefaFatal.h"
#include "platform/ZefaPlatform.h"

namespace {

constexpr int64_t kNsPerSecond = 1'000'000'000;

// The loop whose tasks the current thread is running, if any.
thread_local const ZefaRunLoop* tDraining = nullptr;

class DrainingScope {
 public:
  explicit DrainingScope(const ZefaRunLoop* loop) : previous_(tDraining) { tDraining = loop; }
  ~DrainingScope() { tDraining = previous_; }
  DrainingScope(const DrainingScope&) = delete;
  DrainingScope& operator=(const DrainingScope&) = delete;

 private:
  const ZefaRunLoop* previous_;
};

int64_t secondsToNs(double seconds) {
  if (!(seconds > 0)) return 0;  // negative and NaN delays mean "now"
  const double ns = seconds * static_cast<double>(kNsPerSecond);
  if (ns >= 9.0e18) return INT64_MAX / 2;
  return static_cast<int64_t>(ns);
}

int64_t monotonicNow() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * kNsPerSecond + now.tv_nsec;
}

void drainCounter(int fd) {
  uint64_t value = 0;
  while (::read(fd, &value, sizeof value) < 0 && errno == EINTR) {
  }
}

}  // namespace

ZefaRunLoop::ZefaRunLoop() : ZefaRunLoop(&monotonicNow) {}

ZefaRunLoop::ZefaRunLoop(MonotonicClock clock) : clock_(clock) {
  eventFd_ = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  timerFd_ = ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
  epollFd_ = ::epoll_create1(EPOLL_CLOEXEC);
  if (eventFd_ < 0 || timerFd_ < 0 || epollFd_ < 0) {
    ZefaFatal::stop("ZefaRunLoop: cannot create its event descriptors");
  }
  for (const int fd : {eventFd_, timerFd_}) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    if (::epoll_ctl(epollFd_, EPOLL_CTL_ADD, fd, &event) != 0) {
      ZefaFatal::stop("ZefaRunLoop: cannot watch its event descriptors");
    }
  }
}

ZefaRunLoop::~ZefaRunLoop() {
  ::close(epollFd_);
  ::close(timerFd_);
  ::close(eventFd_);
}

std::shared_ptr<ZefaRunLoop> ZefaRunLoop::mainShared() {
  static const std::shared_ptr<ZefaRunLoop> loop = std::make_shared<ZefaRunLoop>();
  return loop;
}

ZefaRunLoop& ZefaRunLoop::main() {
  static ZefaRunLoop& loop = *mainShared();
  return loop;
}

std::shared_ptr<ZefaMainQueue> zefa::platform_defaults::makeMainQueue() {
  return ZefaRunLoop::mainShared();
}

bool ZefaRunLoop::later(const Timer& a, const Timer& b) {
  if (a.deadlineNs != b.deadlineNs) return a.deadlineNs > b.deadlineNs;
  return a.sequence > b.sequence;
}

void ZefaRunLoop::wake() {
  const uint64_t one = 1;
  while (::write(eventFd_, &one, sizeof one) < 0 && errno == EINTR) {
  }
}

void ZefaRunLoop::async(std::function<void()> task) {
  std::lock_guard lock(mutex_);
  // Only the first task after a drain signals; the drain takes the whole list at once. The
  // signal is given under the lock so that the descriptor is readable exactly while tasks wait.
  if (tasks_.empty()) wake();
  tasks_.push_back(std::move(task));
}

void ZefaRunLoop::after(double seconds, std::function<void()> task) {
  const int64_t deadline = nowNs() + secondsToNs(seconds);
  std::lock_guard lock(mutex_);
  timers_.push_back(Timer{deadline, nextSequence_++, std::move(task)});
  std::push_heap(timers_.begin(), timers_.end(), later);
  armTimerLocked();
}

// Points timerFd_ at the earliest deadline, or disarms it when there is no timer.
void ZefaRunLoop::armTimerLocked() {
  const int64_t deadline = timers_.empty() ? -1 : timers_.front().deadlineNs;
  if (deadline == armedDeadlineNs_) return;
  itimerspec setting{};
  if (deadline >= 0) {
    // A zero it_value would disarm; a deadline at or before now still fires at once.
    const int64_t at = std::max<int64_t>(deadline, 1);
    setting.it_value.tv_sec = static_cast<time_t>(at / kNsPerSecond);
    setting.it_value.tv_nsec = static_cast<long>(at % kNsPerSecond);
  }
  ::timerfd_settime(timerFd_, TFD_TIMER_ABSTIME, &setting, nullptr);
  armedDeadlineNs_ = deadline;
}

size_t ZefaRunLoop::runOnce() {
  std::vector<std::function<void()>> tasks;
  std::vector<std::function<void()>> due;
  {
    std::lock_guard lock(mutex_);
    if (!tasks_.empty()) {
      // Quiet the descriptor before taking the list: a task posted after the swap signals anew.
      drainCounter(eventFd_);
      tasks.swap(tasks_);
    }
    if (!timers_.empty()) {
      const int64_t now = nowNs();
      if (timers_.front().deadlineNs <= now) {
        drainCounter(timerFd_);
        armedDeadlineNs_ = -2;  // the expiry was consumed: arm again below
        while (!timers_.empty() && timers_.front().deadlineNs <= now) {
          std::pop_heap(timers_.begin(), timers_.end(), later);
          due.push_back(std::move(timers_.back().task));
          timers_.pop_back();
        }
        armTimerLocked();
      }
    }
  }
  if (tasks.empty() && due.empty()) return 0;

  const DrainingScope scope(this);
  tasks.reserve(tasks.size() + due.size());
  for (auto& timer : due) tasks.push_back(std::move(timer));
  for (size_t i = 0; i < tasks.size(); ++i) {
    try {
      tasks[i]();
    } catch (...) {
      requeueFront(tasks, i + 1);
      throw;
    }
  }
  return tasks.size();
}

// Puts back the tasks a throwing task left unrun, ahead of anything posted since.
void ZefaRunLoop::requeueFront(std::vector<std::function<void()>>& tasks, size_t from) {
  if (from >= tasks.size()) return;
  std::lock_guard lock(mutex_);
  if (tasks_.empty()) wake();
  tasks_.insert(tasks_.begin(), std::make_move_iterator(tasks.begin() + static_cast<long>(from)),
                std::make_move_iterator(tasks.end()));
}

bool ZefaRunLoop::run(const std::function<bool()>& until, double timeoutSeconds) {
  const int64_t end = monotonicNow() + secondsToNs(timeoutSeconds);
  while (true) {
    runOnce();
    if (until && until()) return true;
    const int64_t left = end - monotonicNow();
    if (left <= 0) return until ? until() : false;
    pollfd watched{epollFd_, POLLIN, 0};
    const auto waitMs = static_cast<int>(std::min<int64_t>((left + 999'999) / 1'000'000, 1'000));
    ::poll(&watched, 1, waitMs);
  }
}

void ZefaRunLoop::runFor(double seconds) { run(nullptr, seconds); }

double ZefaRunLoop::secondsUntilNextTimer() {
  std::lock_guard lock(mutex_);
  if (timers_.empty()) return -1;
  const int64_t left = timers_.front().deadlineNs - nowNs();
  return left <= 0 ? 0.0 : static_cast<double>(left) / static_cast<double>(kNsPerSecond);
}

bool ZefaRunLoop::isDrainingThread() const { return tDraining == this; }
