#pragma once
// The platform seam: the one place where the library reaches the machine. Each service is an
// abstract class; a port to another OS implements them, a test installs fakes.
//
// Services are installed at start-up (or by a test) before they are used, never while another
// thread is using them. A service never installed gets the default implementation of this
// platform on first use.
#include <memory>
#include <optional>
#include <string>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaBundle.h"
#include "platform/ZefaClock.h"
#include "platform/ZefaDevice.h"
#include "platform/ZefaHttpClient.h"
#include "platform/ZefaKeyValueStore.h"
#include "platform/ZefaKeychain.h"
#include "platform/ZefaMainQueue.h"

class ZEFA_EXPORT ZefaPlatform {
 public:
  static ZefaPlatform& current();

  void install(std::shared_ptr<ZefaHttpClient> service);
  void install(std::shared_ptr<ZefaMainQueue> service);
  void install(std::shared_ptr<ZefaKeyValueStore> service);
  void install(std::shared_ptr<ZefaKeychain> service);
  void install(std::shared_ptr<ZefaDevice> service);
  void install(std::shared_ptr<ZefaBundle> service);
  void install(std::shared_ptr<ZefaClock> service);
  // Forgets every installed service; the defaults apply again (tests).
  void reset();

  // The accessors answer the installed service, else this platform's default. A caller uses the
  // reference for the call at hand; work that outlives the call holds what it needs by
  // shared_ptr (as a request in flight holds its main queue), and an HTTP client that is
  // replaced or destroyed reports the requests it still carries as cancelled, each once.

  ZefaHttpClient& http();
  ZefaMainQueue& mainQueue();
  // The main queue as shared ownership: work in flight holds it, so replacing the queue never
  // leaves that work with a dangling reference (the old queue then drops it unrun).
  std::shared_ptr<ZefaMainQueue> sharedMainQueue();
  ZefaKeyValueStore& keyValueStore();
  ZefaKeychain& keychain();
  ZefaDevice& device();
  ZefaBundle& bundle();
  ZefaClock& clock();

 private:
  ZefaPlatform() = default;
  std::shared_ptr<ZefaHttpClient> http_;
  std::shared_ptr<ZefaMainQueue> mainQueue_;
  std::shared_ptr<ZefaKeyValueStore> keyValueStore_;
  std::shared_ptr<ZefaKeychain> keychain_;
  std::shared_ptr<ZefaDevice> device_;
  std::shared_ptr<ZefaBundle> bundle_;
  std::shared_ptr<ZefaClock> clock_;
};

// Start-up settings of the platform's own services; what is none keeps the platform's default.
struct ZEFA_EXPORT ZefaPlatformOptions {
  std::optional<std::string> bundleDirectory;  // where the bundle's files are
  std::optional<std::string> dataDirectory;    // where stores keep their files, if in files
  std::optional<std::string> caBundle;         // PEM certificates replacing the system's trust
};

// The default services of this platform, made once on first use, and its start-up settings.
// Each platform target (platform/linux, platform/windows, platform/stub) defines them.
namespace zefa::platform_defaults {
// Applies `options` before any service is used. False, with nothing applied, when an option
// cannot be honoured here (a certificate file that cannot be read, say).
ZEFA_EXPORT bool configure(const ZefaPlatformOptions& options);
ZEFA_EXPORT std::shared_ptr<ZefaHttpClient> makeHttpClient();
ZEFA_EXPORT std::shared_ptr<ZefaMainQueue> makeMainQueue();
ZEFA_EXPORT std::shared_ptr<ZefaKeyValueStore> makeKeyValueStore();
ZEFA_EXPORT std::shared_ptr<ZefaKeychain> makeKeychain();
ZEFA_EXPORT std::shared_ptr<ZefaDevice> makeDevice();
ZEFA_EXPORT std::shared_ptr<ZefaBundle> makeBundle();
ZEFA_EXPORT std::shared_ptr<ZefaClock> makeClock();
}  // namespace zefa::platform_defaults
