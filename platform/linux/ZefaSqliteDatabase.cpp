#include "platform/linux/ZefaSqliteDatabase.h"

#include <errno.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cstring>

#include "ZefaBase/ZefaLog.h"

namespace {

constexpr int kBusyTimeoutMilliseconds = 5000;

// Codes by which SQLite says the file's content is broken, as opposed to a busy, missing or
// unwritable file.
bool isDamage(int code) {
  return (code & 0xff) == SQLITE_CORRUPT || (code & 0xff) == SQLITE_NOTADB;
}

bool exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

}  // namespace

ZefaSqliteDatabase::ZefaSqliteDatabase(std::string path, int fileMode, std::string schema)
    : path_(std::move(path)), fileMode_(fileMode), schema_(std::move(schema)) {
  open();
  report("");
}

ZefaSqliteDatabase::~ZefaSqliteDatabase() {
  for (const auto& statement : statements_) statement->finalize();
  sqlite3_close(database_);
}

ZefaSqliteDatabase::Statement& ZefaSqliteDatabase::statement(std::string sql) {
  statements_.push_back(std::unique_ptr<Statement>(new Statement(*this, std::move(sql))));
  if (database_) statements_.back()->prepare();
  return *statements_.back();
}

int ZefaSqliteDatabase::changes() const { return database_ ? sqlite3_changes(database_) : 0; }

bool ZefaSqliteDatabase::write(const std::function<bool()>& operation) {
  if (!database_) open();
  failure_ = SQLITE_OK;
  bool done = database_ && operation();
  if (!done && isDamage(failure_)) {
    recover();
    failure_ = SQLITE_OK;
    done = database_ && operation();
  }
  report(done ? "" : "cannot write " + path_ + ": " + error_);
  return done;
}

bool ZefaSqliteDatabase::read(const std::function<void()>& operation) {
  if (!database_) open();
  failure_ = SQLITE_OK;
  if (database_) operation();
  const bool done = database_ && failure_ == SQLITE_OK;
  if (isDamage(failure_)) recover();
  report("");
  return done;
}

void ZefaSqliteDatabase::open() {
  if (!tryOpen() && isDamage(failure_)) recover();
}

bool ZefaSqliteDatabase::tryOpen() {
  failure_ = SQLITE_OK;
  // Create the file ourselves so that it gets its mode whatever the umask; SQLite gives its -wal
  // and -shm files the mode of the database file.
  const int fd = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, fileMode_);
  if (fd >= 0) {
    ::fchmod(fd, static_cast<mode_t>(fileMode_));
    ::close(fd);
  }
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  if (const int code = sqlite3_open_v2(path_.c_str(), &database_, flags, nullptr);
      code != SQLITE_OK) {
    fail(code);
    close(false);
    return false;
  }
  sqlite3_busy_timeout(database_, kBusyTimeoutMilliseconds);
  // WAL: a crash (even mid-commit) leaves every earlier commit intact; FULL: each commit is
  // synced before the call returns. The quick check reads every page once: cheap for a store
  // of this size, and it finds damage before a write could be lost to it.
  bool ok = execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;") && quickCheck() &&
            execute(schema_.c_str());
  for (const auto& statement : statements_) {
    if (ok) ok = statement->prepare();
  }
  if (!ok) close(false);
  return ok;
}

bool ZefaSqliteDatabase::execute(const char* sql) {
  const int code = sqlite3_exec(database_, sql, nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) fail(code);
  return code == SQLITE_OK;
}

bool ZefaSqliteDatabase::quickCheck() {
  sqlite3_stmt* check = nullptr;
  int code = sqlite3_prepare_v2(database_, "PRAGMA quick_check(1);", -1, &check, nullptr);
  if (code == SQLITE_OK) code = sqlite3_step(check);
  std::string verdict;
  if (code == SQLITE_ROW) {
    const unsigned char* text = sqlite3_column_text(check, 0);
    verdict = text ? reinterpret_cast<const char*>(text) : "";
  } else {
    fail(code);
  }
  sqlite3_finalize(check);
  if (code == SQLITE_ROW && verdict != "ok") {
    // The verdict spans several lines; the log gets one.
    for (size_t at = verdict.find('\n'); at != std::string::npos; at = verdict.find('\n', at)) {
      verdict.replace(at, 1, "; ");
    }
    failure_ = SQLITE_CORRUPT;
    error_ = "integrity check: " + verdict;
  }
  return code == SQLITE_ROW && verdict == "ok";
}

