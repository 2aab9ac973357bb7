#include "platform/ZefaIdleDeadlines.h"

#include <algorithm>

namespace {
constexpr size_t kFewestDropped = 64;  // fewer stale entries than this are not worth a pass
}  // namespace

void ZefaIdleDeadlines::add(Clock::time_point due, uint64_t id, const DueOf& dueOf) {
  if (entries_.size() >= 2 * keptAfterDrop_ + kFewestDropped) {
    std::erase_if(entries_, [&](const Entry& entry) { return !dueOf(entry.second); });
    std::make_heap(entries_.begin(), entries_.end(), std::greater<>());
    keptAfterDrop_ = entries_.size();
  }
  entries_.emplace_back(due, id);
  std::push_heap(entries_.begin(), entries_.end(), std::greater<>());
}

std::vector<uint64_t> ZefaIdleDeadlines::expired(Clock::time_point now, const DueOf& dueOf) {
  std::vector<uint64_t> ids;
  while (!entries_.empty() && entries_.front().first <= now) {
    std::pop_heap(entries_.begin(), entries_.end(), std::greater<>());
    const uint64_t id = entries_.back().second;
    entries_.pop_back();
    const std::optional<Clock::time_point> due = dueOf(id);
    if (!due) continue;  // the request is gone
    if (*due > now) {    // data arrived since this entry was made
      entries_.emplace_back(*due, id);
      std::push_heap(entries_.begin(), entries_.end(), std::greater<>());
    } else {
      ids.push_back(id);
    }
  }
  return ids;
}

std::optional<ZefaIdleDeadlines::Clock::time_point> ZefaIdleDeadlines::next() const {
  if (entries_.empty()) return std::nullopt;
  return entries_.front().first;
}
