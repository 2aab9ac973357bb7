#include "platform/linux/ZefaSqliteKeyValueStore.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <set>

#include "tests/platform/ZefaTestMachine.h"

namespace {

std::string storePath(const ZefaTempDirectory& dir) { return dir.path() + "/defaults.sqlite"; }

TEST(ZefaSqliteKeyValueStore, StoresReplacesAndRemovesText) {
  ZefaTempDirectory dir;
  {
    ZefaSqliteKeyValueStore store(storePath(dir));
    ASSERT_TRUE(store.isOpen()) << store.lastError();
    for (const auto& [key, value] : {std::pair<std::string, std::string>{"k", "v"},
                                     {"empty", ""},
                                     {"", "for the empty key"},
                                     {"clé", "värde ✓"},
                                     {std::string("n\0ul", 4), std::string("a\0b", 3)},
                                     {"big", std::string(1 << 20, 'x')}}) {
      EXPECT_EQ(store.string(key), std::nullopt) << key;
      store.setString(key, value);
      EXPECT_EQ(store.string(key), value) << key;
    }
    store.setString("k", "replaced");
    store.setString("removed", "x");
    store.remove("removed");
    store.remove("never stored");
  }
  ZefaSqliteKeyValueStore reopened(storePath(dir));
  EXPECT_EQ(reopened.string("k"), "replaced");
  EXPECT_EQ(reopened.string("empty"), "");
  EXPECT_EQ(reopened.string("removed"), std::nullopt);
  ZefaSqliteKeyValueStore unopenable(dir.path() + "/missing/defaults.sqlite");
  EXPECT_FALSE(unopenable.isOpen());
  unopenable.setString("k", "v");  // ignored, no crash
  EXPECT_EQ(unopenable.string("k"), std::nullopt);
}

TEST(ZefaSqliteKeyValueStore, TwoProcessesWriteTheStoreAtOnce) {
  ZefaTempDirectory dir;
  ZefaSqliteKeyValueStore parent(storePath(dir));
  parent.setString("from parent", "1");
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    int code = 0;
    {
      ZefaSqliteKeyValueStore store(storePath(dir));
      code = store.string("from parent") == "1" ? 0 : 1;
      for (int i = 0; i < 50; ++i) store.setString("child " + std::to_string(i), "c");
    }
    _exit(code);
  }
  // The busy timeout lets both writers through.
  for (int i = 0; i < 50; ++i) parent.setString("parent " + std::to_string(i), "p");
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(parent.string("child 49"), "c");
  EXPECT_EQ(parent.string("parent 49"), "p");
}

// A writer killed with SIGKILL in the middle of its write loop: every write that returned before
// the kill is present afterwards, and the file is intact.
TEST(ZefaSqliteKeyValueStore, SurvivesAWriterKilledMidWrite) {
  ZefaTempDirectory dir;
  const std::string payload(8192, 'p');  // several pages per write
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close(fds[0]);
    ZefaSqliteKeyValueStore store(storePath(dir));
    for (uint32_t i = 0;; ++i) {
      store.setString("key " + std::to_string(i), std::to_string(i) + payload);
      // Reported only once the write has returned.
      if (write(fds[1], &i, sizeof i) != sizeof i) _exit(2);
    }
  }
  close(fds[1]);
  std::set<uint32_t> completed;
  uint32_t index = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  while (completed.size() < 40 && std::chrono::steady_clock::now() < deadline) {
    pollfd readable{fds[0], POLLIN, 0};
    if (poll(&readable, 1, 100) > 0 && read(fds[0], &index, sizeof index) == sizeof index) {
      completed.insert(index);
    }
  }
  kill(child, SIGKILL);
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status));
  while (read(fds[0], &index, sizeof index) == sizeof index) completed.insert(index);
  close(fds[0]);
  ASSERT_FALSE(completed.empty()) << "the writer made no progress";

  ZefaSqliteKeyValueStore store(storePath(dir));
  for (const uint32_t i : completed) {
    EXPECT_EQ(store.string("key " + std::to_string(i)), std::to_string(i) + payload) << i;
  }
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(storePath(dir).c_str(), &db), SQLITE_OK);
  sqlite3_stmt* check = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(db, "PRAGMA integrity_check;", -1, &check, nullptr), SQLITE_OK);
  ASSERT_EQ(sqlite3_step(check), SQLITE_ROW);
  EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(check, 0)), "ok");
  sqlite3_finalize(check);
  sqlite3_close(db);
}

}  // namespace
