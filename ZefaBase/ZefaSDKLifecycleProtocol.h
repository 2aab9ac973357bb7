#pragma once
// A listener of the application's open-URL callbacks, registered in ZefaSDKLifecycleService.
// Every method is optional: a listener overrides the ones it handles. The defaults stand for
// "not implemented": they do nothing and answer true, which leaves the hub's AND unchanged.
//
// A listener that overrides one `application` overload hides the other from its own name
// lookup (the hub still calls both through this class); write
// `using ZefaSDKLifecycleProtocol::application;` in the listener to keep both visible.
#include <any>
#include <optional>
#include <set>
#include <string>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaApplicationObjects.h"

class ZEFA_EXPORT ZefaSDKLifecycleProtocol {
 public:
  virtual ~ZefaSDKLifecycleProtocol() = default;

  // application(_:openURL:options:): true when the listener handled the URL.
  virtual bool application(ZefaApplication* application, const std::string& url,
                           const ZefaOpenURLOptions& options);
  // application(_:openURL:sourceApplication:annotation:): true when the listener handled the
  // URL. An absent source application stays absent.
  virtual bool application(ZefaApplication* application, const std::string& url,
                           const std::optional<std::string>& sourceApplication,
                           const std::any& annotation);
  // scene(_:openURLContexts:).
  virtual void scene(ZefaScene* scene, const std::set<ZefaOpenURLContext*>& urlContexts);

 protected:
  ZefaSDKLifecycleProtocol() = default;
  ZefaSDKLifecycleProtocol(const ZefaSDKLifecycleProtocol&) = default;
  ZefaSDKLifecycleProtocol& operator=(const ZefaSDKLifecycleProtocol&) = default;
};
