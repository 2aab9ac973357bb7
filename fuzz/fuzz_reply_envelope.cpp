// Feeds arbitrary bytes to a retrying server call as the body of its reply: the envelope reader
// must report exactly one outcome, and retry a backend failure only while retries are left.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "ZefaBase/ZefaServerCallRetry.h"
#include "fuzz/ZefaFuzzPlatform.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ZefaFuzzPlatform& platform = ZefaFuzzPlatform::installed();
  platform.clear();
  platform.response =
      ZefaHttpResponse{200, std::string(reinterpret_cast<const char*>(data), size), std::nullopt};
  int outcomes = 0;
  auto call = std::make_shared<ZefaServerCallRetry>(
      " fuzz ", "http://fuzz.test/api/user/info", ZefaJsonObject{{"n", 1}}, 1,
      [&](const ZefaJsonObject&) { ++outcomes; }, [&](const ZefaStatusCodeRef&) { ++outcomes; });
  call->call();
  call.reset();  // the pending reply keeps the call alive
  platform.drain();
  // One outcome, after the first request and at most one retry.
  if (outcomes != 1 || platform.requests.empty() || platform.requests.size() > 2) std::abort();
  return 0;
}
