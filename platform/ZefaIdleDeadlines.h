#pragma once
// The idle deadlines of an HTTP client's requests, earliest first. A request's deadline moves
// whenever data arrives; rather than being updated, an entry is checked against the request when
// it comes due, and put back for the request's new deadline if that moved. The entries of
// requests that finished early are dropped once they outnumber the live ones, so a client that
// finishes many requests within one timeout keeps about one entry per request in flight.
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

class ZefaIdleDeadlines {
 public:
  using Clock = std::chrono::steady_clock;
  // The deadline of a request now, none when it is gone.
  using DueOf = std::function<std::optional<Clock::time_point>(uint64_t id)>;

  void add(Clock::time_point due, uint64_t id, const DueOf& dueOf);
  // The requests whose deadline has passed at `now`, each once.
  std::vector<uint64_t> expired(Clock::time_point now, const DueOf& dueOf);
  // The earliest deadline held (perhaps stale), none when there is none.
  std::optional<Clock::time_point> next() const;
  size_t size() const { return entries_.size(); }

 private:
  using Entry = std::pair<Clock::time_point, uint64_t>;
  std::vector<Entry> entries_;  // a min-heap on the due time
  size_t keptAfterDrop_ = 0;    // the entries left when finished requests' were last dropped
};
