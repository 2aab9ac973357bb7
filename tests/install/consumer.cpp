// A C++ program built against an installed ZefaBase: a status code, a JSON round trip and a task
// on the main run loop. Exits with 0 when each gives what it should.
#include <cstdio>
#include <string>

#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/ZefaStatusCode.h"
#include "platform/linux/ZefaRunLoop.h"

int main() {
  int failures = 0;
  const ZefaStatusCodeRef status = ZefaStatusCode::Failed()->withMsg("from a consumer");
  if (status->getCode() != 400 || status->getMsg() != "from a consumer") failures++;

  const auto object = ZefaSDKUtils::jsonStringToDictionary(R"({"b":1,"a":[true]})");
  const auto text = object ? ZefaSDKUtils::objectToJsonString(*object) : std::nullopt;
  if (text != R"({"b":1,"a":[true]})") failures++;

  bool ran = false;
  ZefaRunLoop::main().async([&ran] { ran = true; });
  ZefaRunLoop::main().runOnce();
  if (!ran) failures++;

  std::printf("consumer_cpp: %s\n", failures == 0 ? "ok" : "FAILED");
  return failures == 0 ? 0 : 1;
}
