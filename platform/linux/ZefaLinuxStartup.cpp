// Start-up settings of the Linux services: the bundle and data directories, and the certificates
// the HTTP client trusts.
#include <unistd.h>

#include <memory>

#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaCurlHttpClient.h"
#include "platform/linux/ZefaLinuxPaths.h"

bool zefa::platform_defaults::configure(const ZefaPlatformOptions& options) {
  // A CA bundle that cannot be read would fail every request later; refuse it now instead.
  if (options.caBundle && access(options.caBundle->c_str(), R_OK) != 0) return false;
  if (options.bundleDirectory) ZefaLinuxPaths::setBundleDirectory(*options.bundleDirectory);
  if (options.dataDirectory) ZefaLinuxPaths::setDataDirectory(*options.dataDirectory);
  if (options.caBundle) {
    ZefaCurlHttpClient::Options http;
    http.caBundle = *options.caBundle;
    ZefaPlatform::current().install(std::make_shared<ZefaCurlHttpClient>(http));
  }
  return true;
}
