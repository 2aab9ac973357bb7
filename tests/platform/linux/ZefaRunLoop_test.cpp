#include "platform/linux/ZefaRunLoop.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

bool readable(int fd, int waitMs = 0) {
  pollfd watched{fd, POLLIN, 0};
  return ::poll(&watched, 1, waitMs) == 1 && (watched.revents & POLLIN) != 0;
}

TEST(ZefaRunLoopTest, TasksRunInPostedOrderOnlyWhenDrained) {
  ZefaRunLoop loop;
  std::vector<int> ran;
  EXPECT_FALSE(readable(loop.wakeFd()));
  std::thread([&] {
    for (int i = 0; i < 3; ++i) loop.async([&ran, i] { ran.push_back(i); });
  }).join();
  EXPECT_TRUE(readable(loop.wakeFd()));
  loop.async([&] {  // work posted while draining waits for the next drain
    loop.async([&] { ran.push_back(10); });
    loop.after(0, [&] { ran.push_back(11); });
  });
  loop.async([] { throw std::runtime_error("task failed"); });
  loop.async([&] { ran.push_back(4); });
  EXPECT_TRUE(ran.empty());
  EXPECT_THROW(loop.runOnce(), std::runtime_error);  // the rest stays queued, in order
  EXPECT_EQ(ran, (std::vector<int>{0, 1, 2}));
  EXPECT_TRUE(readable(loop.wakeFd()));
  EXPECT_EQ(loop.runOnce(), 3u);
  EXPECT_EQ(ran, (std::vector<int>{0, 1, 2, 4, 10, 11}));
  EXPECT_FALSE(readable(loop.wakeFd()));
  EXPECT_EQ(loop.runOnce(), 0u);
}

TEST(ZefaRunLoopTest, TasksPostedFromManyThreadsKeepEachThreadsOrder) {
  ZefaRunLoop loop;
  constexpr size_t kThreads = 4, kPerThread = 2000;
  std::vector<size_t> next(kThreads, 0);  // per thread: the index its next task must carry
  size_t outOfOrder = 0;
  std::vector<std::jthread> posters;
  for (size_t t = 0; t < kThreads; ++t) {
    posters.emplace_back([&, t] {
      for (size_t i = 0; i < kPerThread; ++i)
        loop.async([&, t, i] { outOfOrder += next[t]++ != i; });
    });
  }
  EXPECT_TRUE(loop.run([&] { return next == std::vector<size_t>(kThreads, kPerThread); }, 10));
  EXPECT_EQ(outOfOrder, 0u);
}

TEST(ZefaRunLoopTest, TimersFireInDeadlineOrderNeverEarlyAndWakeThePoller) {
  struct Row {
    const char* name;
    std::vector<double> delays;
    std::vector<size_t> order;
  };
  const std::vector<Row> rows = {
      {"later posted first", {0.3, 0.1, 0.2}, {1, 2, 0}},
      {"zero and negative are due at once", {0.1, 0.0, -1.0}, {1, 2, 0}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ZefaRunLoop loop;
    const auto start = Clock::now();
    std::vector<size_t> fired;
    for (size_t i = 0; i < row.delays.size(); ++i) {
      loop.after(row.delays[i], [&, i] {
        fired.push_back(i);
        EXPECT_GE(std::chrono::duration<double>(Clock::now() - start).count(), row.delays[i]);
      });
    }
    EXPECT_EQ(loop.runOnce(), static_cast<size_t>(std::ranges::count_if(
                                  row.delays, [](double d) { return d <= 0; })));
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(60));  // did not wait for a timer
    EXPECT_GT(loop.secondsUntilNextTimer(), 0.0);
    EXPECT_FALSE(readable(loop.wakeFd()));       // quiet until the next deadline,
    EXPECT_TRUE(readable(loop.wakeFd(), 2000));  // which wakes a poller
    EXPECT_TRUE(loop.run([&] { return fired.size() == row.delays.size(); }, 5.0));
    EXPECT_EQ(fired, row.order);
    EXPECT_EQ(loop.secondsUntilNextTimer(), -1.0);
  }
}

int64_t gFrozenNs = 1'000'000'000;

TEST(ZefaRunLoopTest, EqualDeadlinesKeepPostingOrder) {
  ZefaRunLoop loop([] { return gFrozenNs; });  // a clock that moves only when told
  std::vector<int> fired;
  for (const int i : {0, 1, 2, 3}) loop.after(i == 2 ? 0.5 : 1.0, [&, i] { fired.push_back(i); });
  EXPECT_EQ(loop.runOnce(), 0u);
  gFrozenNs += 1'000'000'000;
  EXPECT_EQ(loop.runOnce(), 4u);
  EXPECT_EQ(fired, (std::vector<int>{2, 0, 1, 3}));
}

}  // namespace
