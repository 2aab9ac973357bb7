#include "platform/linux/ZefaSqliteDatabase.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr int kBusyTimeoutMilliseconds = 5000;
}  // namespace

ZefaSqliteDatabase::ZefaSqliteDatabase(const std::string& path, int fileMode) {
  // Create the file ourselves so that it gets `fileMode` whatever the umask; SQLite gives its
  // -wal and -shm files the mode of the database file.
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, fileMode);
  if (fd >= 0) {
    ::fchmod(fd, static_cast<mode_t>(fileMode));
    ::close(fd);
  }
  sqlite3* handle = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  if (sqlite3_open_v2(path.c_str(), &handle, flags, nullptr) != SQLITE_OK) {
    openError_ = handle ? sqlite3_errmsg(handle) : "cannot open " + path;
    sqlite3_close(handle);
    return;
  }
  database_ = handle;
  sqlite3_busy_timeout(database_, kBusyTimeoutMilliseconds);
  // WAL: a crash (even mid-commit) leaves every earlier commit intact; FULL: each commit is
  // synced before the call returns.
  if (!execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;")) {
    openError_ = lastError();
    sqlite3_close(database_);
    database_ = nullptr;
  }
}

ZefaSqliteDatabase::~ZefaSqliteDatabase() { sqlite3_close(database_); }

std::string ZefaSqliteDatabase::lastError() const {
  return database_ ? sqlite3_errmsg(database_) : openError_;
}

bool ZefaSqliteDatabase::execute(const char* sql) {
  return database_ && sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

int ZefaSqliteDatabase::changes() const { return database_ ? sqlite3_changes(database_) : 0; }

ZefaSqliteDatabase::Statement::Statement(ZefaSqliteDatabase& database, const char* sql) {
  if (!database.database_) return;
  if (sqlite3_prepare_v3(database.database_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement_,
                         nullptr) != SQLITE_OK) {
    sqlite3_finalize(statement_);
    statement_ = nullptr;
  }
}

ZefaSqliteDatabase::Statement::~Statement() { sqlite3_finalize(statement_); }

ZefaSqliteDatabase::Statement::Run::~Run() {
  if (!statement_) return;
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

ZefaSqliteDatabase::Statement::Run& ZefaSqliteDatabase::Statement::Run::bind(
    int index, std::string_view text) {
  if (statement_ && sqlite3_bind_text(statement_, index, text.data(), static_cast<int>(text.size()),
                                      SQLITE_TRANSIENT) != SQLITE_OK) {
    ok_ = false;
  }
  return *this;
}

ZefaSqliteDatabase::Statement::Run& ZefaSqliteDatabase::Statement::Run::bindBlob(
    int index, std::string_view bytes) {
  if (statement_ &&
      sqlite3_bind_blob(statement_, index, bytes.data(), static_cast<int>(bytes.size()),
                        SQLITE_TRANSIENT) != SQLITE_OK) {
    ok_ = false;
  }
  return *this;
}

ZefaSqliteDatabase::Statement::Run& ZefaSqliteDatabase::Statement::Run::bind(int index,
                                                                             double value) {
  if (statement_ && sqlite3_bind_double(statement_, index, value) != SQLITE_OK) ok_ = false;
  return *this;
}

bool ZefaSqliteDatabase::Statement::Run::row() {
  return statement_ && ok_ && sqlite3_step(statement_) == SQLITE_ROW;
}

bool ZefaSqliteDatabase::Statement::Run::execute() {
  return statement_ && ok_ && sqlite3_step(statement_) == SQLITE_DONE;
}

std::string ZefaSqliteDatabase::Statement::Run::text(int column) const {
  // Blob access keeps bytes exactly, embedded NULs included.
  const void* bytes = sqlite3_column_blob(statement_, column);
  const int size = sqlite3_column_bytes(statement_, column);
  if (bytes == nullptr || size <= 0) return std::string();
  return std::string(static_cast<const char*>(bytes), static_cast<size_t>(size));
}

double ZefaSqliteDatabase::Statement::Run::real(int column) const {
  return sqlite3_column_double(statement_, column);
}
