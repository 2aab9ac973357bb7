// Placeholder until this platform's default MainQueue lands: using the service without installing
// one stops the program with a clear message instead of misbehaving.
#include <cstdio>
#include <cstdlib>

#include "platform/ZefaPlatform.h"

std::shared_ptr<ZefaMainQueue> zefa::platform_defaults::makeMainQueue() {
  std::fputs(
      "ZefaBase: no default MainQueue on this platform yet; install one with "
      "ZefaPlatform::install\n",
      stderr);
  std::abort();
}
