#include "ZefaBase/ZefaSDKLifecycleService.h"

ZefaSDKLifecycleService& ZefaSDKLifecycleService::sharedInstance() {
  // Never destroyed: listeners may still be called while the process exits.
  static ZefaSDKLifecycleService* const shared = new ZefaSDKLifecycleService();
  return *shared;
}

template <class Call>
bool ZefaSDKLifecycleService::allHandled(const Call& call) {
  const std::vector<std::shared_ptr<ZefaSDKLifecycleProtocol>> snapshot = lifecycles;
  bool result = true;
  for (const auto& listener : snapshot) {
    if (!listener) continue;
    try {
      if (!call(*listener)) result = false;
    } catch (...) {
      result = false;
    }
  }
  return result;
}

bool ZefaSDKLifecycleService::application(ZefaApplication* application, const std::string& url,
                                          const ZefaOpenURLOptions& options) {
  return allHandled([&](ZefaSDKLifecycleProtocol& listener) {
    return listener.application(application, url, options);
  });
}

bool ZefaSDKLifecycleService::application(ZefaApplication* application, const std::string& url,
                                          const std::optional<std::string>& sourceApplication,
                                          const std::any& annotation) {
  return allHandled([&](ZefaSDKLifecycleProtocol& listener) {
    return listener.application(application, url, sourceApplication, annotation);
  });
}

void ZefaSDKLifecycleService::scene(ZefaScene* scene,
                                    const std::set<ZefaOpenURLContext*>& urlContexts) {
  const std::vector<std::shared_ptr<ZefaSDKLifecycleProtocol>> snapshot = lifecycles;
  for (const auto& listener : snapshot) {
    if (!listener) continue;
    try {
      listener->scene(scene, urlContexts);
    } catch (...) {
      // A listener's failure stays with that listener; the others are still called.
    }
  }
}
