#include "platform/linux/ZefaRunLoop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

#include "ZefaBase/ZefaFatal.h"
#include "platform/ZefaPlatform.h"

namespace {

constexpr int64_t kNsPerSecond = 1'000'000'000;

void drainCounter(int fd) {
  uint64_t value = 0;
  while (::read(fd, &value, sizeof value) < 0 && errno == EINTR) {
  }
}

}  // namespace

ZefaRunLoop::ZefaRunLoop() : ZefaRunLoop(&monotonicNow) {}

ZefaRunLoop::ZefaRunLoop(MonotonicClock clock) : ZefaTaskQueue(clock) {
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

int ZefaRunLoop::wakeFd() const {
  if (!watched_.exchange(true)) {
    // Shows what is already due; changes from now on are shown as they happen.
    const_cast<ZefaRunLoop*>(this)->restateWake();
  }
  return epollFd_;
}

// The event counter is set exactly while tasks wait; the timer descriptor is armed at the
// earliest deadline (timerfd's clock is the default monotonic clock).
void ZefaRunLoop::wakeStateChanged(const WakeState& state) {
  if (!watched_.load(std::memory_order_relaxed)) return;
  if (state.tasksWaiting != eventSignalled_) {
    if (state.tasksWaiting) {
      const uint64_t one = 1;
      while (::write(eventFd_, &one, sizeof one) < 0 && errno == EINTR) {
      }
    } else {
      drainCounter(eventFd_);
    }
    eventSignalled_ = state.tasksWaiting;
  }
  if (state.earliestDeadlineNs == armedDeadlineNs_) return;
  drainCounter(timerFd_);  // an expiry that was consumed, or one of a deadline that moved
  itimerspec setting{};
  if (state.earliestDeadlineNs >= 0) {
    // A zero it_value would disarm; a deadline at or before now still fires at once.
    const int64_t at = std::max<int64_t>(state.earliestDeadlineNs, 1);
    setting.it_value.tv_sec = static_cast<time_t>(at / kNsPerSecond);
    setting.it_value.tv_nsec = static_cast<long>(at % kNsPerSecond);
  }
  ::timerfd_settime(timerFd_, TFD_TIMER_ABSTIME, &setting, nullptr);
  armedDeadlineNs_ = state.earliestDeadlineNs;
}
