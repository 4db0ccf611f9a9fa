#include "catalogue/database.h"

#include <sqlite3.h>

namespace tonalith {

namespace {

constexpr int kBusyMs = 10'000;

}  // namespace

void DatabaseStatement::Finalize::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

DatabaseStatement& DatabaseStatement::Bind(int parameter, std::int64_t value) {
  sqlite3_bind_int64(statement_.get(), parameter, value);
  return *this;
}

DatabaseStatement& DatabaseStatement::Bind(int parameter, std::string_view text) {
  sqlite3_bind_text64(statement_.get(), parameter, text.data() ? text.data() : "", text.size(), SQLITE_STATIC,
                      SQLITE_UTF8);
  return *this;
}

DatabaseStatement& DatabaseStatement::BindBytes(int parameter, std::string_view bytes) {
  if (bytes.empty())
    sqlite3_bind_null(statement_.get(), parameter);
  else
    sqlite3_bind_blob64(statement_.get(), parameter, bytes.data(), bytes.size(), SQLITE_STATIC);
  return *this;
}

bool DatabaseStatement::Row() {
  if (!statement_) return false;
  const int code = sqlite3_step(statement_.get());
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) database_->NoteFailure();
  return false;
}

void DatabaseStatement::Run() {
  while (Row()) continue;
  Reset();
}

void DatabaseStatement::Reset() {
  sqlite3_reset(statement_.get());
}

std::int64_t DatabaseStatement::Integer(int column) const {
  return sqlite3_column_int64(statement_.get(), column);
}

std::string_view DatabaseStatement::Bytes(int column) const {
  const void* bytes = sqlite3_column_blob(statement_.get(), column);
  const int size = sqlite3_column_bytes(statement_.get(), column);
  return {static_cast<const char*>(bytes), bytes ? static_cast<std::size_t>(size) : 0};
}

Database::~Database() {
  Close();
}

Result Database::Open(const std::string& path) {
  Close();
  path_ = path;
  failed_ = {};
  const int code = sqlite3_open_v2(path.c_str(), &handle_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  if (code != SQLITE_OK) NoteFailure();
  if (handle_) sqlite3_busy_timeout(handle_, kBusyMs);
  Result result = TakeState();
  if (!result.ok()) Close();
  return result;
}

void Database::Close() {
  // Statements that are still there keep it open until they are gone.
  sqlite3_close_v2(handle_);
  handle_ = nullptr;
}

bool Database::Run(const char* statements) {
  if (!handle_ || !failed_.ok()) return false;
  if (sqlite3_exec(handle_, statements, nullptr, nullptr, nullptr) != SQLITE_OK) NoteFailure();
  return failed_.ok();
}

DatabaseStatement Database::Prepare(const char* statement) {
  sqlite3_stmt* prepared = nullptr;
  if (handle_ && sqlite3_prepare_v2(handle_, statement, -1, &prepared, nullptr) != SQLITE_OK) NoteFailure();
  return {*this, prepared};
}

std::int64_t Database::LastRow() const {
  return sqlite3_last_insert_rowid(handle_);
}

std::int64_t Database::Number(const char* statement) {
  DatabaseStatement prepared = Prepare(statement);
  return prepared.Row() ? prepared.Integer(0) : 0;
}

Result Database::TakeState() {
  Result state;
  std::swap(state, failed_);
  return state;
}

void Database::NoteFailure() {
  if (!failed_.ok()) return;
  const int code = handle_ ? sqlite3_errcode(handle_) & 0xFF : SQLITE_NOMEM;
  const bool isDamaged = code == SQLITE_CORRUPT || code == SQLITE_NOTADB || code == SQLITE_FORMAT;
  const std::string why = handle_ ? sqlite3_errmsg(handle_) : "there is not enough memory";
  failed_ =
      Result::Failure("The database " + path_ + " cannot be used: " + why + ".", isDamaged ? kDatabaseDamaged : 1);
}

}  // namespace tonalith
