#pragma once
// The hub of the application's open-URL callbacks: the game forwards each callback once and the
// hub hands it to every registered listener in list order. The application callbacks answer the
// AND of the listeners that implement them (true when none does).
//
// No lock is taken. Each fan-out works on a copy of `lifecycles` taken when it starts, so a
// listener may add or remove listeners while it is being called: that fan-out goes on with the
// list it started with, and every listener in it stays alive until the fan-out ends.
#include <any>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ZefaBase/ZefaExport.h"
#include "ZefaBase/ZefaSDKLifecycleProtocol.h"
#include "platform/ZefaApplicationObjects.h"

class ZEFA_EXPORT ZefaSDKLifecycleService {
 public:
  // A hub with no listeners, independent of the shared one.
  ZefaSDKLifecycleService() = default;

  // The process-wide hub, made on first use.
  static ZefaSDKLifecycleService& sharedInstance();

  // The registered listeners, held strongly, in call order. A module registers by appending.
  std::vector<std::shared_ptr<ZefaSDKLifecycleProtocol>> lifecycles;

  // Calls every listener with the same arguments, no early exit; false when any answered false.
  // A listener that throws counts as having answered false.
  bool application(ZefaApplication* application, const std::string& url,
                   const ZefaOpenURLOptions& options);
  bool application(ZefaApplication* application, const std::string& url,
                   const std::optional<std::string>& sourceApplication, const std::any& annotation);
  // Calls every listener with the scene and its contexts; an exception of one is dropped.
  void scene(ZefaScene* scene, const std::set<ZefaOpenURLContext*>& urlContexts);

 private:
  // Calls `call` on each listener of a snapshot of the list and ANDs the answers.
  template <class Call>
  bool allHandled(const Call& call);
};
