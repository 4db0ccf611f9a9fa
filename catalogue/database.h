#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "platform/result.h"

struct sqlite3;
struct sqlite3_stmt;

namespace tonalith {

class Database;

// Result::code of a database whose file is damaged, or is none.
inline constexpr int kDatabaseDamaged = 70;

// A prepared statement.  Parameters count from 1, columns from 0; what a column gives lasts until the next row.
class DatabaseStatement {
 public:
  DatabaseStatement() = default;
  // The database must outlive it.
  DatabaseStatement(Database& database, sqlite3_stmt* statement) : database_(&database), statement_(statement) {}

  DatabaseStatement& Bind(int parameter, std::int64_t value);
  // The bytes have to last until the statement has run.
  DatabaseStatement& Bind(int parameter, std::string_view text);
  DatabaseStatement& BindBytes(int parameter, std::string_view bytes);  // empty: null
  // The next row; false at the end, or when it fails (Database::state).
  bool Row();
  // Runs to the end, for statements without rows, and is ready to run again.
  void Run();
  // Ready to run again.
  void Reset();

  std::int64_t Integer(int column) const;
  std::string_view Bytes(int column) const;  // of a text as well
  explicit operator bool() const { return statement_ != nullptr; }

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const;
  };
  Database* database_ = nullptr;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

// An SQLite database.  Used by one thread at a time.  After a failure `state` says what the first one was.
class Database {
 public:
  Database() = default;
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  ~Database();

  // Makes the file when it is missing; its folder must exist.
  Result Open(const std::string& path);
  void Close();
  bool IsOpen() const { return handle_ != nullptr; }
  // Statements that need no parameters, told apart by semicolons.
  bool Run(const char* statements);
  DatabaseStatement Prepare(const char* statement);
  std::int64_t LastRow() const;
  // A number that a statement of one row gives; 0: it gave none.
  std::int64_t Number(const char* statement);

  // Success, or the first failure since Open or the last call of TakeState.
  Result TakeState();
  bool ok() const { return failed_.ok() && handle_ != nullptr; }
  sqlite3* handle() const { return handle_; }

 private:
  friend class DatabaseStatement;
  void NoteFailure();

  sqlite3* handle_ = nullptr;
  std::string path_;
  Result failed_;
};

}  // namespace tonalith
