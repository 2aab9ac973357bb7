#include "tools/backend/ZefaBackendFaults.h"

#include <charconv>
#include <utility>

namespace {

std::optional<int64_t> integer(std::string_view text) {
  int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
    return std::nullopt;
  }
  return value;
}

}  // namespace

ZefaBackendFaults::ZefaBackendFaults(int delayMs, double failRate,
                                     std::vector<ZefaScriptedFailure> scripted)
    : delayMs_(delayMs),
      failRate_(failRate),
      scripted_(std::move(scripted)),
      random_(std::random_device{}()) {}

std::optional<ZefaScriptedFailure> ZefaBackendFaults::parse(std::string_view script) {
  const size_t equals = script.find('=');
  if (equals == std::string_view::npos || equals == 0) return std::nullopt;
  ZefaScriptedFailure failure{std::string(script.substr(0, equals)), 0, "injected failure",
                              std::nullopt};
  std::string_view rest = script.substr(equals + 1);

  // A trailing "xN" is the count.
  const size_t x = rest.find_last_of('x');
  if (x != std::string_view::npos && x + 1 < rest.size() &&
      rest.find_first_not_of("0123456789", x + 1) == std::string_view::npos) {
    failure.times = integer(rest.substr(x + 1));
    if (!failure.times || *failure.times < 1) return std::nullopt;
    rest = rest.substr(0, x);
    while (!rest.empty() && rest.back() == ' ') rest.remove_suffix(1);
  }

  const size_t colon = rest.find(':');
  const std::optional<int64_t> code = integer(rest.substr(0, colon));
  if (!code || *code == 0) return std::nullopt;
  failure.code = *code;
  if (colon != std::string_view::npos) {
    if (colon + 1 == rest.size()) return std::nullopt;
    failure.msg = std::string(rest.substr(colon + 1));
  }
  return failure;
}

void ZefaBackendFaults::script(ZefaScriptedFailure failure) {
  std::lock_guard lock(mutex_);
  scripted_.push_back(std::move(failure));
}

std::optional<ZefaScriptedFailure> ZefaBackendFaults::failureFor(std::string_view path) {
  std::lock_guard lock(mutex_);
  for (auto it = scripted_.begin(); it != scripted_.end(); ++it) {
    if (it->path != path) continue;
    ZefaScriptedFailure failure = *it;
    if (it->times && --*it->times == 0) scripted_.erase(it);
    return failure;
  }
  if (failRate_ > 0 && std::uniform_real_distribution<double>(0, 1)(random_) < failRate_) {
    return ZefaScriptedFailure{std::string(path), kRandomFailureCode, "injected random failure",
                               std::nullopt};
  }
  return std::nullopt;
}
