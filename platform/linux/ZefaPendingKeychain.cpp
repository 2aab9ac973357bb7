// Placeholder until this platform's default Keychain lands: using the service without installing
// one stops the program with a clear message instead of misbehaving.
#include <cstdio>
#include <cstdlib>

#include "platform/ZefaPlatform.h"

std::shared_ptr<ZefaKeychain> zefa::platform_defaults::makeKeychain() {
  std::fputs(
      "ZefaBase: no default Keychain on this platform yet; install one with "
      "ZefaPlatform::install\n",
      stderr);
  std::abort();
}
