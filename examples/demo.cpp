// What the library can show on this machine: the status-code catalogue, log lines at each
// level, and a JSON round trip of a record.
#include <cstdio>
#include <optional>
#include <string>

#include "ZefaBase/ZefaLog.h"
#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/ZefaStatusCode.h"

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

}  // namespace

int main() {
  std::puts("== Status codes");
#define ZEFA_PRINT_CODE(name, number, text) \
  std::printf("%-36s %s\n", #name, ZefaStatusCode::name()->toString().c_str());
  ZEFA_STATUS_CODES(ZEFA_PRINT_CODE)
#undef ZEFA_PRINT_CODE
  std::printf("%-36s %s\n", "Failed.withMsg(\"no route\")",
              ZefaStatusCode::Failed()->withMsg("no route")->toString().c_str());

  std::puts("\n== Log lines (info is off until setShowLog(true); debug is never written)");
  std::fflush(stdout);
  ZefaLog::i("hidden: logging is off");
  ZefaLog::setShowLog(true);
  ZefaLog::i("an info line");
  ZefaLog::d("a debug line that is never written");
  ZefaLog::w("a warning line");
  ZefaLog::e(ZefaStatusCode::CLIENT_HAS_NOT_LOGIN());
  ZefaLog::e("get keychainId failed", ZefaLogSite{"ZefaBase/ZefaSDKUtils", "keyChainId()", 72});

  std::puts("\n== JSON round trip of a record");
  const Player player{"Ada/Lovelace", 42, std::nullopt};
  const std::optional<std::string> text = ZefaSDKUtils::modelToJsonString(player);
  std::printf("encoded: %s\n", text.value_or("<none>").c_str());
  const std::optional<Player> back = ZefaSDKUtils::jsonStringToModel<Player>(text.value_or(""));
  std::printf("decoded: name=%s level=%lld guild=%s\n", back ? back->name.c_str() : "<none>",
              back ? static_cast<long long>(back->level) : -1LL,
              back && back->guild ? back->guild->c_str() : "<absent>");
  std::printf("a record without its level: %s\n",
              ZefaSDKUtils::jsonStringToModel<Player>(R"({"name":"x"})") ? "decoded" : "refused");
  return 0;
}
