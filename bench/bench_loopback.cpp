// Posts N server calls through the library (ZefaServerCall -> transport -> libcurl worker -> main
// run loop) and the same N POSTs from a plain libcurl multi loop on one thread that reuses its easy
// handles and connections, both against a loopback responder running as a separate process
// (zefa_loopback_responder). For each in-flight count, every repetition runs each client in a
// fresh child process (so each has its own peak RSS), and the medians are printed.
//
//   bench_loopback [requests=50000] [repetitions=5]
#include <curl/curl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "ZefaBase/ZefaLog.h"
#include "ZefaBase/ZefaServerCall.h"
#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaRunLoop.h"
#include "platform/testing/ZefaMemoryKeyValueStore.h"

extern char** environ;

namespace {

constexpr const char* kBody = R"({"gameId":"demo","level":7,"score":123456.5,"tags":["a","b"]})";
constexpr long kPerHostConnections = 64;  // the library's default per-host limit
constexpr long kWarmUp = 1000;

double seconds(clockid_t clock) {
  timespec t{};
  ::clock_gettime(clock, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// What one child reports back through a pipe.
struct Result {
  double wall = 0;
  double processCpu = 0;
  double mainCpu = 0;    // everything the main thread did, waiting for replies included
  double drainCpu = 0;   // main-thread CPU in the drains that delivered the replies
  double startCpu = 0;   // main-thread CPU in the calls that started requests
  long drains = 0;       // timed drains, each with one pair of clock reads inside drainCpu
  long startRounds = 0;  // timed rounds of starts, each with one pair inside startCpu
  double clockPair = 0;  // what one pair of clock reads costs, taken off both figures
  double p50 = 0;        // seconds
  double p99 = 0;
  long maxRssKb = 0;
  long failures = 0;
  long once = 0;   // burst: calls that reported exactly once
  long twice = 0;  // burst: calls that reported more than once
};

void percentiles(std::vector<double>& latencies, Result& r) {
  if (latencies.empty()) return;
  std::sort(latencies.begin(), latencies.end());
  r.p50 = latencies[latencies.size() / 2];
  r.p99 = latencies[std::min(latencies.size() - 1, latencies.size() * 99 / 100)];
}

bool readable(int fd, int waitMs) {
  pollfd watched{fd, POLLIN, 0};
  return ::poll(&watched, 1, waitMs) == 1;
}

// The library, with `inFlight` calls outstanding, driven as a game with its own event loop
// drives it: wait for the main queue's descriptor, drain the queue, then start as many calls as
// replies arrived. The drains and the starts are timed apart (on the thread's CPU clock, one
// pair of reads per drain and per round of starts), so neither figure is a difference.
Result runLibrary(const std::string& host, long total, long inFlight, bool measure) {
  ZefaServerCall::setHostAndDeviceId(host, "127.0.0.1", "BENCH-DEVICE");
  const ZefaJsonObject params = *ZefaSDKUtils::jsonStringToDictionary(kBody);
  long started = 0;
  long finished = 0;
  Result result;
  std::vector<double> latencies;
  latencies.reserve(static_cast<size_t>(total));
  const auto startOne = [&] {
    ++started;
    const double at = seconds(CLOCK_MONOTONIC);
    const auto done = [&, at](bool ok) {
      latencies.push_back(seconds(CLOCK_MONOTONIC) - at);
      ++finished;
      if (!ok) ++result.failures;
    };
    ZefaServerCall::postJsonAsync(
        false, "/api/user/info", params, [done](const ZefaJsonObject&) { done(true); },
        [done](const ZefaStatusCodeRef&) { done(false); });
  };
  // What a timing costs with nothing between its two clock reads (a system call here).
  constexpr int kEmptyPairs = 256;
  double empty = 0;
  for (int i = 0; i < kEmptyPairs; ++i) {
    const double t = seconds(CLOCK_THREAD_CPUTIME_ID);
    empty += seconds(CLOCK_THREAD_CPUTIME_ID) - t;
  }
  result.clockPair = empty / kEmptyPairs;
  ZefaRunLoop& loop = ZefaRunLoop::main();
  const int wakeFd = loop.wakeFd();
  const double wall0 = seconds(CLOCK_MONOTONIC);
  const double cpu0 = seconds(CLOCK_PROCESS_CPUTIME_ID);
  const double main0 = seconds(CLOCK_THREAD_CPUTIME_ID);
  while (finished < total) {
    if (started - finished < inFlight && started < total) {
      const double t = seconds(CLOCK_THREAD_CPUTIME_ID);
      while (started - finished < inFlight && started < total) startOne();
      result.startCpu += seconds(CLOCK_THREAD_CPUTIME_ID) - t;
      ++result.startRounds;
    }
    if (!readable(wakeFd, 10000)) break;  // no reply for 10 s: counted as failures below
    const double t = seconds(CLOCK_THREAD_CPUTIME_ID);
    loop.runOnce();
    result.drainCpu += seconds(CLOCK_THREAD_CPUTIME_ID) - t;
    ++result.drains;
  }
  result.wall = seconds(CLOCK_MONOTONIC) - wall0;
  result.processCpu = seconds(CLOCK_PROCESS_CPUTIME_ID) - cpu0;
  result.mainCpu = seconds(CLOCK_THREAD_CPUTIME_ID) - main0;
  result.failures += total - finished;
  if (measure) percentiles(latencies, result);
  return result;
}

// `total` calls started at once, none chained to another's reply: every one must report exactly
// once, whether it succeeded or failed, although most wait in the transport's queue.
Result runBurst(const std::string& host, long total) {
  ZefaServerCall::setHostAndDeviceId(host, "127.0.0.1", "BENCH-DEVICE");
  const ZefaJsonObject params = *ZefaSDKUtils::jsonStringToDictionary(kBody);
  std::vector<int> reports(static_cast<size_t>(total), 0);
  long reported = 0;
  Result result;
  const double wall0 = seconds(CLOCK_MONOTONIC);
  for (long i = 0; i < total; ++i) {
    const auto done = [&reports, &reported, &result, i](bool ok) {
      ++reports[static_cast<size_t>(i)];
      ++reported;
      if (!ok) ++result.failures;
    };
    ZefaServerCall::postJsonAsync(
        false, "/api/user/info", params, [done](const ZefaJsonObject&) { done(true); },
        [done](const ZefaStatusCodeRef&) { done(false); });
  }
  // Waits until every call has reported, then a moment more for any second report.
  ZefaRunLoop::main().run([&] { return reported >= total; }, 120);
  ZefaRunLoop::main().run([] { return false; }, 0.5);
  result.wall = seconds(CLOCK_MONOTONIC) - wall0;
  for (const int count : reports) {
    result.once += count == 1;
    result.twice += count > 1;
  }
  return result;
}

size_t discard(char*, size_t size, size_t count, void*) { return size * count; }

// The same requests from a plain libcurl multi loop on this one thread, which reuses its easy
// handles and, with the same per-host limit and a cache of that size, its connections.
Result runPlainCurl(const std::string& url, long total, long inFlight) {
  CURLM* multi = curl_multi_init();
  curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS, kPerHostConnections);
  curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, kPerHostConnections);
  curl_slist* headers = nullptr;
  for (const char* h : {"Content-Type: application/json", "Accept: application/json",
                        "deviceId: BENCH-DEVICE", "Expect:"}) {
    headers = curl_slist_append(headers, h);
  }
  const std::string body = kBody;
  std::vector<CURL*> handles;
  std::vector<double> startedAt(static_cast<size_t>(inFlight));
  for (long i = 0; i < inFlight; ++i) {
    CURL* easy = curl_easy_init();
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, discard);
    curl_easy_setopt(easy, CURLOPT_PRIVATE, reinterpret_cast<char*>(i));
    handles.push_back(easy);
  }
  long started = 0;
  long finished = 0;
  Result result;
  std::vector<double> latencies;
  latencies.reserve(static_cast<size_t>(total));
  const auto add = [&](CURL* easy) {
    char* index = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &index);
    startedAt[reinterpret_cast<size_t>(index)] = seconds(CLOCK_MONOTONIC);
    curl_multi_add_handle(multi, easy);
    ++started;
  };
  const double wall0 = seconds(CLOCK_MONOTONIC);
  const double cpu0 = seconds(CLOCK_PROCESS_CPUTIME_ID);
  for (long i = 0; i < inFlight && started < total; ++i) add(handles[static_cast<size_t>(i)]);
  while (finished < total) {
    int running = 0;
    curl_multi_perform(multi, &running);
    int left = 0;
    while (CURLMsg* message = curl_multi_info_read(multi, &left)) {
      if (message->msg != CURLMSG_DONE) continue;
      if (message->data.result != CURLE_OK) ++result.failures;
      CURL* easy = message->easy_handle;
      char* index = nullptr;
      curl_easy_getinfo(easy, CURLINFO_PRIVATE, &index);
      latencies.push_back(seconds(CLOCK_MONOTONIC) - startedAt[reinterpret_cast<size_t>(index)]);
      curl_multi_remove_handle(multi, easy);
      ++finished;
      if (started < total) add(easy);
    }
    curl_multi_poll(multi, nullptr, 0, 100, nullptr);
  }
  result.wall = seconds(CLOCK_MONOTONIC) - wall0;
  result.processCpu = seconds(CLOCK_PROCESS_CPUTIME_ID) - cpu0;
  result.mainCpu = result.processCpu;  // one thread does everything
  percentiles(latencies, result);
  for (CURL* easy : handles) curl_easy_cleanup(easy);
  curl_slist_free_all(headers);
  curl_multi_cleanup(multi);
  return result;
}

