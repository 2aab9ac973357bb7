#include "tools/zefa/ZefaLoginRecordCommand.h"

#include <cstdio>
#include <optional>

#include "ZefaBase/ZefaConstants.h"
#include "ZefaBase/ZefaServerCall.h"
#include "ZefaBase/ZefaUserDefaults.h"
#include "tools/zefa/ZefaToolSetup.h"

namespace {

constexpr const char* kHelp =
    R"(usage: zefa login-record [--bundle DIR] [--data DIR] show|set JSON|clear

The stored login record: a JSON object text under the user-defaults key "ZEFA_LOGIN_TOKEN",
written by the login module, whose "sessionToken" and "gameAccountId" server calls read
(zefa post --disk-token).

  show        the stored text and the two values the library reads from it
  set JSON    store JSON (an object), e.g. '{"sessionToken":"abc","gameAccountId":100001}'
  clear       remove the record

options:
  --bundle DIR, --data DIR   as for zefa info (the data directory holds the user defaults)
)";

}  // namespace

int ZefaLoginRecordCommand::run(const std::vector<std::string>& arguments) {
  const ZefaCommandLine line(arguments, {ZefaToolSetup::kBundleOption, ZefaToolSetup::kDataOption});
  if (line.wantsHelp()) return ZefaToolSetup::help(kHelp);
  const auto usage = [](const std::string& message) {
    return ZefaToolSetup::usage("login-record", kHelp, message);
  };
  if (!line.ok()) return usage(line.error());
  const std::vector<std::string>& words = line.positionals();
  const std::string action = words.empty() ? "" : words[0];
  const size_t wanted = action == "set" ? 2 : 1;
  if ((action != "show" && action != "set" && action != "clear") || words.size() != wanted) {
    return usage("wants show, set JSON or clear");
  }
  if (action == "set") {
    const std::optional<ZefaJson> record = ZefaJsonText::parse(words[1]);
    if (!record || !record->is_object()) return usage("the record must be a JSON object");
  }

  ZefaToolSetup::applyPaths(line);
  ZefaToolSetup::logToStandardError(false);
  ZefaUserDefaults& defaults = ZefaUserDefaults::standard();
  if (action == "set") {
    defaults.setValue(words[1], ZefaConstants::ZEFA_LOGIN_TOKEN);
  } else if (action == "clear") {
    defaults.setValue(std::nullopt, ZefaConstants::ZEFA_LOGIN_TOKEN);
    std::printf("login record removed\n");
    return ZefaCommandLine::kSuccess;
  }
  const std::optional<std::string> stored = defaults.string(ZefaConstants::ZEFA_LOGIN_TOKEN);
  if (!stored) {
    std::printf("no login record stored\n");
    return ZefaCommandLine::kSuccess;
  }
  const std::optional<std::string> token = ZefaServerCall::getSessionTokenFormDisk();
  const std::optional<int64_t> account = ZefaServerCall::getGameAccountIdFormDisk();
  std::printf("ZEFA_LOGIN_TOKEN  %s\n", stored->c_str());
  std::printf("sessionToken      %s\n", token ? token->c_str() : "(none: not a string member)");
  std::printf("gameAccountId     %s\n",
              account ? std::to_string(*account).c_str() : "(none: not an integer member)");
  return ZefaCommandLine::kSuccess;
}
