// Placeholder until this platform's default Bundle lands: using the service without installing
// one stops the program with a clear message instead of misbehaving.
#include <cstdio>
#include <cstdlib>

#include "platform/ZefaPlatform.h"

std::shared_ptr<ZefaBundle> zefa::platform_defaults::makeBundle() {
  std::fputs(
      "ZefaBase: no default Bundle on this platform yet; install one with ZefaPlatform::install\n",
      stderr);
  std::abort();
}
