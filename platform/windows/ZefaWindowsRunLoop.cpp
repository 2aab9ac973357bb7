#include "platform/windows/ZefaWindowsRunLoop.h"

#include <windows.h>

#include "ZefaBase/ZefaFatal.h"
#include "platform/ZefaPlatform.h"

namespace {

// SetWaitableTimer's due times: positive is an absolute time (one long past signals at once),
// negative a relative one in 100-nanosecond units.
constexpr int64_t kSignalNow = 1;
constexpr int64_t kNever = -10'000'000LL * 86400 * 365;  // a year away: quiet
constexpr int64_t kNsPerTick = 100;

}  // namespace

ZefaWindowsRunLoop::ZefaWindowsRunLoop() : ZefaWindowsRunLoop(&monotonicNow) {}

ZefaWindowsRunLoop::ZefaWindowsRunLoop(MonotonicClock clock) : ZefaTaskQueue(clock) {
  timer_ = CreateWaitableTimerW(nullptr, TRUE, nullptr);
  if (timer_ == nullptr) ZefaFatal::stop("ZefaWindowsRunLoop: cannot create its waitable timer");
}

ZefaWindowsRunLoop::~ZefaWindowsRunLoop() { CloseHandle(timer_); }

std::shared_ptr<ZefaWindowsRunLoop> ZefaWindowsRunLoop::mainShared() {
  static const std::shared_ptr<ZefaWindowsRunLoop> loop = std::make_shared<ZefaWindowsRunLoop>();
  return loop;
}

ZefaWindowsRunLoop& ZefaWindowsRunLoop::main() {
  static ZefaWindowsRunLoop& loop = *mainShared();
  return loop;
}

std::shared_ptr<ZefaMainQueue> zefa::platform_defaults::makeMainQueue() {
  return ZefaWindowsRunLoop::mainShared();
}

void ZefaWindowsRunLoop::arm(int64_t dueTime) {
  LARGE_INTEGER due;
  due.QuadPart = dueTime;
  // Setting the timer also makes it non-signalled until the new due time.
  SetWaitableTimer(timer_, &due, 0, nullptr, nullptr, FALSE);
  armedDueTime_ = dueTime;
}

// One timer shows both kinds of work: due at once while tasks wait, else at the earliest
// deadline, else never. A drain always re-arms a pending deadline, since the system's timer may
// fire a little before the queue's clock says the deadline has come.
void ZefaWindowsRunLoop::wakeStateChanged(const WakeState& state) {
  if (state.tasksWaiting) {
    if (armedDueTime_ != kSignalNow) arm(kSignalNow);
    return;
  }
  if (state.earliestDeadlineNs < 0) {
    if (armedDueTime_ != kNever) arm(kNever);
    armedDeadlineNs_ = -1;
    return;
  }
  if (!state.draining && armedDueTime_ != kSignalNow &&
      state.earliestDeadlineNs == armedDeadlineNs_) {
    return;
  }
  const int64_t left = state.earliestDeadlineNs - state.nowNs;
  // Rounded up to whole ticks, at least one: a relative due time of 0 would mean "absolute".
  arm(left <= 0 ? kSignalNow : -((left + kNsPerTick - 1) / kNsPerTick));
  armedDeadlineNs_ = state.earliestDeadlineNs;
}
