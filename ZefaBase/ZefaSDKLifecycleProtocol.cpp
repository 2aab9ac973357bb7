#include "ZefaBase/ZefaSDKLifecycleProtocol.h"

bool ZefaSDKLifecycleProtocol::application(ZefaApplication*, const std::string&,
                                           const ZefaOpenURLOptions&) {
  return true;
}

bool ZefaSDKLifecycleProtocol::application(ZefaApplication*, const std::string&,
                                           const std::optional<std::string>&, const std::any&) {
  return true;
}

void ZefaSDKLifecycleProtocol::scene(ZefaScene*, const std::set<ZefaOpenURLContext*>&) {}
