#include "platform/windows/ZefaWindowsRunLoop.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <thread>

// The queue's rules are tested on ZefaTaskQueue; this is the wake handle.
namespace {

bool signalled(const ZefaWindowsRunLoop& loop, DWORD waitMs = 0) {
  return WaitForSingleObject(reinterpret_cast<HANDLE>(loop.wakeHandle()), waitMs) == WAIT_OBJECT_0;
}

TEST(ZefaWindowsRunLoopTest, WakeHandleIsSignalledExactlyWhileTasksWait) {
  ZefaWindowsRunLoop loop;
  EXPECT_FALSE(signalled(loop));
  std::thread([&] { loop.async([] {}); }).join();
  EXPECT_TRUE(signalled(loop));
  EXPECT_EQ(loop.runOnce(), 1u);
  EXPECT_FALSE(signalled(loop));
}

TEST(ZefaWindowsRunLoopTest, WakeHandleIsSignalledFromTheEarliestDeadline) {
  ZefaWindowsRunLoop loop;
  int fired = 0;
  loop.after(0.4, [&] { ++fired; });
  loop.after(0.2, [&] { ++fired; });
  loop.async([] {});
  EXPECT_EQ(loop.runOnce(), 1u);
  EXPECT_FALSE(signalled(loop, 100));  // the timers are not due yet
  EXPECT_TRUE(signalled(loop, 2000));
  EXPECT_TRUE(loop.run([&] { return fired == 1; }, 2.0));  // the system may wake a little early
  EXPECT_FALSE(signalled(loop));                           // quiet until the next deadline
  EXPECT_TRUE(signalled(loop, 2000));
  EXPECT_TRUE(loop.run([&] { return fired == 2; }, 5.0));
  EXPECT_FALSE(signalled(loop));
}

}  // namespace
