#pragma once
// Records what a server call (or a transport call) reported: which callback ran, how often, with
// what, whether on the main run loop and whether before the starting call returned. Make it with
// std::make_shared and use it on the test thread, which drains the main run loop.
#include <memory>
#include <optional>
#include <tuple>

#include "ZefaBase/ZefaServerCall.h"
#include "platform/linux/ZefaRunLoop.h"

struct ZefaCallOutcome : std::enable_shared_from_this<ZefaCallOutcome> {
  int calls = 0;
  std::optional<ZefaJsonObject> data;  // what success received
  ZefaStatusCodeRef status;            // what a server call's failed received
  std::optional<std::string> message;  // what a transport call's failed received
  bool onMainLoop = false, beforeReturn = false;
  bool returned = false;  // set by the test once the starting call has returned

  ZefaSuccessCallback success() {
    return
        [self = shared_from_this()](const ZefaJsonObject& got) { self->note(), self->data = got; };
  }
  ZefaFailedCallback failed() {
    return [self = shared_from_this()](const ZefaStatusCodeRef& got) {
      self->note(), self->status = got;
    };
  }
  ZefaHttpFailedCallback httpFailed() {
    return
        [self = shared_from_this()](const std::string& got) { self->note(), self->message = got; };
  }
  // {reports, whether on the main run loop, whether before the starting call returned}.
  std::tuple<int, bool, bool> how() const { return {calls, onMainLoop, beforeReturn}; }
  // Drains the main run loop until a report arrives (false on timeout), then a little longer so
  // that a second report would be seen.
  bool settle(double seconds = 15) {
    const bool arrived = ZefaRunLoop::main().run([this] { return calls > 0; }, seconds);
    ZefaRunLoop::main().runFor(0.05);
    return arrived;
  }

 private:
  void note() {
    ++calls, beforeReturn = !returned;
    onMainLoop = ZefaRunLoop::main().isDrainingThread();
  }
};
