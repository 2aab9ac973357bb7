#include "platform/ZefaIdleDeadlines.h"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <vector>

namespace {

using Clock = ZefaIdleDeadlines::Clock;
using std::chrono::seconds;

// Requests that finish long before their deadline leave no pile of entries behind, and the ones
// still in flight come due as they should: on time, after a deadline that moved, and once.
TEST(ZefaIdleDeadlinesTest, KeepsAboutAnEntryPerLiveRequestAndExpiresEachOnce) {
  const Clock::time_point t0{};
  std::map<uint64_t, Clock::time_point> live;  // request -> its deadline now
  const auto dueOf = [&](uint64_t id) -> std::optional<Clock::time_point> {
    const auto found = live.find(id);
    if (found == live.end()) return std::nullopt;
    return found->second;
  };
  ZefaIdleDeadlines deadlines;
  for (uint64_t id = 0; id < 10'000; ++id) {
    live[id] = t0 + seconds(60);
    deadlines.add(t0 + seconds(60), id, dueOf);
    if (id % 100 != 0) live.erase(id);  // all but one in a hundred finish at once
  }
  EXPECT_LE(deadlines.size(), 2 * live.size() + 64);

  live[100] = t0 + seconds(90);  // data arrived: its deadline moved
  EXPECT_TRUE(deadlines.expired(t0 + seconds(59), dueOf).empty());
  const std::vector<uint64_t> due = deadlines.expired(t0 + seconds(60), dueOf);
  EXPECT_EQ(due.size(), live.size() - 1);
  for (const uint64_t id : due) live.erase(id);
  EXPECT_EQ(deadlines.next(), t0 + seconds(90));
  EXPECT_EQ(deadlines.expired(t0 + seconds(90), dueOf), std::vector<uint64_t>{100});
}

}  // namespace
