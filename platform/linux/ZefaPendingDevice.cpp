// Placeholder until this platform's default Device lands: using the service without installing
// one stops the program with a clear message instead of misbehaving.
#include <cstdio>
#include <cstdlib>

#include "platform/ZefaPlatform.h"

std::shared_ptr<ZefaDevice> zefa::platform_defaults::makeDevice() {
  std::fputs(
      "ZefaBase: no default Device on this platform yet; install one with ZefaPlatform::install\n",
      stderr);
  std::abort();
}
