#pragma once
// Records what a server call (or a transport call) reported: which callback ran, how often, with
// what, on which thread and whether before the starting call returned. Make it with
// std::make_shared and use it on the test thread, which drains the main run loop.
#include <memory>
#include <optional>
#include <thread>

#include "ZefaBase/ZefaServerCall.h"

struct ZefaCallOutcome : std::enable_shared_from_this<ZefaCallOutcome> {
  int calls = 0;
  std::optional<ZefaJsonObject> data;  // what success received
  ZefaStatusCodeRef status;            // what a server call's failed received
  std::optional<std::string> message;  // what a transport call's failed received
  bool onMainLoop = false, onCallerThread = false, beforeReturn = false;
  bool returned = false;  // set by the test once the starting call has returned

  ZefaSuccessCallback success() {
    return [self = shared_from_this()](const ZefaJsonObject& received) { self->note(received); };
  }
  ZefaFailedCallback failed() {
    return [self = shared_from_this()](const ZefaStatusCodeRef& received) { self->note(received); };
  }
  ZefaHttpFailedCallback httpFailed() {
    return [self = shared_from_this()](const std::string& received) { self->note(received); };
  }
  // Drains the main run loop until a report arrives (false on timeout), then a little longer so
  // that a second report would be seen.
  bool settle(double seconds = 15);

 private:
  void note(const ZefaJsonObject& received) { noteCall(), data = received; }
  void note(const ZefaStatusCodeRef& received) { noteCall(), status = received; }
  void note(const std::string& received) { noteCall(), message = received; }
  void noteCall();
  std::thread::id caller_ = std::this_thread::get_id();
};
