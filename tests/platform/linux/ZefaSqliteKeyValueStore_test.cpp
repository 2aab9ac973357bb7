#include "platform/linux/ZefaSqliteKeyValueStore.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>

#include "tests/platform/ZefaTestMachine.h"

namespace {

TEST(ZefaSqliteKeyValueStore, StoresReplacesAndRemovesText) {
  ZefaTempDirectory dir;
  const std::string path = dir.path() + "/defaults.sqlite";
  {
    ZefaSqliteKeyValueStore store(path);
    for (const auto& [key, value] : std::initializer_list<std::pair<std::string, std::string>>{
             {"k", "v"},
             {"", "empty key"},
             {"clé", "värde ✓"},
             {std::string("n\0ul", 4), std::string("a\0b", 3)},
             {"big", std::string(1 << 20, 'x')}}) {
      EXPECT_EQ(store.string(key), std::nullopt) << key;
      EXPECT_TRUE(store.setString(key, value)) << key;
      EXPECT_EQ(store.string(key), value) << key;
    }
    EXPECT_TRUE(store.setString("k", "") && store.setString("removed", "x"));
    EXPECT_TRUE(store.remove("removed"));
  }
  ZefaSqliteKeyValueStore reopened(path);
  EXPECT_EQ(reopened.string("k"), "") << "replaced by empty text";
  EXPECT_EQ(reopened.string("removed"), std::nullopt);
}

// The busy timeout lets two processes write at once.
TEST(ZefaSqliteKeyValueStore, TwoProcessesWriteTheStoreAtOnce) {
  ZefaTempDirectory dir;
  const std::string path = dir.path() + "/defaults.sqlite";
  ZefaSqliteKeyValueStore parent(path);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  const std::string writer = child == 0 ? "child " : "parent ";
  {
    ZefaSqliteKeyValueStore store(path);
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(store.setString(writer + std::to_string(i), writer));
  }
  if (child == 0) _exit(0);
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_EQ(parent.string("child 49"), "child ");
  EXPECT_EQ(parent.string("parent 49"), "parent ");
}

// A writer killed with SIGKILL in the middle of its write loop: every write that returned before
// the kill is present afterwards (a damaged file would have been moved aside on reopening).
TEST(ZefaSqliteKeyValueStore, SurvivesAWriterKilledMidWrite) {
  ZefaTempDirectory dir;
  const std::string path = dir.path() + "/defaults.sqlite";
  const std::string payload(8192, 'p');  // several pages per write
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close(fds[0]);
    ZefaSqliteKeyValueStore store(path);
    for (uint32_t i = 0;; ++i) {
      store.setString("key " + std::to_string(i), std::to_string(i) + payload);
      if (write(fds[1], &i, sizeof i) != sizeof i) _exit(2);  // only once the write returned
    }
  }
  close(fds[1]);
  std::set<uint32_t> completed;
  uint32_t index = 0;
  while (completed.size() < 40 && read(fds[0], &index, sizeof index) == sizeof index) {
    completed.insert(index);
  }
  kill(child, SIGKILL);
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status));
  while (read(fds[0], &index, sizeof index) == sizeof index) completed.insert(index);
  close(fds[0]);
  ASSERT_FALSE(completed.empty()) << "the writer made no progress";

  ZefaSqliteKeyValueStore store(path);
  for (const uint32_t i : completed) {
    EXPECT_EQ(store.string("key " + std::to_string(i)), std::to_string(i) + payload) << i;
  }
}

}  // namespace