void ZefaSqliteDatabase::close(bool checkpoint) {
  for (const auto& statement : statements_) statement->finalize();
  // Without the checkpoint a damaged file and its log stay exactly as they were found.
  if (database_ && !checkpoint) {
    sqlite3_db_config(database_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  }
  sqlite3_close(database_);
  database_ = nullptr;
}

void ZefaSqliteDatabase::fail(int code) {
  failure_ = code;
  error_ = database_ ? sqlite3_errmsg(database_) : sqlite3_errstr(code);
}

void ZefaSqliteDatabase::recover() {
  const std::string reason = error_;
  close(false);
  const std::string aside = asideName();
  if (::rename(path_.c_str(), aside.c_str()) != 0) {
    note_ =
        path_ + " is damaged (" + reason + ") and cannot be moved aside: " + std::strerror(errno);
    error_ = reason;
    return;
  }
  for (const char* suffix : {"-wal", "-shm"}) {
    if (exists(path_ + suffix)) ::rename((path_ + suffix).c_str(), (aside + suffix).c_str());
  }
  note_ = path_ + " is damaged (" + reason + "); kept it as " + aside + " and started afresh";
  tryOpen();
}

std::string ZefaSqliteDatabase::asideName() const {
  const std::string base = path_ + ".corrupt-" + std::to_string(::time(nullptr));
  std::string name = base;
  for (int count = 2; exists(name); ++count) name = base + "-" + std::to_string(count);
  return name;
}

void ZefaSqliteDatabase::report(const std::string& failure) {
  if (note_.empty() && failure.empty()) return;
  std::string line = note_;
  if (!line.empty() && !failure.empty()) line += "; ";
  line += failure;
  note_.clear();
  ZefaLog::e(line);
}

ZefaSqliteDatabase::Statement::Statement(ZefaSqliteDatabase& database, std::string sql)
    : database_(database), sql_(std::move(sql)) {}

ZefaSqliteDatabase::Statement::~Statement() { finalize(); }

bool ZefaSqliteDatabase::Statement::prepare() {
  const int code = sqlite3_prepare_v3(database_.database_, sql_.c_str(), -1,
                                      SQLITE_PREPARE_PERSISTENT, &statement_, nullptr);
  prepareFailure_ = code;
  if (code == SQLITE_OK) return true;
  database_.fail(code);
  finalize();
  return false;
}

void ZefaSqliteDatabase::Statement::finalize() {
  sqlite3_finalize(statement_);
  statement_ = nullptr;
}

ZefaSqliteDatabase::Statement::Run::Run(Statement& statement) : statement_(statement) {
  // A statement that could not be prepared fails every run the way its preparation failed.
  if (!statement_.statement_) check(statement_.prepareFailure_);
}

ZefaSqliteDatabase::Statement::Run::~Run() {
  if (!statement_.statement_) return;
  sqlite3_reset(statement_.statement_);
  sqlite3_clear_bindings(statement_.statement_);
}

bool ZefaSqliteDatabase::Statement::Run::check(int code) {
  if (code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE) return true;
  ok_ = false;
  statement_.database_.fail(code);
  return false;
}

ZefaSqliteDatabase::Statement::Run& ZefaSqliteDatabase::Statement::Run::bind(
    int index, std::string_view text) {
  if (ok_) {
    check(sqlite3_bind_text(statement_.statement_, index, text.data(),
                            static_cast<int>(text.size()), SQLITE_TRANSIENT));
  }
  return *this;
}

ZefaSqliteDatabase::Statement::Run& ZefaSqliteDatabase::Statement::Run::bindBlob(
    int index, std::string_view bytes) {
  if (ok_) {
    check(sqlite3_bind_blob(statement_.statement_, index, bytes.data(),
                            static_cast<int>(bytes.size()), SQLITE_TRANSIENT));
  }
  return *this;
}

ZefaSqliteDatabase::Statement::Run& ZefaSqliteDatabase::Statement::Run::bind(int index,
                                                                             double value) {
  if (ok_) check(sqlite3_bind_double(statement_.statement_, index, value));
  return *this;
}

bool ZefaSqliteDatabase::Statement::Run::row() {
  if (!ok_) return false;
  const int code = sqlite3_step(statement_.statement_);
  if (code == SQLITE_ROW) return true;
  check(code);  // SQLITE_DONE: no more rows
  return false;
}

bool ZefaSqliteDatabase::Statement::Run::execute() {
  if (!ok_) return false;
  const int code = sqlite3_step(statement_.statement_);
  return check(code) && code == SQLITE_DONE;
}

std::string ZefaSqliteDatabase::Statement::Run::text(int column) const {
  // Blob access keeps bytes exactly, embedded NULs included.
  const void* bytes = sqlite3_column_blob(statement_.statement_, column);
  const int size = sqlite3_column_bytes(statement_.statement_, column);
  if (bytes == nullptr || size <= 0) return std::string();
  return std::string(static_cast<const char*>(bytes), static_cast<size_t>(size));
}

double ZefaSqliteDatabase::Statement::Run::real(int column) const {
  return sqlite3_column_double(statement_.statement_, column);
}
