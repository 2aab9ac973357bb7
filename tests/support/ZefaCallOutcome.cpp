#include "tests/support/ZefaCallOutcome.h"

#include "platform/linux/ZefaRunLoop.h"

void ZefaCallOutcome::noteCall() {
  ++calls;
  onMainLoop = ZefaRunLoop::main().isDrainingThread();
  onCallerThread = std::this_thread::get_id() == caller_;
  beforeReturn = !returned;
}

bool ZefaCallOutcome::settle(double seconds) {
  const bool arrived = ZefaRunLoop::main().run([this] { return calls > 0; }, seconds);
  ZefaRunLoop::main().runFor(0.05);
  return arrived;
}
