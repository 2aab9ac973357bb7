// Runs the loopback responder as its own process, so that its CPU is not counted against the
// clients under measurement. Prints the port on its first line, then serves until it is sent
// SIGTERM or SIGINT.
//
//   zefa_loopback_responder
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "bench/support/ZefaLoopbackResponder.h"

namespace {

// A reply envelope of about 200 bytes, as the backend sends for a small call.
constexpr const char* kReply =
    R"({"state":{"code":0,"msg":"ok"},"data":{"userId":12345,"name":"player","level":7,)"
    R"("score":123456.5,"coins":98765,"vip":false,"guild":"loopback","tags":["a","b","c"],)"
    R"("updatedAt":"2026-01-01T00:00:00Z"}})";

}  // namespace

int main() {
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTERM);
  sigaddset(&stop, SIGINT);
  pthread_sigmask(SIG_BLOCK, &stop, nullptr);  // the serving thread inherits the mask
  ZefaLoopbackResponder responder(kReply);
  const std::string url = responder.url("");
  std::printf("%s\n", url.substr(url.rfind(':') + 1).c_str());
  std::fflush(stdout);
  int signal = 0;
  sigwait(&stop, &signal);
  return 0;
}
