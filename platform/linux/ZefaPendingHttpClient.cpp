// Placeholder until this platform's default HttpClient lands: using the service without installing
// one stops the program with a clear message instead of misbehaving.
#include <cstdio>
#include <cstdlib>

#include "platform/ZefaPlatform.h"

std::shared_ptr<ZefaHttpClient> zefa::platform_defaults::makeHttpClient() {
  std::fputs(
      "ZefaBase: no default HttpClient on this platform yet; install one with "
      "ZefaPlatform::install\n",
      stderr);
  std::abort();
}
