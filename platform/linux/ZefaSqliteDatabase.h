#pragma once
// One SQLite connection set up for small durable stores: WAL journal, full sync on commit (a
// write is on disk when the call returns), a busy timeout so that several processes can share
// the file, and prepared statements that are reused. Not thread-safe: its owner serialises use.
#include <string>
#include <string_view>

#include "ZefaBase/ZefaExport.h"

struct sqlite3;
struct sqlite3_stmt;

class ZEFA_EXPORT ZefaSqliteDatabase {
 public:
  // A statement prepared once and run many times. Each run starts with bind() calls and ends
  // when the Run object goes out of scope (the statement is reset and its bindings cleared).
  class Statement {
   public:
    Statement(ZefaSqliteDatabase& database, const char* sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    bool valid() const { return statement_ != nullptr; }

    class Run {
     public:
      explicit Run(Statement& statement) : statement_(statement.statement_) {}
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
      sqlite3_stmt* statement_;
      bool ok_ = true;
    };
    Run run() { return Run(*this); }

   private:
    sqlite3_stmt* statement_ = nullptr;
  };

  // Opens or creates the database file at `path` with the given file mode for a new file.
  ZefaSqliteDatabase(const std::string& path, int fileMode);
  ~ZefaSqliteDatabase();
  ZefaSqliteDatabase(const ZefaSqliteDatabase&) = delete;
  ZefaSqliteDatabase& operator=(const ZefaSqliteDatabase&) = delete;

  bool isOpen() const { return database_ != nullptr; }
  // The last error SQLite reported, for diagnostics.
  std::string lastError() const;
  // Runs one or more statements that return no rows; true on success.
  bool execute(const char* sql);
  // Rows changed by the last completed INSERT, UPDATE or DELETE.
  int changes() const;

 private:
  sqlite3* database_ = nullptr;
  std::string openError_;
};
