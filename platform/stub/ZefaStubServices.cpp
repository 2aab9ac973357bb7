#include "platform/stub/ZefaStubServices.h"

#include <chrono>
#include <memory>
#include <random>

#include "platform/ZefaPlatform.h"
#include "platform/ZefaTaskQueue.h"

void ZefaStubHttpClient::start(ZefaHttpRequest, std::function<void(ZefaHttpResponse)> completion) {
  ZefaHttpResponse response;
  response.error = kNoTransport;
  completion(std::move(response));
}

std::optional<std::string> ZefaStubKeyValueStore::string(std::string_view) { return std::nullopt; }
bool ZefaStubKeyValueStore::setString(std::string_view, std::string_view) { return false; }
bool ZefaStubKeyValueStore::remove(std::string_view) { return false; }

bool ZefaStubKeychain::setPassword(const std::string&, const std::string&, const std::string&) {
  return false;
}
std::optional<std::string> ZefaStubKeychain::password(const std::string&, const std::string&) {
  return std::nullopt;
}
std::optional<std::vector<ZefaJsonObject>> ZefaStubKeychain::accounts(const std::string&) {
  return std::nullopt;
}
bool ZefaStubKeychain::deletePassword(const std::string&, const std::string&) { return false; }

std::optional<std::string> ZefaStubDevice::identifierForVendor() { return std::nullopt; }
std::string ZefaStubDevice::advertisingIdentifier() {
  return "00000000-0000-0000-0000-000000000000";
}
std::string ZefaStubDevice::name() { return ""; }
std::string ZefaStubDevice::systemVersion() { return ""; }
std::string ZefaStubDevice::machine() { return ""; }
std::optional<ZefaJsonObject> ZefaStubDevice::proxySettings() { return std::nullopt; }

std::optional<ZefaJsonObject> ZefaStubBundle::infoDictionary() { return std::nullopt; }
ZefaBundleResource ZefaStubBundle::resource(const std::string&, const std::string&,
                                            const std::string&) {
  return {};
}

double ZefaStubClock::now() {
  using Seconds = std::chrono::duration<double>;
  return std::chrono::duration_cast<Seconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}
int64_t ZefaStubClock::utcOffsetSeconds() { return 0; }
uint32_t ZefaStubClock::randomUniform(uint32_t upper) {
  if (upper == 0) return 0;
  thread_local std::mt19937 engine{std::random_device{}()};
  return std::uniform_int_distribution<uint32_t>(0, upper - 1)(engine);
}

namespace defaults = zefa::platform_defaults;
std::shared_ptr<ZefaHttpClient> defaults::makeHttpClient() {
  return std::make_shared<ZefaStubHttpClient>();
}
std::shared_ptr<ZefaMainQueue> defaults::makeMainQueue() {
  return std::make_shared<ZefaTaskQueue>();
}
std::shared_ptr<ZefaKeyValueStore> defaults::makeKeyValueStore() {
  return std::make_shared<ZefaStubKeyValueStore>();
}
std::shared_ptr<ZefaKeychain> defaults::makeKeychain() {
  return std::make_shared<ZefaStubKeychain>();
}
std::shared_ptr<ZefaDevice> defaults::makeDevice() { return std::make_shared<ZefaStubDevice>(); }
std::shared_ptr<ZefaBundle> defaults::makeBundle() { return std::make_shared<ZefaStubBundle>(); }
std::shared_ptr<ZefaClock> defaults::makeClock() { return std::make_shared<ZefaStubClock>(); }

// Nothing here reads files or trusts certificates: every setting is accepted and has no effect.
bool defaults::configure(const ZefaPlatformOptions&) { return true; }
