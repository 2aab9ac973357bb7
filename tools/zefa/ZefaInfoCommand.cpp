#include "tools/zefa/ZefaInfoCommand.h"

#include <cstdio>
#include <optional>

#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/entity/ZefaStaticInfo.h"
#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaLinuxPaths.h"
#include "tools/zefa/ZefaToolSetup.h"

namespace {

constexpr const char* kHelp = R"(usage: zefa info [--bundle DIR] [--data DIR] [--game NAME] [--json]

This machine's ZefaStaticInfo record (the facts the SDK sends with its reports) and the
environment facts behind it, as a table or, with --json, as one JSON object
{"staticInfo":{...},"environment":{...}}.

options:
  --bundle DIR   the app bundle (Info.json or Info.plist); default: the demo bundle
  --data DIR     the data directory (keychain and user defaults); default: the library's
  --game NAME    the record's game name (default: MyGame)
  --json         JSON instead of a table
)";

// The tri-state of the environment tests, for people.
const char* meaning(int64_t test) {
  return test == 1 ? "present" : test == 0 ? "absent" : "settings unreadable";
}

// appBundleVersionCode stops the program on a version it cannot fold into a number; this asks
// it only about versions of up to four numeric components of up to four digits.
bool versionCodeIsSafe(const std::optional<std::string>& version) {
  if (!version) return true;  // no version: the code is 0
  size_t components = 1, digits = 0;
  for (const char c : *version) {
    if (c == '.') {
      if (digits == 0) return false;
      ++components, digits = 0;
    } else if (c < '0' || c > '9' || ++digits > 4) {
      return false;
    }
  }
  return digits > 0 && components <= 4;
}

// getDeviceVersionWithRaw (and so the record) stops the program on a model outside ASCII.
bool machineIsAscii() {
  for (const char byte : ZefaPlatform::current().device().machine()) {
    if (static_cast<unsigned char>(byte) >= 0x80) return false;
  }
  return true;
}

ZefaJson optionalText(const std::optional<std::string>& text) {
  return text ? ZefaJson(*text) : ZefaJson(nullptr);
}

}  // namespace

int ZefaInfoCommand::run(const std::vector<std::string>& arguments) {
  const ZefaCommandLine line(
      arguments,
      {ZefaToolSetup::kBundleOption, ZefaToolSetup::kDataOption, {"game", true}, {"json", false}});
  if (line.wantsHelp()) return ZefaToolSetup::help(kHelp);
  if (!line.ok()) return ZefaToolSetup::usage("info", kHelp, line.error());
  if (!line.positionals().empty()) {
    return ZefaToolSetup::usage("info", kHelp, "unexpected argument " + line.positionals()[0]);
  }
  ZefaToolSetup::applyPaths(line);
  ZefaToolSetup::logToStandardError(false);
  if (!machineIsAscii()) {
    std::fputs("zefa info: this machine's hardware model is not ASCII text\n", stderr);
    return ZefaCommandLine::kFailure;
  }

  const ZefaStaticInfo info(line.value("game").value_or("MyGame"));
  const std::optional<std::string> version = ZefaSDKUtils::appBundleShortVersion();
  const bool safe = versionCodeIsSafe(version);
  const int64_t vpn = ZefaSDKUtils::isVpn(), proxy = ZefaSDKUtils::isProxy();
  ZefaJsonObject environment{
      {"bundleDirectory", ZefaLinuxPaths::bundleDirectory()},
      {"dataDirectory", ZefaLinuxPaths::dataDirectory()},
      {"bundleId", optionalText(ZefaSDKUtils::appBundleID())},
      {"shortVersion", optionalText(version)},
      {"buildVersion", optionalText(ZefaSDKUtils::appBuildVersion())},
      {"versionCode", safe ? ZefaJson(ZefaSDKUtils::appBundleVersionCode()) : ZefaJson(nullptr)},
      {"idfv", optionalText(ZefaSDKUtils::idfv())},
      {"keyChainId", optionalText(ZefaSDKUtils::keyChainId())},
      {"idfa", ZefaSDKUtils::idfa()},
      {"isVpn", vpn},
      {"isProxy", proxy},
  };

  if (line.has("json")) {
    const ZefaJson all =
        ZefaJsonObject{{"staticInfo", info.toJson()}, {"environment", environment}};
    std::printf("%s\n", ZefaToolSetup::text(all).c_str());
    return ZefaCommandLine::kSuccess;
  }
  const ZefaJson record = info.toJson();
  std::printf("ZefaStaticInfo(\"%s\")\n", info.gameName.value_or("").c_str());
  for (const std::string_view key : ZefaStaticInfo::kCodingKeys) {
    const auto found = record.find(std::string(key));
    const std::string value = found == record.end() ? "(absent)"
                              : found->is_string()  ? found->get<std::string>()
                                                    : ZefaToolSetup::text(*found);
    std::printf("  %-16.*s %s\n", static_cast<int>(key.size()), key.data(), value.c_str());
  }
  std::printf("environment\n");
  for (const auto& [key, value] : environment) {
    std::string shown = value.is_string() ? value.get<std::string>()
                        : value.is_null() ? "(absent)"
                                          : ZefaToolSetup::text(value);
    if (key == "isVpn" || key == "isProxy")
      shown += std::string(" (") + meaning(value.get<int64_t>()) + ")";
    if (key == "versionCode" && !safe) shown = "(not computed: the version is not N.N.N)";
    std::printf("  %-16s %s\n", key.c_str(), shown.c_str());
  }
  return ZefaCommandLine::kSuccess;
}
