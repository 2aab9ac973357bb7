#include "tests/support/ZefaCallOutcome.h"

#include "platform/linux/ZefaRunLoop.h"

std::shared_ptr<ZefaCallOutcome> ZefaCallOutcome::make() {
  auto outcome = std::make_shared<ZefaCallOutcome>();
  outcome->self_ = outcome;
  return outcome;
}

void ZefaCallOutcome::note() {
  ++calls;
  onMainLoop = ZefaRunLoop::main().isDrainingThread();
  onCallerThread = std::this_thread::get_id() == caller_;
  beforeReturn = !returned_;
}

ZefaSuccessCallback ZefaCallOutcome::success() {
  return [self = self_.lock()](const ZefaJsonObject& received) {
    self->note();
    self->data = received;
  };
}

ZefaFailedCallback ZefaCallOutcome::failed() {
  return [self = self_.lock()](const ZefaStatusCodeRef& received) {
    self->note();
    self->status = received;
  };
}

ZefaHttpFailedCallback ZefaCallOutcome::httpFailed() {
  return [self = self_.lock()](const std::string& received) {
    self->note();
    self->message = received;
  };
}

bool ZefaCallOutcome::settle(double seconds) {
  const bool arrived = ZefaRunLoop::main().run([this] { return calls > 0; }, seconds);
  ZefaRunLoop::main().runFor(0.05);
  return arrived;
}
