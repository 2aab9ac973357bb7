#pragma once
// One SQLite file set up for a small durable store: WAL journal, full sync on commit (a write is
// on disk when the call returns), a busy timeout so that several processes can share the file,
// and prepared statements that are reused. Not thread-safe: its owner serialises use.
//
// A file that SQLite finds damaged (not a database, or malformed: when it is opened, in the quick
// integrity check made then, or in any later statement) is moved aside and kept, with its -wal
// and -shm files, as "<file>.corrupt-<unix time>", and a fresh file takes its place, so the store
// keeps working. Each such move and each failed write writes one error line to the log.
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ZefaBase/ZefaExport.h"

struct sqlite3;
struct sqlite3_stmt;

class ZEFA_EXPORT ZefaSqliteDatabase {
 public:
  // A statement owned by its database, prepared again whenever the file is reopened. Each run
  // starts with bind() calls and ends when the Run object goes out of scope (the statement is
  // reset and its bindings cleared). A failed step is reported to the database.
  class Statement {
   public:
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    class Run {
     public:
      explicit Run(Statement& statement);
      ~Run();
      Run(const Run&) = delete;
      Run& operator=(const Run&) = delete;
      Run& bind(int index, std::string_view text);
      Run& bindBlob(int index, std::string_view bytes);
      Run& bind(int index, double value);
      // Advances to the next row; true while a row is available.
      bool row();
      // Runs a statement that returns no rows; true when it completed.
      bool execute();
      std::string text(int column) const;
      double real(int column) const;

     private:
      bool check(int code);
      Statement& statement_;
      bool ok_ = true;
    };
    Run run() { return Run(*this); }

   private:
    friend class ZefaSqliteDatabase;
    Statement(ZefaSqliteDatabase& database, std::string sql);
    bool prepare();
    void finalize();
    ZefaSqliteDatabase& database_;
    std::string sql_;
    sqlite3_stmt* statement_ = nullptr;
    int prepareFailure_ = 0;
  };

  // Opens or creates the file at `path` (a new file gets `fileMode`, whatever the umask) and runs
  // `schema`, statements that create the tables, on it.
  ZefaSqliteDatabase(std::string path, int fileMode, std::string schema);
  ~ZefaSqliteDatabase();
  ZefaSqliteDatabase(const ZefaSqliteDatabase&) = delete;
  ZefaSqliteDatabase& operator=(const ZefaSqliteDatabase&) = delete;

  // A statement that lives as long as the database.
  Statement& statement(std::string sql);

  // Rows changed by the last completed INSERT, UPDATE or DELETE.
  int changes() const;

  // Runs `operation`, made of statement runs; true when it succeeded. A file that could not be
  // opened is tried again first. An operation that finds the file damaged runs once more on a
  // fresh file. A write that fails in the end is logged.
  bool write(const std::function<bool()>& operation);
  // Runs a reading `operation`; false when it failed. When it finds the file damaged the file is
  // moved aside.
  bool read(const std::function<void()>& operation);

 private:
  // Opens the file and checks it; a damaged file is moved aside and a fresh one opened.
  void open();
  // One attempt at opening: true when open, else `failure_` and `error_` tell why.
  bool tryOpen();
  bool execute(const char* sql);
  bool quickCheck();
  // Closes the connection; without `checkpoint` the file and its -wal stay as they are.
  void close(bool checkpoint);
  void fail(int code);
  // Moves the damaged file aside and opens a fresh one; notes what it did for report().
  void recover();
  // "<path>.corrupt-<unix time>", with a counter when that name is taken.
  std::string asideName() const;
  // Logs one error line made of the pending note and `failure`, when there is either.
  void report(const std::string& failure);

  std::string path_;
  int fileMode_;
  std::string schema_;
  sqlite3* database_ = nullptr;
  std::vector<std::unique_ptr<Statement>> statements_;
  // The result code and message of the last failure since the last operation began.
  int failure_ = 0;
  std::string error_;
  // What recover() did, waiting to be logged.
  std::string note_;
};
