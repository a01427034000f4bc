#include "modern/archive/Database.h"

#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <thread>
#include <utility>

#include "modern/archive/WordTokenizer.h"

namespace quillmoria {
namespace {

constinit std::atomic<std::chrono::milliseconds> patience{std::chrono::milliseconds(5000)};
constexpr std::chrono::milliseconds kLongestWait{50};

struct KnownCode {
  int code;
  ArchiveProblem problem;
  const char* text;
};

constexpr KnownCode kKnownCodes[] = {
    {SQLITE_BUSY, ArchiveProblem::Locked, "the archive is in use by another program"},
    {SQLITE_LOCKED, ArchiveProblem::Locked, "the archive is in use by another program"},
    {SQLITE_FULL, ArchiveProblem::Full, "the disk is full"},
    {SQLITE_READONLY, ArchiveProblem::NoAccess, "the archive cannot be written"},
    {SQLITE_CANTOPEN, ArchiveProblem::NoAccess, "the archive cannot be opened"},
    {SQLITE_PERM, ArchiveProblem::NoAccess, "the archive must not be opened"},
    {SQLITE_AUTH, ArchiveProblem::NoAccess, "the archive must not be opened"},
    {SQLITE_CORRUPT, ArchiveProblem::Damaged, "the archive is damaged"},
    {SQLITE_NOTADB, ArchiveProblem::Damaged, "the archive is damaged"},
};

[[noreturn]] void throwError(int code, const char* text) {
  const int primary = code & 0xff;
  if (primary == SQLITE_NOMEM || code == SQLITE_IOERR_NOMEM) throw std::bad_alloc();
  const auto* const known = std::ranges::find(kKnownCodes, primary, &KnownCode::code);
  if (known != std::end(kKnownCodes)) throw ArchiveError(known->problem, known->text);
  throw ArchiveError(ArchiveProblem::Failed, std::string("the archive: ").append(text));
}

void check(sqlite3_stmt* statement, int code) {
  if (code != SQLITE_OK) throwError(code, sqlite3_errmsg(sqlite3_db_handle(statement)));
}

}  // namespace

void setPatience(std::chrono::milliseconds wanted) { patience = wanted; }

Rows::Rows(Rows&& other) noexcept : statement_(std::exchange(other.statement_, nullptr)) {}

Rows::~Rows() {
  if (!statement_) return;
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);  // bound texts are the caller's, and may go
}

bool Rows::next() {
  const int code = sqlite3_step(statement_);
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  throwError(sqlite3_extended_errcode(sqlite3_db_handle(statement_)), sqlite3_errmsg(sqlite3_db_handle(statement_)));
}

std::int64_t Rows::integer(int column) const { return sqlite3_column_int64(statement_, column); }

std::string_view Rows::text(int column) const {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  if (text) return {text, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
  if (!isNull(column)) throw std::bad_alloc();
  return {};
}

bool Rows::isNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }

CTime Rows::moment(int column) const {
  return CTime(static_cast<std::int32_t>(std::clamp<std::int64_t>(integer(column), -1, INT32_MAX)));
}

void Database::Close::operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
void Database::Close::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

Database::Database(const std::string& path) : patience_(std::make_unique<Patience>(Patience{patience.load()})) {
  constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW |
                         SQLITE_OPEN_EXRESCODE | SQLITE_OPEN_PRIVATECACHE;
  sqlite3* made = nullptr;
  const int code = sqlite3_open_v2(path.c_str(), &made, kFlags, nullptr);
  connection_.reset(made);
  if (!made) throw std::bad_alloc();
  if (code != SQLITE_OK) fail(code);
  configure();
}

Database::Database(Database&&) noexcept = default;
Database& Database::operator=(Database&&) noexcept = default;
Database::~Database() = default;

