#pragma once
// Faults the development backend injects so a game can be tested against a bad day: a delay
// before every answer, a share of requests answered with a failure code at random, and scripted
// failures of one path that answer a given code a number of times and then let it recover.
#include <cstdint>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

// One scripted failure: `path` answers `code` and `msg` `times` times (none: every time).
struct ZefaScriptedFailure {
  std::string path;
  int64_t code = 0;
  std::string msg;
  std::optional<int64_t> times;
};

class ZefaBackendFaults {
 public:
  // The code of a failure drawn at random.
  static constexpr int64_t kRandomFailureCode = 503;

  ZefaBackendFaults(int delayMs, double failRate, std::vector<ZefaScriptedFailure> scripted);

  // Parses "PATH=CODE[:MSG][xN]": CODE a non-zero integer, MSG "injected failure" when not
  // given, N > 0 (every time when not given). A trailing "xN" always counts as the number of
  // times, so a message cannot end in one. None when the text does not have that form.
  static std::optional<ZefaScriptedFailure> parse(std::string_view script);

  // Adds a scripted failure; it is used after those of the same path already there.
  void script(ZefaScriptedFailure failure);
  int delayMs() const { return delayMs_; }

  // The failure to answer a request of `path` with, if any: a scripted one first (counted
  // down), else a random draw against the fail rate.
  std::optional<ZefaScriptedFailure> failureFor(std::string_view path);

 private:
  const int delayMs_;
  const double failRate_;
  std::mutex mutex_;
  std::vector<ZefaScriptedFailure> scripted_;  // guarded by mutex_
  std::mt19937_64 random_;                     // guarded by mutex_
};
