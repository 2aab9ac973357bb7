#pragma once
// The stub platform's services: each is present and answers as a machine that has nothing would.
// The HTTP client fails every request, the stores keep nothing, the device knows no identifier,
// the bundle is empty. The clock is the standard library's (UTC, no time zone) and the main
// queue is the portable task queue, so a library built on the stub still runs its logic. They
// are small enough to live together; a port replaces them one by one.
#include <string>

#include "platform/ZefaBundle.h"
#include "platform/ZefaClock.h"
#include "platform/ZefaDevice.h"
#include "platform/ZefaHttpClient.h"
#include "platform/ZefaKeyValueStore.h"
#include "platform/ZefaKeychain.h"

class ZefaStubHttpClient final : public ZefaHttpClient {
 public:
  // The error every request ends with.
  static constexpr const char* kNoTransport = "no HTTP transport on this platform";
  // Completes at once, on the caller's thread, with kNoTransport.
  void start(ZefaHttpRequest request, std::function<void(ZefaHttpResponse)> completion) override;
};

class ZefaStubKeyValueStore final : public ZefaKeyValueStore {
 public:
  std::optional<std::string> string(std::string_view key) override;
  bool setString(std::string_view key, std::string_view value) override;
  bool remove(std::string_view key) override;
};

class ZefaStubKeychain final : public ZefaKeychain {
 public:
  bool setPassword(const std::string& password, const std::string& service,
                   const std::string& account) override;
  std::optional<std::string> password(const std::string& service,
                                      const std::string& account) override;
  std::optional<std::vector<ZefaJsonObject>> accounts(const std::string& service) override;
  bool deletePassword(const std::string& service, const std::string& account) override;
};

class ZefaStubDevice final : public ZefaDevice {
 public:
  std::optional<std::string> identifierForVendor() override;
  std::string advertisingIdentifier() override;
  std::string name() override;
  std::string systemVersion() override;
  std::string machine() override;
  std::optional<ZefaJsonObject> proxySettings() override;
};

class ZefaStubBundle final : public ZefaBundle {
 public:
  std::optional<ZefaJsonObject> infoDictionary() override;
  ZefaBundleResource resource(const std::string& name, const std::string& type,
                              const std::string& directory) override;
};

class ZefaStubClock final : public ZefaClock {
 public:
  double now() override;
  int64_t utcOffsetSeconds() override;
  uint32_t randomUniform(uint32_t upper) override;
};
