#include "platform/linux/ZefaRunLoop.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <thread>

// The queue's rules are tested on ZefaTaskQueue; this is the wake descriptor.
namespace {

bool readable(int fd, int waitMs = 0) {
  pollfd watched{fd, POLLIN, 0};
  return ::poll(&watched, 1, waitMs) == 1 && (watched.revents & POLLIN) != 0;
}

TEST(ZefaRunLoopTest, WakeDescriptorIsReadableExactlyWhileTasksWait) {
  ZefaRunLoop loop;
  EXPECT_FALSE(readable(loop.wakeFd()));
  EXPECT_EQ(loop.wakeHandle(), loop.wakeFd());
  std::thread([&] { loop.async([] {}); }).join();
  EXPECT_TRUE(readable(loop.wakeFd()));
  EXPECT_EQ(loop.runOnce(), 1u);
  EXPECT_FALSE(readable(loop.wakeFd()));

  ZefaRunLoop askedLate;  // a task that was waiting before the descriptor was asked for
  askedLate.async([] {});
  EXPECT_TRUE(readable(askedLate.wakeFd()));
}

TEST(ZefaRunLoopTest, WakeDescriptorBecomesReadableAtTheEarliestDeadline) {
  ZefaRunLoop loop;
  int fired = 0;
  loop.after(0.2, [&] { ++fired; });
  loop.after(0.1, [&] { ++fired; });
  EXPECT_FALSE(readable(loop.wakeFd()));
  EXPECT_TRUE(readable(loop.wakeFd(), 2000));
  EXPECT_EQ(loop.runOnce(), 1u);
  EXPECT_FALSE(readable(loop.wakeFd()));  // quiet until the next deadline
  EXPECT_TRUE(readable(loop.wakeFd(), 2000));
  EXPECT_TRUE(loop.run([&] { return fired == 2; }, 5.0));
  EXPECT_FALSE(readable(loop.wakeFd()));
}

}  // namespace