enum class Client { Library, PlainCurl, LibraryBurst };

// Runs one client in a child process and returns what it measured.
Result inChild(Client client, const std::string& host, long total, long inFlight) {
  int fds[2];
  if (::pipe(fds) != 0) std::abort();
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(fds[0]);
    Result r;
    if (client != Client::PlainCurl) {
      ZefaPlatform::current().install(
          std::static_pointer_cast<ZefaKeyValueStore>(std::make_shared<ZefaMemoryKeyValueStore>()));
      ZefaLog::setShowLog(false);
    }
    if (client == Client::LibraryBurst) {
      r = runBurst(host, total);
    } else if (client == Client::Library) {
      runLibrary(host, std::min(total, kWarmUp), inFlight, false);  // opens the connections
      r = runLibrary(host, total, inFlight, true);
    } else {
      curl_global_init(CURL_GLOBAL_DEFAULT);
      runPlainCurl(host + "/api/user/info", std::min(total, kWarmUp), inFlight);
      r = runPlainCurl(host + "/api/user/info", total, inFlight);
    }
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    r.maxRssKb = usage.ru_maxrss;
    [[maybe_unused]] const auto written = ::write(fds[1], &r, sizeof r);
    ::_exit(0);
  }
  ::close(fds[1]);
  Result r;
  r.failures = -1;
  if (::read(fds[0], &r, sizeof r) != static_cast<ssize_t>(sizeof r)) r.failures = total;
  ::close(fds[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  return r;
}

double cpuOf(pid_t pid) {  // user + system seconds of a process, from /proc
  char path[64];
  std::snprintf(path, sizeof path, "/proc/%d/stat", static_cast<int>(pid));
  FILE* f = std::fopen(path, "r");
  if (f == nullptr) return 0;
  char text[1024] = {};
  const size_t n = std::fread(text, 1, sizeof text - 1, f);
  std::fclose(f);
  text[n] = 0;
  const char* at = std::strrchr(text, ')');
  unsigned long utime = 0;
  unsigned long stime = 0;
  // Fields after the name: state(3) ... utime(14) stime(15).
  if (at != nullptr)
    std::sscanf(at + 2, "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &utime, &stime);
  return static_cast<double>(utime + stime) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

struct Summary {
  double rate, p50, p99, networkCpu, replyCpu, startCpu, mainCpu, responderShare;
  long maxRssKb, failures;
};

Summary summarise(const std::vector<Result>& runs, const std::vector<double>& responderShares,
                  long total, bool library) {
  std::vector<double> rate, p50, p99, network, replyCpu, startCpu, mainCpu;
  Summary s{};
  for (const Result& r : runs) {
    const double n = static_cast<double>(total);
    rate.push_back(n / r.wall);
    p50.push_back(r.p50 * 1e6);
    p99.push_back(r.p99 * 1e6);
    network.push_back((library ? r.processCpu - r.mainCpu : r.processCpu) / n * 1e6);
    // Decoding, the envelope, the callbacks and the queue's own work, per reply; and building
    // and handing on a request, per call. Each less the clock reads that timed it.
    replyCpu.push_back((r.drainCpu - r.clockPair * static_cast<double>(r.drains)) / n * 1e6);
    startCpu.push_back((r.startCpu - r.clockPair * static_cast<double>(r.startRounds)) / n * 1e6);
    mainCpu.push_back(r.mainCpu / n * 1e6);
    s.maxRssKb = std::max(s.maxRssKb, r.maxRssKb);
    s.failures += r.failures;
  }
  s.rate = median(rate);
  s.p50 = median(p50);
  s.p99 = median(p99);
  s.networkCpu = median(network);
  s.replyCpu = median(replyCpu);
  s.startCpu = median(startCpu);
  s.mainCpu = median(mainCpu);
  s.responderShare = median(responderShares);
  return s;
}

void printRow(const char* name, long inFlight, const Summary& s, bool library) {
  std::printf("| %-13s | %4ld | %8.0f | %7.0f | %7.0f | %8.2f | ", name, inFlight, s.rate, s.p50,
              s.p99, s.networkCpu);
  if (library)
    std::printf("%8.2f | %8.2f | %8.2f", s.replyCpu, s.startCpu, s.mainCpu);
  else
    std::printf("%8s | %8s | %8s", "-", "-", "-");
  std::printf(" | %6.1f | %9.0f%% | %ld |\n", static_cast<double>(s.maxRssKb) / 1024.0,
              s.responderShare * 100, s.failures);
}

}  // namespace

int main(int argc, char** argv) {
  const long total = argc > 1 ? std::atol(argv[1]) : 50000;
  const long repetitions = argc > 2 ? std::atol(argv[2]) : 5;
  if (total <= 0 || repetitions <= 0) {
    std::fprintf(stderr, "usage: %s [requests=50000] [repetitions=5]\n", argv[0]);
    return 2;
  }
  // The responder, a separate process; its first output line is its port.
  int out[2];
  if (::pipe(out) != 0) return 1;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, out[0]);
  const char* responderPath = ZEFA_LOOPBACK_RESPONDER;
  char* const args[] = {const_cast<char*>(responderPath), nullptr};
  pid_t responder = 0;
  if (posix_spawn(&responder, responderPath, &actions, nullptr, args, environ) != 0) {
    std::fprintf(stderr, "cannot start %s\n", responderPath);
    return 1;
  }
  posix_spawn_file_actions_destroy(&actions);
  ::close(out[1]);
  FILE* responderOut = ::fdopen(out[0], "r");
  int port = 0;
  if (std::fscanf(responderOut, "%d", &port) != 1 || port <= 0) {
    std::fprintf(stderr, "the responder did not print its port\n");
    ::kill(responder, SIGTERM);
    return 1;
  }
  const std::string host = "http://127.0.0.1:" + std::to_string(port);

  std::printf("%ld POSTs per run, medians of %ld runs; responder in its own process (pid %d)\n",
              total, repetitions, static_cast<int>(responder));
  std::printf(
      "| client        | in flight | req/s | p50 us | p99 us | network-thread CPU us/req | "
      "main-thread CPU us per reply delivered | main-thread CPU us per call started | "
      "main-thread CPU us per call, waiting included | peak RSS MiB | "
      "responder CPU (of one core) | failed |\n"
      "|---|---|---|---|---|---|---|---|---|---|---|---|\n");
  long failures = 0;
  constexpr long kFewer = 64;
  constexpr long kMore = 256;
  long rssKb[2][2] = {};  // [library, plain][fewer, more in flight]
  for (const long inFlight : {kFewer, kMore}) {
    std::vector<Result> library;
    std::vector<Result> plain;
    std::vector<double> libraryShare;
    std::vector<double> plainShare;
    for (long rep = 0; rep < repetitions; ++rep) {  // interleaved, so that load drift hits both
      for (const bool isLibrary : {true, false}) {
        const double cpu0 = cpuOf(responder);
        const Result r =
            inChild(isLibrary ? Client::Library : Client::PlainCurl, host, total, inFlight);
        const double share = r.wall > 0 ? (cpuOf(responder) - cpu0) / r.wall : 0;
        (isLibrary ? library : plain).push_back(r);
        (isLibrary ? libraryShare : plainShare).push_back(share);
      }
    }
    const Summary l = summarise(library, libraryShare, total, true);
    const Summary p = summarise(plain, plainShare, total, false);
    printRow("library", inFlight, l, true);
    printRow("plain libcurl", inFlight, p, false);
    std::printf(
        "| ratio library/plain | %4ld | %.2f | %.2f | %.2f | %.2f (all threads) | | | | %.2f | | "
        "|\n",
        inFlight, l.rate / p.rate, l.p50 / p.p50, l.p99 / p.p99,
        (l.networkCpu + l.mainCpu) / p.networkCpu,
        static_cast<double>(l.maxRssKb) / static_cast<double>(p.maxRssKb));
    failures += l.failures + p.failures;
    rssKb[0][inFlight == kMore] = l.maxRssKb;
    rssKb[1][inFlight == kMore] = p.maxRssKb;
  }
  // What each further request in flight costs: the growth of peak RSS from 64 to 256 in flight.
  const auto perRequest = [&](int client) {
    return static_cast<double>(rssKb[client][1] - rssKb[client][0]) /
           static_cast<double>(kMore - kFewer);
  };
  std::printf(
      "\nPeak RSS per request in flight (growth from %ld to %ld): library %.2f KiB, "
      "plain libcurl %.2f KiB, ratio %.2f\n",
      kFewer, kMore, perRequest(0), perRequest(1), perRequest(0) / perRequest(1));

  constexpr long kBurst = 10000;
  const Result burst = inChild(Client::LibraryBurst, host, kBurst, kBurst);
  std::printf(
      "%ld server calls started at once: %ld reported exactly once, %ld more than once, "
      "%ld never (%ld failed), in %.2f s\n",
      kBurst, burst.once, burst.twice, kBurst - burst.once - burst.twice, burst.failures,
      burst.wall);
  if (burst.once != kBurst) ++failures;
  ::kill(responder, SIGTERM);
  ::waitpid(responder, nullptr, 0);
  return failures == 0 ? 0 : 1;
}
