#include "platform/ZefaTaskQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// Records what a platform loop would be told to show on its wake handle.
class RecordingQueue final : public ZefaTaskQueue {
 public:
  using ZefaTaskQueue::ZefaTaskQueue;
  std::vector<WakeState> states;

 private:
  void wakeStateChanged(const WakeState& state) override { states.push_back(state); }
};

TEST(ZefaTaskQueueTest, TasksRunInPostedOrderOnlyWhenDrained) {
  RecordingQueue queue;
  std::vector<int> ran;
  std::thread([&] {
    for (int i = 0; i < 3; ++i) queue.async([&ran, i] { ran.push_back(i); });
  }).join();
  ASSERT_EQ(queue.states.size(), 1u);  // only the first task changes the wake state
  EXPECT_TRUE(queue.states.back().tasksWaiting);
  queue.async([&] {  // work posted while draining waits for the next drain
    queue.async([&] { ran.push_back(10); });
    queue.after(0, [&] { ran.push_back(11); });
  });
  queue.async([] { throw std::runtime_error("task failed"); });
  queue.async([&] { ran.push_back(4); });
  EXPECT_TRUE(ran.empty());
  EXPECT_THROW(queue.runOnce(), std::runtime_error);  // the rest stays queued, in order
  EXPECT_EQ(ran, (std::vector<int>{0, 1, 2}));
  EXPECT_TRUE(queue.states.back().tasksWaiting);
  EXPECT_EQ(queue.runOnce(), 3u);
  EXPECT_EQ(ran, (std::vector<int>{0, 1, 2, 4, 10, 11}));
  EXPECT_FALSE(queue.states.back().tasksWaiting);
  EXPECT_EQ(queue.states.back().earliestDeadlineNs, -1);
  EXPECT_EQ(queue.runOnce(), 0u);
  EXPECT_FALSE(queue.isDrainingThread());
}

TEST(ZefaTaskQueueTest, TasksPostedFromManyThreadsKeepEachThreadsOrder) {
  ZefaTaskQueue queue;
  constexpr size_t kThreads = 4, kPerThread = 2000;
  std::vector<size_t> next(kThreads, 0);  // per thread: the index its next task must carry
  size_t outOfOrder = 0;
  bool alwaysDraining = true;
  std::vector<std::jthread> posters;
  for (size_t t = 0; t < kThreads; ++t) {
    posters.emplace_back([&, t] {
      for (size_t i = 0; i < kPerThread; ++i) {
        queue.async([&, t, i] {
          outOfOrder += next[t]++ != i;
          alwaysDraining = alwaysDraining && queue.isDrainingThread();
        });
      }
    });
  }
  EXPECT_TRUE(queue.run([&] { return next == std::vector<size_t>(kThreads, kPerThread); }, 10));
  EXPECT_EQ(outOfOrder, 0u);
  EXPECT_TRUE(alwaysDraining);
}

TEST(ZefaTaskQueueTest, TimersFireInDeadlineOrderNeverEarly) {
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
    ZefaTaskQueue queue;
    const auto start = Clock::now();
    std::vector<size_t> fired;
    for (size_t i = 0; i < row.delays.size(); ++i) {
      queue.after(row.delays[i], [&, i] {
        fired.push_back(i);
        EXPECT_GE(std::chrono::duration<double>(Clock::now() - start).count(), row.delays[i]);
      });
    }
    EXPECT_EQ(queue.runOnce(), static_cast<size_t>(std::ranges::count_if(
                                   row.delays, [](double d) { return d <= 0; })));
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(60));  // did not wait for a timer
    EXPECT_GT(queue.secondsUntilNextTimer(), 0.0);
    EXPECT_TRUE(queue.run([&] { return fired.size() == row.delays.size(); }, 5.0));
    EXPECT_EQ(fired, row.order);
    EXPECT_EQ(queue.secondsUntilNextTimer(), -1.0);
  }
}

int64_t gFrozenNs = 1'000'000'000;

TEST(ZefaTaskQueueTest, EqualDeadlinesKeepPostingOrderAndMoveTheWakeDeadline) {
  RecordingQueue queue([] { return gFrozenNs; });  // a clock that moves only when told
  std::vector<int> fired;
  for (const int i : {0, 1, 2, 3}) queue.after(i == 2 ? 0.5 : 1.0, [&, i] { fired.push_back(i); });
  ASSERT_EQ(queue.states.size(), 2u);  // the first timer, then the earlier third one
  EXPECT_EQ(queue.states.back().earliestDeadlineNs, gFrozenNs + 500'000'000);
  EXPECT_EQ(queue.runOnce(), 0u);
  EXPECT_TRUE(queue.states.back().draining);
  gFrozenNs += 1'000'000'000;
  EXPECT_EQ(queue.runOnce(), 4u);
  EXPECT_EQ(fired, (std::vector<int>{2, 0, 1, 3}));
  EXPECT_EQ(queue.states.back().earliestDeadlineNs, -1);
}

}  // namespace
