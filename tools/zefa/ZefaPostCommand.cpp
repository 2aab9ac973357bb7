#include "tools/zefa/ZefaPostCommand.h"

#include <cstdio>
#include <memory>
#include <optional>

#include "ZefaBase/ZefaDescription.h"
#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/ZefaServerCall.h"
#include "ZefaBase/ZefaServerCallRetry.h"
#include "tools/zefa/ZefaToolSetup.h"

namespace {

constexpr const char* kHelp = R"(usage: zefa post --host URL [options] PATH [JSON]

Posts the JSON object (default {}) to URL + PATH through ZefaServerCall, as a game would,
with the library's log on standard error. Prints the reply's "data" and exits 0, or prints
the status {"code":N,"msg":"..."} and exits 1.

options:
  --host URL        the backend's base address (ZefaServerCall::HOST)
  --set-host H      send "Host: H" (SET_HOST)
  --device-id ID    the device id header (default: this machine's keychain id)
  --token T         add "?sessionToken=T"
  --disk-token      take the token from the stored login record (see zefa login-record)
  --retry N         post through a ZefaServerCallRetry with N retries, 3 s apart
  --timeout S       give up after S seconds (default: 35 per attempt)
  --quiet           no informational log lines
  --bundle DIR, --data DIR   as for zefa info
)";

constexpr double kSecondsPerAttempt = 35;

}  // namespace

int ZefaPostCommand::run(const std::vector<std::string>& arguments) {
  const ZefaCommandLine line(arguments, {ZefaToolSetup::kBundleOption,
                                         ZefaToolSetup::kDataOption,
                                         {"host", true},
                                         {"set-host", true},
                                         {"device-id", true},
                                         {"token", true},
                                         {"disk-token", false},
                                         {"retry", true},
                                         {"timeout", true},
                                         {"quiet", false}});
  if (line.wantsHelp()) return ZefaToolSetup::help(kHelp);
  const auto usage = [](const std::string& message) {
    return ZefaToolSetup::usage("post", kHelp, message);
  };
  if (!line.ok()) return usage(line.error());
  const std::vector<std::string>& positionals = line.positionals();
  if (!line.has("host")) return usage("--host is required");
  if (positionals.empty() || positionals.size() > 2)
    return usage("wants PATH and at most one JSON");
  if (line.has("token") && line.has("disk-token"))
    return usage("--token or --disk-token, not both");
  const std::optional<ZefaJson> body =
      positionals.size() == 2 ? ZefaJsonText::parse(positionals[1]) : ZefaJson(ZefaJsonObject{});
  if (!body || !body->is_object()) return usage("the body must be a JSON object");
  std::optional<int64_t> retries;
  if (line.has("retry")) {
    retries = ZefaCommandLine::integer(*line.value("retry"));
    if (!retries || *retries < 0 || *retries > 100) return usage("--retry wants 0 to 100");
  }
  double limit = kSecondsPerAttempt * static_cast<double>(retries.value_or(0) + 1);
  if (line.has("timeout")) {
    const std::optional<double> seconds = ZefaCommandLine::number(*line.value("timeout"));
    if (!seconds || *seconds <= 0) return usage("--timeout wants a number of seconds");
    limit = *seconds;
  }

  ZefaToolSetup::applyPaths(line);
  ZefaToolSetup::logToStandardError(!line.has("quiet"));
  ZefaServerCall::HOST = *line.value("host");
  if (line.has("set-host")) ZefaServerCall::SET_HOST = line.value("set-host");
  ZefaServerCall::DEVICE_ID = line.value("device-id").value_or("");
  if (!line.has("device-id")) ZefaServerCall::DEVICE_ID = ZefaSDKUtils::keyChainId().value_or("");

  const std::string& path = positionals[0];
  const ZefaJsonObject& params = body->get_ref<const ZefaJsonObject&>();
  const bool diskToken = line.has("disk-token");
  const std::optional<std::string> token = line.value("token");
  const ZefaToolOutcome outcome = ZefaToolSetup::await(
      [&](const ZefaSuccessCallback& success, const ZefaFailedCallback& failed) {
        if (!retries) {
          ZefaServerCall::postJsonAsyncWithToken(diskToken, path, params, token, success, failed);
        } else if (const std::optional<std::string> url =
                       ZefaServerCall::newUrl(diskToken, path, token)) {
          // The description the library's own entry points give the call, for its log lines.
          const std::string printStr = " " + ZefaServerCall::HOST + " " + path + " " +
                                       ZefaDescription::describe(params) + " ";
          std::make_shared<ZefaServerCallRetry>(printStr, *url, params, retries, success, failed)
              ->call();
        } else {
          failed(ZefaStatusCode::CLIENT_HAS_NOT_LOGIN());
        }
      },
      limit);
  if (!outcome.done) {
    std::fprintf(stderr, "zefa post: no outcome within %g s\n", limit);
    return ZefaCommandLine::kFailure;
  }
  if (outcome.data) {
    std::printf("%s\n", ZefaToolSetup::text(*outcome.data).c_str());
    return ZefaCommandLine::kSuccess;
  }
  ZefaJsonObject status;
  if (outcome.status->code) status["code"] = *outcome.status->code;
  if (outcome.status->msg) status["msg"] = *outcome.status->msg;
  std::printf("%s\n", ZefaToolSetup::text(status).c_str());
  return ZefaCommandLine::kFailure;
}
