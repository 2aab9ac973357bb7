#include "platform/linux/ZefaRunLoop.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

bool readable(int fd) {
  pollfd watched{fd, POLLIN, 0};
  return ::poll(&watched, 1, 0) == 1 && (watched.revents & POLLIN) != 0;
}

TEST(ZefaRunLoopTest, TasksRunOnlyWhenDrainedAndInPostedOrder) {
  ZefaRunLoop loop;
  std::vector<int> ran;
  for (int i = 0; i < 5; ++i) loop.async([&ran, i] { ran.push_back(i); });
  EXPECT_TRUE(ran.empty());
  EXPECT_EQ(loop.runOnce(), 5u);
  EXPECT_EQ(ran, (std::vector<int>{0, 1, 2, 3, 4}));
  EXPECT_EQ(loop.runOnce(), 0u);
}

TEST(ZefaRunLoopTest, TasksPostedFromManyThreadsKeepEachThreadsOrder) {
  ZefaRunLoop loop;
  constexpr int kThreads = 4;
  constexpr int kPerThread = 2000;
  std::vector<std::vector<int>> seen(kThreads);
  std::vector<std::thread> posters;
  for (int t = 0; t < kThreads; ++t) {
    posters.emplace_back([&loop, &seen, t] {
      for (int i = 0; i < kPerThread; ++i) loop.async([&seen, t, i] { seen[t].push_back(i); });
    });
  }
  const auto done = [&] {
    size_t total = 0;
    for (const auto& s : seen) total += s.size();
    return total == kThreads * kPerThread;
  };
  EXPECT_TRUE(loop.run(done, 10.0));
  for (auto& poster : posters) poster.join();
  for (const auto& s : seen) {
    ASSERT_EQ(s.size(), static_cast<size_t>(kPerThread));
    for (int i = 0; i < kPerThread; ++i) ASSERT_EQ(s[i], i);
  }
}

TEST(ZefaRunLoopTest, TimersFireInDeadlineOrderWithTiesInPostedOrder) {
  struct Row {
    const char* name;
    std::vector<double> delays;
    std::vector<int> expectedOrder;
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"later posted first", {0.06, 0.02, 0.04}, {1, 2, 0}},
      {"equal delays keep posting order", {0.02, 0.02, 0.02}, {0, 1, 2}},
      {"zero and negative are due at once", {0.03, 0.0, -1.0}, {1, 2, 0}},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaRunLoop loop;
    std::vector<int> fired;
    for (size_t i = 0; i < row.delays.size(); ++i) {
      loop.after(row.delays[i], [&fired, i] { fired.push_back(static_cast<int>(i)); });
    }
    EXPECT_TRUE(loop.run([&] { return fired.size() == row.delays.size(); }, 5.0));
    EXPECT_EQ(fired, row.expectedOrder);
  }
}

TEST(ZefaRunLoopTest, TimerNeverFiresBeforeItsDelay) {
  ZefaRunLoop loop;
  const auto start = Clock::now();
  Clock::time_point firedAt{};
  loop.after(0.15, [&] { firedAt = Clock::now(); });
  EXPECT_EQ(loop.runOnce(), 0u);
  EXPECT_GT(loop.secondsUntilNextTimer(), 0.0);
  EXPECT_TRUE(loop.run([&] { return firedAt != Clock::time_point{}; }, 5.0));
  EXPECT_GE(firedAt - start, std::chrono::milliseconds(150));
  EXPECT_EQ(loop.secondsUntilNextTimer(), -1.0);
}

TEST(ZefaRunLoopTest, WakeFdIsReadableExactlyWhileWorkIsPending) {
  ZefaRunLoop loop;
  EXPECT_FALSE(readable(loop.wakeFd()));

  std::thread poster([&] { loop.async([] {}); });
  poster.join();
  EXPECT_TRUE(readable(loop.wakeFd()));
  loop.async([] {});  // a second task does not need a second signal
  EXPECT_EQ(loop.runOnce(), 2u);
  EXPECT_FALSE(readable(loop.wakeFd()));

  loop.after(0.05, [] {});
  EXPECT_FALSE(readable(loop.wakeFd()));
  pollfd watched{loop.wakeFd(), POLLIN, 0};
  EXPECT_EQ(::poll(&watched, 1, 2000), 1);  // the timer's deadline wakes a poller
  EXPECT_EQ(loop.runOnce(), 1u);
  EXPECT_FALSE(readable(loop.wakeFd()));
}

TEST(ZefaRunLoopTest, WorkPostedWhileDrainingWaitsForTheNextDrain) {
  ZefaRunLoop loop;
  int inner = 0;
  loop.async([&] {
    loop.async([&] { ++inner; });
    loop.after(0, [&] { ++inner; });
  });
  EXPECT_EQ(loop.runOnce(), 1u);
  EXPECT_EQ(inner, 0);
  EXPECT_TRUE(readable(loop.wakeFd()));
  EXPECT_EQ(loop.runOnce(), 2u);
  EXPECT_EQ(inner, 2);
}

TEST(ZefaRunLoopTest, ThrowingTaskLeavesTheRestQueuedInOrder) {
  ZefaRunLoop loop;
  std::vector<int> ran;
  loop.async([&] { ran.push_back(1); });
  loop.async([] { throw std::runtime_error("task failed"); });
  loop.async([&] { ran.push_back(3); });
  loop.async([&] { ran.push_back(4); });
  EXPECT_THROW(loop.runOnce(), std::runtime_error);
  EXPECT_EQ(ran, std::vector<int>{1});
  loop.async([&] { ran.push_back(5); });
  EXPECT_EQ(loop.runOnce(), 3u);
  EXPECT_EQ(ran, (std::vector<int>{1, 3, 4, 5}));
}

}  // namespace
