// What the library does on this machine: the status-code catalogue, log lines at each level, a
// JSON round trip of a record, this device's static info record, and backend calls to a
// responder on 127.0.0.1 whose outcomes arrive on the main run loop.
#include <cstdio>
#include <optional>
#include <string>

#include "ZefaBase/ZefaConstants.h"
#include "ZefaBase/ZefaLog.h"
#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/ZefaServerCall.h"
#include "ZefaBase/ZefaStatusCode.h"
#include "ZefaBase/entity/ZefaStaticInfo.h"
#include "bench/support/ZefaLoopbackResponder.h"
#include "platform/linux/ZefaLinuxPaths.h"
#include "platform/linux/ZefaRunLoop.h"

namespace {

struct Player {
  std::string name;
  int64_t level = 0;
  std::optional<std::string> guild;
};

void to_json(ZefaJson& json, const Player& p) {
  json = ZefaJsonObject{{"name", p.name}, {"level", p.level}};
  if (p.guild) json["guild"] = *p.guild;
}

void from_json(const ZefaJson& json, Player& p) {
  json.at("name").get_to(p.name);
  json.at("level").get_to(p.level);
  if (json.contains("guild")) p.guild = json.at("guild").get<std::string>();
}

void heading(const char* title) {
  std::printf("\n== %s\n", title);
  std::fflush(stdout);
}

}  // namespace

int main() {
  heading("Status codes");
#define ZEFA_PRINT_CODE(name, number, text) \
  std::printf("%-36s %s\n", #name, ZefaStatusCode::name()->toString().c_str());
  ZEFA_STATUS_CODES(ZEFA_PRINT_CODE)
#undef ZEFA_PRINT_CODE
  std::printf("%-36s %s\n", "Failed.withMsg(\"no route\")",
              ZefaStatusCode::Failed()->withMsg("no route")->toString().c_str());

  heading("Log lines (info is off until setShowLog(true); debug is never written)");
  ZefaLog::i("hidden: logging is off");
  ZefaLog::setShowLog(true);
  ZefaLog::i("an info line");
  ZefaLog::d("a debug line that is never written");
  ZefaLog::w("a warning line");
  ZefaLog::e(ZefaStatusCode::CLIENT_HAS_NOT_LOGIN());

  heading("JSON round trip of a record");
  const Player player{"Ada/Lovelace", 42, std::nullopt};
  const std::optional<std::string> text = ZefaSDKUtils::modelToJsonString(player);
  std::printf("encoded: %s\n", text.value_or("<none>").c_str());
  const std::optional<Player> back = ZefaSDKUtils::jsonStringToModel<Player>(text.value_or(""));
  std::printf("decoded: name=%s level=%lld\n", back ? back->name.c_str() : "<none>",
              back ? static_cast<long long>(back->level) : -1LL);
  std::fflush(stdout);
  std::printf("a record without its level: %s\n",
              ZefaSDKUtils::jsonStringToModel<Player>(R"({"name":"x"})") ? "decoded" : "refused");

  heading("This device (bundle: examples/demo-bundle; keychain and defaults in the build folder)");
  ZefaLinuxPaths::setBundleDirectory(ZEFA_DEMO_BUNDLE_DIR);
  ZefaLinuxPaths::setDataDirectory(ZEFA_DEMO_DATA_DIR);
  std::printf("version code of %s: %lld\n",
              ZefaSDKUtils::appBundleShortVersion().value_or("?").c_str(),
              static_cast<long long>(ZefaSDKUtils::appBundleVersionCode()));
  const ZefaStaticInfo info("MyGame");
  std::printf("static info: %s\n",
              ZefaSDKUtils::modelToJsonString(info).value_or("<none>").c_str());

  heading("Backend calls (a responder on 127.0.0.1; outcomes on the main run loop)");
  ZefaLoopbackResponder backend(
      R"({"state":{"code":0,"msg":"ok"},"data":{"gameAccountId":42,"nickName":"Ada"}})");
  ZefaServerCall::setHostAndDeviceId(backend.url(""), "", info.deviceid.value_or(""));
  int outcomes = 0;
  ZefaServerCall::postJsonAsync(
      false, ZefaLoginPath::LOGIN_PATH, ZefaJsonObject{{"loginType", "guest"}},
      [&](const ZefaJsonObject& data) {
        std::printf("success on the main thread: %s\n",
                    ZefaSDKUtils::objectToJsonString(data)->c_str());
        ++outcomes;
      },
      [&](const ZefaStatusCodeRef& status) {
        std::printf("failed: %s\n", status->toString().c_str());
        ++outcomes;
      });
  // No stored login record: the call fails at once, on this thread, and sends nothing.
  ZefaServerCall::postJsonAsync(true, ZefaLoginPath::INFO_PATH, {}, nullptr,
                                [&](const ZefaStatusCodeRef& status) {
                                  std::printf("failed at once: %s\n", status->toString().c_str());
                                });
  std::fflush(stdout);
  const bool done = ZefaRunLoop::main().run([&] { return outcomes == 1; }, 10.0);
  return done ? 0 : 1;
}