/// The file may have come from anywhere: what it says of itself must neither run nor write beyond its tables.
void Database::configure() {
  sqlite3* const connection = connection_.get();
  sqlite3_busy_handler(connection, &Database::wait, patience_.get());
  sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_FKEY, 1, nullptr);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
  if (const int code = registerWordTokenizer(connection); code != SQLITE_OK) fail(code);
  execute(
      "PRAGMA cell_size_check = ON; PRAGMA synchronous = NORMAL; PRAGMA cache_size = -8000; PRAGMA wal_autocheckpoint "
      "= 4000;");
  // Fails at once where another is just about to do the same.
  sqlite3_exec(connection, "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr);
}

void Database::bePatient() { patience_->left = patience.load(); }

int Database::wait(void* context, int attempt) {
  auto& left = static_cast<Patience*>(context)->left;
  const std::chrono::milliseconds pause = std::min({std::chrono::milliseconds(1 + 2 * attempt), kLongestWait, left});
  if (pause.count() <= 0) return 0;
  left -= pause;
  std::this_thread::sleep_for(pause);
  return 1;
}

void Database::execute(const char* sql) {
  const int code = sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) fail(code);
}

void Database::insert(std::string_view sql, const Rows& row) {
  sqlite3_stmt* const statement = prepare(sql);
  Rows inserted(statement);
  for (int column = 0; column < sqlite3_column_count(row.statement_); ++column) {
    check(statement, sqlite3_bind_value(statement, column + 1, sqlite3_column_value(row.statement_, column)));
  }
  while (inserted.next()) {
  }
}

void Database::keepLog() { sqlite3_db_config(connection_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr); }

sqlite3_stmt* Database::prepare(std::string_view sql) {
  const auto known = statements_.find(sql);
  if (known != statements_.end()) return known->second.get();
  sqlite3_stmt* made = nullptr;
  const int code = sqlite3_prepare_v3(connection_.get(), sql.data(), static_cast<int>(sql.size()),
                                      SQLITE_PREPARE_PERSISTENT, &made, nullptr);
  std::unique_ptr<sqlite3_stmt, Close> statement(made);
  if (code != SQLITE_OK) fail(code);
  return statements_.emplace(sql, std::move(statement)).first->second.get();
}

bool Database::hasMoved() const {
  int answer = 0;
  return sqlite3_file_control(connection_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &answer) == SQLITE_OK && answer != 0;
}

std::int64_t Database::changes() const { return sqlite3_changes64(connection_.get()); }

void Database::fail(int code) const { throwError(code, sqlite3_errmsg(connection_.get())); }

void Database::bind(sqlite3_stmt* statement, int position, std::int64_t value) {
  check(statement, sqlite3_bind_int64(statement, position, value));
}

void Database::bind(sqlite3_stmt* statement, int position, std::string_view value) {
  // A view without bytes may have no address, which would stand for NULL.
  const char* const bytes = value.data() ? value.data() : "";
  check(statement, sqlite3_bind_text64(statement, position, bytes, value.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void Database::bind(sqlite3_stmt* statement, int position, std::nullptr_t) {
  check(statement, sqlite3_bind_null(statement, position));
}

Snapshot::Snapshot(Database& database) : database_(database) { database_.run("BEGIN"); }

Snapshot::~Snapshot() {
  try {
    database_.run("ROLLBACK");
  } catch (const std::exception&) {
    // An error has ended it already.
  }
}

LargeCache::~LargeCache() {
  sqlite3_exec(database_.handle(), "PRAGMA cache_size = -8000; PRAGMA shrink_memory", nullptr, nullptr, nullptr);
}

Transaction::Transaction(Database& database) : database_(database) { database_.run("BEGIN IMMEDIATE"); }

Transaction::~Transaction() {
  if (!isOpen_) return;
  try {
    database_.run("ROLLBACK");
  } catch (const std::exception&) {
    // An error has ended it already.
  }
}

void Transaction::commit() {
  database_.run("COMMIT");
  isOpen_ = false;
}

}  // namespace quillmoria
