#pragma once
// Records what a server call (or a transport call) reported: which callback ran, how often, with
// what, on which thread and whether before the starting call returned. Use on the test thread,
// which drains the main run loop.
#include <memory>
#include <optional>
#include <thread>

#include "ZefaBase/ZefaServerCall.h"

class ZefaCallOutcome {
 public:
  int calls = 0;
  std::optional<ZefaJsonObject> data;  // what success received
  ZefaStatusCodeRef status;            // what a server call's failed received
  std::optional<std::string> message;  // what a transport call's failed received
  bool onMainLoop = false;
  bool onCallerThread = false;
  bool beforeReturn = false;

  static std::shared_ptr<ZefaCallOutcome> make();
  ZefaSuccessCallback success();
  ZefaFailedCallback failed();
  ZefaHttpSuccessCallback httpSuccess() { return success(); }
  ZefaHttpFailedCallback httpFailed();
  // Marks the starting call as returned.
  void returned() { returned_ = true; }
  // Drains the main run loop until a report arrives (false on timeout), then a little longer so
  // that a second report would be seen.
  bool settle(double seconds = 15);

 private:
  void note();
  std::weak_ptr<ZefaCallOutcome> self_;
  std::thread::id caller_ = std::this_thread::get_id();
  bool returned_ = false;
};
