#include "platform/ZefaIdleDeadlines.h"

void ZefaIdleDeadlines::add(Clock::time_point due, uint64_t id) { entries_.emplace(due, id); }

std::vector<uint64_t> ZefaIdleDeadlines::expired(Clock::time_point now, const DueOf& dueOf) {
  std::vector<uint64_t> ids;
  while (!entries_.empty() && entries_.top().first <= now) {
    const uint64_t id = entries_.top().second;
    entries_.pop();
    const std::optional<Clock::time_point> due = dueOf(id);
    if (!due) continue;  // the request is gone
    if (*due > now) {    // data arrived since this entry was made
      entries_.emplace(*due, id);
    } else {
      ids.push_back(id);
    }
  }
  return ids;
}

std::optional<ZefaIdleDeadlines::Clock::time_point> ZefaIdleDeadlines::next() const {
  if (entries_.empty()) return std::nullopt;
  return entries_.top().first;
}
