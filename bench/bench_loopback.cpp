// Posts N server calls through the library (ZefaServerCall -> transport -> libcurl worker -> main
// run loop) against a loopback responder, beside the same N POSTs made by a plain libcurl multi
// loop on one thread, and prints requests/s, CPU per request and the main thread's CPU per reply.
//
//   bench_loopback [requests=20000] [in-flight=64]
#include <curl/curl.h>
#include <time.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ZefaBase/ZefaLog.h"
#include "ZefaBase/ZefaServerCall.h"
#include "bench/support/ZefaLoopbackResponder.h"
#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaRunLoop.h"
#include "platform/testing/ZefaMemoryKeyValueStore.h"

namespace {

constexpr const char* kReply =
    R"({"state":{"code":0,"msg":"ok"},"data":{"userId":12345,"name":"player"}})";
constexpr const char* kBody = R"({"gameId":"demo","level":7,"score":123456.5,"tags":["a","b"]})";

double seconds(clockid_t clock) {
  timespec t{};
  ::clock_gettime(clock, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

struct Result {
  double wall = 0;
  double processCpu = 0;
  double mainCpu = 0;
  long failures = 0;
};

// The library, with `inFlight` calls outstanding at any time; every reply starts the next call.
Result runLibrary(const std::string& host, long total, long inFlight) {
  ZefaServerCall::setHostAndDeviceId(host, "127.0.0.1", "BENCH-DEVICE");
  const ZefaJsonObject params = *ZefaSDKUtils::jsonStringToDictionary(kBody);
  long started = 0;
  long finished = 0;
  Result result;
  std::function<void()> startOne;
  startOne = [&] {
    ++started;
    ZefaServerCall::postJsonAsync(
        false, "/api/user/info", params,
        [&](const ZefaJsonObject&) {
          ++finished;
          if (started < total) startOne();
        },
        [&](const ZefaStatusCodeRef&) {
          ++finished;
          ++result.failures;
          if (started < total) startOne();
        });
  };
  const double wall0 = seconds(CLOCK_MONOTONIC);
  const double cpu0 = seconds(CLOCK_PROCESS_CPUTIME_ID);
  const double main0 = seconds(CLOCK_THREAD_CPUTIME_ID);
  for (long i = 0; i < inFlight && started < total; ++i) startOne();
  ZefaRunLoop::main().run([&] { return finished >= total; }, 600);
  result.wall = seconds(CLOCK_MONOTONIC) - wall0;
  result.processCpu = seconds(CLOCK_PROCESS_CPUTIME_ID) - cpu0;
  result.mainCpu = seconds(CLOCK_THREAD_CPUTIME_ID) - main0;
  return result;
}

size_t discard(char*, size_t size, size_t count, void*) { return size * count; }

// The same requests from a plain libcurl multi loop on this one thread.
Result runPlainCurl(const std::string& url, long total, long inFlight) {
  CURLM* multi = curl_multi_init();
  curl_slist* headers = nullptr;
  for (const char* h : {"Content-Type: application/json", "Accept: application/json",
                        "deviceId: BENCH-DEVICE", "Expect:"}) {
    headers = curl_slist_append(headers, h);
  }
  const std::string body = kBody;
  long started = 0;
  long finished = 0;
  Result result;
  const auto add = [&] {
    CURL* easy = curl_easy_init();
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, discard);
    curl_multi_add_handle(multi, easy);
    ++started;
  };
  const double wall0 = seconds(CLOCK_MONOTONIC);
  const double cpu0 = seconds(CLOCK_PROCESS_CPUTIME_ID);
  for (long i = 0; i < inFlight && started < total; ++i) add();
  while (finished < total) {
    int running = 0;
    curl_multi_perform(multi, &running);
    int left = 0;
    while (CURLMsg* message = curl_multi_info_read(multi, &left)) {
      if (message->msg != CURLMSG_DONE) continue;
      if (message->data.result != CURLE_OK) ++result.failures;
      CURL* easy = message->easy_handle;
      curl_multi_remove_handle(multi, easy);
      curl_easy_cleanup(easy);
      ++finished;
      if (started < total) add();
    }
    curl_multi_poll(multi, nullptr, 0, 100, nullptr);
  }
  result.wall = seconds(CLOCK_MONOTONIC) - wall0;
  result.processCpu = seconds(CLOCK_PROCESS_CPUTIME_ID) - cpu0;
  curl_slist_free_all(headers);
  curl_multi_cleanup(multi);
  return result;
}

void print(const char* name, const Result& r, long total, bool withMain) {
  std::printf("%-14s %9.0f req/s  %7.2f us CPU/request", name, static_cast<double>(total) / r.wall,
              r.processCpu / static_cast<double>(total) * 1e6);
  if (withMain)
    std::printf("  %7.2f us main-thread CPU/reply", r.mainCpu / static_cast<double>(total) * 1e6);
  std::printf("  (%ld failed)\n", r.failures);
}

}  // namespace

int main(int argc, char** argv) {
  const long total = argc > 1 ? std::atol(argv[1]) : 20000;
  const long inFlight = argc > 2 ? std::atol(argv[2]) : 64;
  if (total <= 0 || inFlight <= 0) {
    std::fprintf(stderr, "usage: %s [requests] [in-flight]\n", argv[0]);
    return 2;
  }
  ZefaPlatform::current().install(
      std::static_pointer_cast<ZefaKeyValueStore>(std::make_shared<ZefaMemoryKeyValueStore>()));
  ZefaLog::setShowLog(false);
  ZefaLoopbackResponder responder(kReply);
  std::printf("%ld POSTs, %ld in flight, loopback responder\n", total, inFlight);

  runLibrary(responder.url(""), std::min(total, 1000L), inFlight);  // warm up connections
  const Result library = runLibrary(responder.url(""), total, inFlight);
  const Result plain = runPlainCurl(responder.url("/api/user/info"), total, inFlight);
  print("library", library, total, true);
  print("plain libcurl", plain, total, false);
  std::printf("ratios library/plain: throughput %.2f, CPU per request %.2f\n",
              plain.wall / library.wall, library.processCpu / plain.processCpu);
  return library.failures == 0 && plain.failures == 0 ? 0 : 1;
}
