// zefa-backend: the development backend as a program. The first line of output is the address
// it listens on, then one line per request; SIGINT or SIGTERM stops it cleanly.
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include "tools/backend/ZefaDevBackend.h"
#include "tools/common/ZefaCommandLine.h"

namespace {

constexpr const char* kHelp = R"(usage: zefa-backend [options]

A development backend on 127.0.0.1 that answers every path of ZefaLoginPath and
ZefaPurchasePath with the reply envelope {"state":{"code","msg"},"data":{...}}.
Prints its address (http://127.0.0.1:PORT) on the first line, then one line per request.

options:
  --port N           port to listen on; 0 (the default) picks a free one
  --db FILE          SQLite file for players, tokens, items and orders (default: in memory)
  --delay-ms N       wait N milliseconds before every answer
  --fail-rate R      answer a share R (0 to 1) of requests with code 503 at random
  --fail PATH=CODE[:MSG][xN]
                     answer PATH with CODE and MSG, N times then recover (every time
                     without xN); may be given several times
  --max-body BYTES   refuse larger request bodies with 413 (default 1048576)
  -h, --help         this text

Failure codes: 400 body not a JSON object, 401 missing or unknown session token,
404 unknown path, item, order or binding, 409 already bound/paid/consumed,
413 body too large, 422 missing parameter, 500 database error.
)";

int usage(const std::string& message) {
  std::fprintf(stderr, "zefa-backend: %s\n\n%s", message.c_str(), kHelp);
  return ZefaCommandLine::kUsageError;
}

}  // namespace

int main(int argc, char** argv) {
  const ZefaCommandLine line(std::vector<std::string>(argv + 1, argv + argc), {{"port", true},
                                                                               {"db", true},
                                                                               {"delay-ms", true},
                                                                               {"fail-rate", true},
                                                                               {"fail", true, true},
                                                                               {"max-body", true}});
  if (line.wantsHelp()) {
    std::fputs(kHelp, stdout);
    return ZefaCommandLine::kSuccess;
  }
  if (!line.ok()) return usage(line.error());
  if (!line.positionals().empty()) return usage("unexpected argument " + line.positionals()[0]);

  ZefaDevBackend::Options options;
  options.database = line.value("db").value_or("");
  const auto port = ZefaCommandLine::integer(line.value("port").value_or("0"));
  const auto delay = ZefaCommandLine::integer(line.value("delay-ms").value_or("0"));
  const auto rate = ZefaCommandLine::number(line.value("fail-rate").value_or("0"));
  const auto maxBody = ZefaCommandLine::integer(line.value("max-body").value_or("1048576"));
  if (!port || *port < 0 || *port > 65535) return usage("--port wants 0 to 65535");
  if (!delay || *delay < 0 || *delay > 600000) return usage("--delay-ms wants 0 to 600000");
  if (!rate || *rate < 0 || *rate > 1) return usage("--fail-rate wants 0 to 1");
  if (!maxBody || *maxBody < 0) return usage("--max-body wants a byte count");
  options.port = static_cast<uint16_t>(*port);
  options.delayMs = static_cast<int>(*delay);
  options.failRate = *rate;
  options.maxBodyBytes = static_cast<size_t>(*maxBody);
  for (const std::string& script : line.values("fail")) {
    std::optional<ZefaScriptedFailure> failure = ZefaBackendFaults::parse(script);
    if (!failure) return usage("--fail wants PATH=CODE[:MSG][xN], not " + script);
    options.failures.push_back(std::move(*failure));
  }

  // The server's threads inherit this mask, so the signals reach only sigwait below.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  ZefaDevBackend backend(std::move(options));
  if (!backend.start()) {
    std::fprintf(stderr, "zefa-backend: %s\n", backend.error().c_str());
    return ZefaCommandLine::kFailure;
  }
  std::printf("%s\n", backend.url().c_str());
  std::fflush(stdout);
  int received = 0;
  sigwait(&stopSignals, &received);
  backend.stop();
  std::printf("stopped (%s)\n", received == SIGINT ? "SIGINT" : "SIGTERM");
  return ZefaCommandLine::kSuccess;
}
