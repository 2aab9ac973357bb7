#include "platform/linux/ZefaSqliteDatabase.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/ZefaUserDefaults.h"
#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaSqliteKeyValueStore.h"
#include "platform/linux/ZefaSqliteKeychain.h"
#include "tests/platform/ZefaTestMachine.h"
#include "tests/support/ZefaLogCapture.h"

namespace {

namespace fs = std::filesystem;

// Writes `size` bytes that make no sense to SQLite from `offset` on.
void scramble(const std::string& path, uintmax_t offset, uintmax_t size) {
  std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
  file.seekp(static_cast<std::streamoff>(offset));
  file << std::string(size, '\xa5');
}

// Installs the store of `file` in `directory`; writes and reads back through the library's
// operations, true when the value was stored.
void install(const std::string& file, const std::string& directory) {
  if (file == ZefaSqliteKeychain::kFileName) {
    ZefaPlatform::current().install(std::make_shared<ZefaSqliteKeychain>(directory));
  } else {
    ZefaPlatform::current().install(std::make_shared<ZefaSqliteKeyValueStore>(directory + file));
  }
}
bool write(const std::string& file, const std::string& key, const std::string& value) {
  if (file != ZefaSqliteKeychain::kFileName) {
    return ZefaUserDefaults::standard().addModel(key, std::vector{value}) &&
           ZefaUserDefaults::standard().model<std::vector<std::string>>(key) == std::vector{value};
  }
  ZefaSDKUtils::saveInKeyChain("S", key, value);
  return ZefaSDKUtils::getFromKeyChain("S", key) == value;
}

// A damaged file is kept aside as it was and a fresh file takes the write; a file that cannot be
// opened fails the write and is used once it can be. Either way one error line names the file.
TEST(ZefaSqliteDatabase, ADamagedOrUnopenableFileCostsOneLogLineAndNoLaterWrite) {
  using Damage = std::function<void(const std::string& path)>;
  // What happens to the file; whether it happens under the open store; whether the first write
  // after it is stored.
  const std::tuple<const char*, Damage, bool, bool> damages[] = {
      {"truncated", [](auto& path) { fs::resize_file(path, fs::file_size(path) / 2 + 100); }, false,
       true},
      {"garbage", [](auto& path) { scramble(path, 0, fs::file_size(path)); }, false, true},
      {"a scrambled page in the middle",
       [](auto& path) { scramble(path, fs::file_size(path) / 2 / 4096 * 4096, 4096); }, false,
       true},
      {"all but the first page scrambled under the open store",
       [](auto& path) {
         scramble(path, 4096, fs::file_size(path) - 4096);
         // Another connection's commit makes the open store read the file afresh.
         sqlite3* other = nullptr;
         sqlite3_open(path.c_str(), &other);
         sqlite3_exec(other, "CREATE TABLE touched(x);", nullptr, nullptr, nullptr);
         sqlite3_close(other);
       },
       true, true},
      {"a directory in its place", [](auto& path) { fs::remove(path), fs::create_directory(path); },
       false, false},
  };
  for (const std::string file : {"defaults.sqlite", "keychain.sqlite"}) {
    for (const auto& [name, damage, whileOpen, stored] : damages) {
      const std::string row = file + ", " + name;
      ZefaTempDirectory dir;
      const std::string path = dir.path() + "/" + file;
      install(file, dir.path() + "/");
      for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(write(file, std::to_string(i), std::string(3000, 'o')));
      ZefaPlatform::current().reset();  // closes the file: everything is in it, no -wal
      if (whileOpen) install(file, dir.path() + "/");
      damage(path);
      const std::string damaged = stored ? zefaFileContent(path) : "";
      ZefaLogCapture capture;
      if (!whileOpen) install(file, dir.path() + "/");
      EXPECT_EQ(write(file, "login", "first"), stored) << row;
      if (!stored) fs::remove(path);
      EXPECT_TRUE(write(file, "login", "next")) << row;
      const std::vector<std::string> lines = capture.entries();
      ASSERT_EQ(lines.size(), 1u) << row;
      EXPECT_TRUE(lines[0].starts_with("[E]") && lines[0].find('\n') == std::string::npos &&
                  lines[0].find(path) != std::string::npos)
          << row << ": " << lines[0];
      if (!stored) continue;
      // The line says where the file went: beside the fresh one, with the bytes it had.
      const size_t as = lines[0].find(" as " + path + ".corrupt-") + 4;
      ASSERT_NE(as, std::string::npos + 4) << row << ": " << lines[0];
      EXPECT_EQ(zefaFileContent(lines[0].substr(as, lines[0].find(' ', as) - as)), damaged) << row;
    }
  }
  ZefaPlatform::current().reset();
}

}  // namespace
