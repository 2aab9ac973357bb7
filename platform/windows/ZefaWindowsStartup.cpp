// Start-up settings of the Windows services. The bundle directory is honoured. The data directory
// has no meaning here: user defaults live in the registry and the keychain in the Credential
// Manager, so it is accepted and ignored. A CA bundle cannot be honoured: WinHTTP trusts the
// system's certificate store only, so configuration with one is refused.
#include "platform/ZefaPlatform.h"
#include "platform/windows/ZefaWindowsBundle.h"

bool zefa::platform_defaults::configure(const ZefaPlatformOptions& options) {
  if (options.caBundle) return false;
  if (options.bundleDirectory) ZefaWindowsBundle::setDefaultDirectory(*options.bundleDirectory);
  return true;
}
