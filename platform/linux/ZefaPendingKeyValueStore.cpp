// Placeholder until this platform's default KeyValueStore lands: using the service without
// installing one stops the program with a clear message instead of misbehaving.
#include <cstdio>
#include <cstdlib>

#include "platform/ZefaPlatform.h"

std::shared_ptr<ZefaKeyValueStore> zefa::platform_defaults::makeKeyValueStore() {
  std::fputs(
      "ZefaBase: no default KeyValueStore on this platform yet; install one with "
      "ZefaPlatform::install\n",
      stderr);
  std::abort();
}
