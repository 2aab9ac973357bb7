#include "platform/linux/ZefaSqliteKeyValueStore.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <set>

#include "tests/platform/ZefaTempDirectory.h"

namespace {

std::string storePath(const ZefaTempDirectory& dir) { return dir.path() + "/defaults.sqlite"; }

// Waits for a child process and returns its exit code, or -1 when it did not exit normally.
int waitExit(pid_t child) {
  int status = 0;
  if (waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

TEST(ZefaSqliteKeyValueStore, StoresReplacesAndRemovesText) {
  ZefaTempDirectory dir;
  ZefaSqliteKeyValueStore store(storePath(dir));
  ASSERT_TRUE(store.isOpen()) << store.lastError();
  const struct {
    const char* name;
    std::string key;
    std::string value;
  } rows[] = {
      {"plain", "k", "v"},
      {"empty value", "empty", ""},
      {"empty key", "", "for the empty key"},
      {"JSON text", "json", R"({"a":[1,2,{"b":null}]})"},
      {"non-ASCII", "clé", "värde ✓"},
      {"embedded NUL", std::string("n\0ul", 4), std::string("a\0b", 3)},
      {"large value", "big", std::string(1 << 20, 'x')},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(store.string(row.key), std::nullopt) << row.name;
    store.setString(row.key, row.value);
    EXPECT_EQ(store.string(row.key), row.value) << row.name;
  }
  store.setString("k", "replaced");
  EXPECT_EQ(store.string("k"), "replaced");
  store.remove("k");
  EXPECT_EQ(store.string("k"), std::nullopt);
  store.remove("never stored");  // removing a missing key is harmless
  EXPECT_EQ(store.string("empty"), "");
}

TEST(ZefaSqliteKeyValueStore, KeepsWritesAcrossReopening) {
  ZefaTempDirectory dir;
  {
    ZefaSqliteKeyValueStore store(storePath(dir));
    store.setString("persisted", "yes");
    store.setString("removed", "no");
    store.remove("removed");
  }
  ZefaSqliteKeyValueStore reopened(storePath(dir));
  EXPECT_EQ(reopened.string("persisted"), "yes");
  EXPECT_EQ(reopened.string("removed"), std::nullopt);
}

TEST(ZefaSqliteKeyValueStore, AStoreThatCannotOpenHoldsNothing) {
  ZefaTempDirectory dir;
  ZefaSqliteKeyValueStore store(dir.path() + "/missing/dir/defaults.sqlite");
  EXPECT_FALSE(store.isOpen());
  EXPECT_FALSE(store.lastError().empty());
  store.setString("k", "v");
  EXPECT_EQ(store.string("k"), std::nullopt);
}

TEST(ZefaSqliteKeyValueStore, TwoProcessesShareTheStore) {
  ZefaTempDirectory dir;
  ZefaSqliteKeyValueStore parent(storePath(dir));
  parent.setString("from parent", "1");
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // The child opens its own connection while the parent's is open.
    int code = 0;
    {
      ZefaSqliteKeyValueStore store(storePath(dir));
      code = store.string("from parent") == "1" ? 0 : 1;
      for (int i = 0; i < 50; ++i) store.setString("child " + std::to_string(i), "c");
      store.setString("from child", "2");
    }
    _exit(code);
  }
  // Parent writes at the same time; the busy timeout lets both go through.
  for (int i = 0; i < 50; ++i) parent.setString("parent " + std::to_string(i), "p");
  ASSERT_EQ(waitExit(child), 0);
  EXPECT_EQ(parent.string("from child"), "2");
  EXPECT_EQ(parent.string("child 49"), "c");
  EXPECT_EQ(parent.string("parent 49"), "p");
}

// A writer killed with SIGKILL in the middle of its write loop: every write that returned before
// the kill is present afterwards, and the file is intact.
TEST(ZefaSqliteKeyValueStore, SurvivesAWriterKilledMidWrite) {
  ZefaTempDirectory dir;
  int pipeFds[2];
  ASSERT_EQ(pipe(pipeFds), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close(pipeFds[0]);
    ZefaSqliteKeyValueStore store(storePath(dir));
    const std::string payload(8192, 'p');  // several pages per write
    for (uint32_t i = 0;; ++i) {
      store.setString("key " + std::to_string(i), std::to_string(i) + payload);
      store.setString("last", std::to_string(i));
      // Reported only once both writes have returned.
      if (write(pipeFds[1], &i, sizeof i) != sizeof i) _exit(2);
    }
  }
  close(pipeFds[1]);
  std::set<uint32_t> completed;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  while (completed.size() < 40 && std::chrono::steady_clock::now() < deadline) {
    pollfd readable{pipeFds[0], POLLIN, 0};
    if (poll(&readable, 1, 100) <= 0) continue;
    uint32_t index = 0;
    if (read(pipeFds[0], &index, sizeof index) == sizeof index) completed.insert(index);
  }
  kill(child, SIGKILL);
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status));
  // Reports still in the pipe were written before the kill.
  uint32_t index = 0;
  while (read(pipeFds[0], &index, sizeof index) == sizeof index) completed.insert(index);
  close(pipeFds[0]);
  ASSERT_FALSE(completed.empty()) << "the writer made no progress";

  ZefaSqliteKeyValueStore store(storePath(dir));
  ASSERT_TRUE(store.isOpen()) << store.lastError();
  const std::string payload(8192, 'p');
  for (const uint32_t i : completed) {
    EXPECT_EQ(store.string("key " + std::to_string(i)), std::to_string(i) + payload) << i;
  }
  const std::optional<std::string> last = store.string("last");
  ASSERT_TRUE(last);
  EXPECT_GE(std::stoul(*last), *completed.rbegin());

  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(storePath(dir).c_str(), &db), SQLITE_OK);
  std::string verdict;
  sqlite3_exec(
      db, "PRAGMA integrity_check;",
      [](void* out, int, char** values, char**) {
        *static_cast<std::string*>(out) = values[0] ? values[0] : "";
        return 0;
      },
      &verdict, nullptr);
  sqlite3_close(db);
  EXPECT_EQ(verdict, "ok");
}

}  // namespace
