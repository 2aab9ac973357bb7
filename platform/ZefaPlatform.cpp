#include "platform/ZefaPlatform.h"

#include <utility>

namespace {
// Returns the installed service, or this platform's default made once on first use.
template <class Service>
const std::shared_ptr<Service>& serviceOr(const std::shared_ptr<Service>& installed,
                                          std::shared_ptr<Service> (*makeDefault)()) {
  if (installed) return installed;
  // One default per service type, made under the compiler's one-time initialisation guard.
  static const std::shared_ptr<Service> fallback = makeDefault();
  return fallback;
}
}  // namespace

ZefaPlatform& ZefaPlatform::current() {
  static ZefaPlatform platform;
  return platform;
}

void ZefaPlatform::install(std::shared_ptr<ZefaHttpClient> s) { http_ = std::move(s); }
void ZefaPlatform::install(std::shared_ptr<ZefaMainQueue> s) { mainQueue_ = std::move(s); }
void ZefaPlatform::install(std::shared_ptr<ZefaKeyValueStore> s) { keyValueStore_ = std::move(s); }
void ZefaPlatform::install(std::shared_ptr<ZefaKeychain> s) { keychain_ = std::move(s); }
void ZefaPlatform::install(std::shared_ptr<ZefaDevice> s) { device_ = std::move(s); }
void ZefaPlatform::install(std::shared_ptr<ZefaBundle> s) { bundle_ = std::move(s); }
void ZefaPlatform::install(std::shared_ptr<ZefaClock> s) { clock_ = std::move(s); }

void ZefaPlatform::reset() { *this = ZefaPlatform(); }

namespace defaults = zefa::platform_defaults;
ZefaHttpClient& ZefaPlatform::http() { return *serviceOr(http_, defaults::makeHttpClient); }
ZefaMainQueue& ZefaPlatform::mainQueue() { return *serviceOr(mainQueue_, defaults::makeMainQueue); }
std::shared_ptr<ZefaMainQueue> ZefaPlatform::sharedMainQueue() {
  return serviceOr(mainQueue_, defaults::makeMainQueue);
}
ZefaKeyValueStore& ZefaPlatform::keyValueStore() {
  return *serviceOr(keyValueStore_, defaults::makeKeyValueStore);
}
ZefaKeychain& ZefaPlatform::keychain() { return *serviceOr(keychain_, defaults::makeKeychain); }
ZefaDevice& ZefaPlatform::device() { return *serviceOr(device_, defaults::makeDevice); }
ZefaBundle& ZefaPlatform::bundle() { return *serviceOr(bundle_, defaults::makeBundle); }
ZefaClock& ZefaPlatform::clock() { return *serviceOr(clock_, defaults::makeClock); }
