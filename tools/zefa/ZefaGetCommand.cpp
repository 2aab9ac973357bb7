#include "tools/zefa/ZefaGetCommand.h"

#include <cstdio>
#include <memory>
#include <optional>

#include "ZefaBase/ZefaSDKUtils.h"
#include "tools/zefa/ZefaToolSetup.h"

namespace {

constexpr const char* kHelp = R"(usage: zefa get [--timeout S] URL [key=value ...]

GETs URL through the library's transport (ZefaSDKUtils::get) with the key=value pairs as
its query. Prints the reply (a JSON object or array) and exits 0, or prints the transport's
message on standard error and exits 1.

options:
  --timeout S   the request's idle timeout in seconds (default 30)
  --verbose     the library's informational log lines on standard error
)";

struct Outcome {
  bool done = false;
  std::optional<ZefaJsonObject> reply;
  std::string message;
};

}  // namespace

int ZefaGetCommand::run(const std::vector<std::string>& arguments) {
  const ZefaCommandLine line(arguments, {{"timeout", true}, {"verbose", false}});
  if (line.wantsHelp()) return ZefaToolSetup::help(kHelp);
  if (!line.ok()) return ZefaToolSetup::usage("get", kHelp, line.error());
  const std::vector<std::string>& positionals = line.positionals();
  if (positionals.empty()) return ZefaToolSetup::usage("get", kHelp, "URL is required");
  const std::optional<double> timeout =
      ZefaCommandLine::number(line.value("timeout").value_or("30"));
  if (!timeout || *timeout <= 0) {
    return ZefaToolSetup::usage("get", kHelp, "--timeout wants a number of seconds");
  }
  std::optional<ZefaJsonObject> params;
  for (size_t i = 1; i < positionals.size(); ++i) {
    const size_t equals = positionals[i].find('=');
    if (equals == std::string::npos || equals == 0) {
      return ZefaToolSetup::usage("get", kHelp, "wants key=value, not " + positionals[i]);
    }
    if (!params) params.emplace();
    (*params)[positionals[i].substr(0, equals)] = positionals[i].substr(equals + 1);
  }

  ZefaToolSetup::logToStandardError(line.has("verbose"));
  auto outcome = std::make_shared<Outcome>();
  ZefaSDKUtils::get(
      positionals[0], params, std::nullopt, *timeout,
      [outcome](const ZefaJsonObject& reply) { outcome->done = true, outcome->reply = reply; },
      [outcome](const std::string& message) { outcome->done = true, outcome->message = message; });
  if (!ZefaToolSetup::pump([&] { return outcome->done; }, *timeout + 5)) {
    std::fprintf(stderr, "zefa get: no outcome within %g s\n", *timeout + 5);
    return ZefaCommandLine::kFailure;
  }
  if (!outcome->reply) {
    std::fprintf(stderr, "zefa get: %s\n", outcome->message.c_str());
    return ZefaCommandLine::kFailure;
  }
  std::printf("%s\n", ZefaToolSetup::text(*outcome->reply).c_str());
  return ZefaCommandLine::kSuccess;
}
