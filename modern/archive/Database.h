#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "quillmoria/CTime.h"
#include "quillmoria/NewsArchive.h"

struct sqlite3;
struct sqlite3_stmt;

namespace quillmoria {

/// The rows that a statement gives, one after another. Gives the statement back at its end.
///
///     for (Rows rows = database.rows("SELECT id, title FROM items WHERE feed = ?", feed); rows.next();)
///       show(rows.integer(0), rows.text(1));
class Rows {
 public:
  explicit Rows(sqlite3_stmt* statement) : statement_(statement) {}
  Rows(Rows&& other) noexcept;
  Rows& operator=(Rows&&) = delete;
  ~Rows();

  /// Goes to the next row, from before the first one; false after the last.
  bool next();

  // The values of a row's columns, counted from 0. One of another kind is 0 or empty.
  std::int64_t integer(int column) const;
  std::string_view text(int column) const;  ///< until the next row
  bool isNull(int column) const;
  CTime moment(int column) const;

 private:
  friend class Database;

  sqlite3_stmt* statement_;
};

/// How long others that write are waited for, from the next Database or bePatient on: five seconds unless set. Any
/// thread.
void setPatience(std::chrono::milliseconds patience);

/// An open database. Throws ArchiveError, and std::bad_alloc where memory lacks. Any number of threads, one at a time.
class Database {
 public:
  /// Opens the file at `path`, an absolute path without links, and makes it if it is not there. Waits for others that
  /// write, for a time in all: see bePatient.
  explicit Database(const std::string& path);
  Database(Database&&) noexcept;
  Database& operator=(Database&&) noexcept;
  ~Database();

  /// From now on others that write are waited for as long as that in all, again.
  void bePatient();

  /// Runs `sql` with `values` for its parameters: integers, CTime, nullptr, and texts, which must last as long as the
  /// rows. It stays prepared for the next time, so its text must come from the code alone, and be used by one at a
  /// time.
  template <class... Values>
  Rows rows(std::string_view sql, const Values&... values) {
    sqlite3_stmt* const statement = prepare(sql);
    Rows rows(statement);
    int position = 0;
    (bind(statement, ++position, values), ...);
    return rows;
  }

  /// As rows, to the end. Returns how many rows it has changed.
  template <class... Values>
  std::int64_t run(std::string_view sql, const Values&... values) {
    Rows all = rows(sql, values...);
    while (all.next()) {
    }
    return changes();
  }

  /// Runs `sql` with the columns of `row`, which may be another database's, for its parameters.
  void insert(std::string_view sql, const Rows& row);

  /// The first column of the first row; 0 without one.
  template <class... Values>
  std::int64_t integer(std::string_view sql, const Values&... values) {
    Rows first = rows(sql, values...);
    return first.next() ? first.integer(0) : 0;
  }

  /// Several statements without parameters, each used once.
  void execute(const char* sql);

  /// Leaves the file itself as it is at the end, and what has been written in the log beside it.
  void keepLog();

  /// Whether its file has been moved away, or removed, since it was opened.
  bool hasMoved() const;

  sqlite3* handle() const { return connection_.get(); }

 private:
  struct Close {
    void operator()(sqlite3* connection) const;
    void operator()(sqlite3_stmt* statement) const;
  };
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };
  struct Patience {
    std::chrono::milliseconds left;
  };

  static int wait(void* context, int attempt);
  void configure();
  sqlite3_stmt* prepare(std::string_view sql);
  std::int64_t changes() const;
  [[noreturn]] void fail(int code) const;

  static void bind(sqlite3_stmt* statement, int position, std::int64_t value);
  static void bind(sqlite3_stmt* statement, int position, std::string_view value);
  static void bind(sqlite3_stmt* statement, int position, std::nullptr_t);
  static void bind(sqlite3_stmt* statement, int position, CTime value) {
    bind(statement, position, std::int64_t{value.GetTime()});
  }

  std::unique_ptr<Patience> patience_;  ///< at a place that stays
  std::unique_ptr<sqlite3, Close> connection_;
  std::unordered_map<std::string, std::unique_ptr<sqlite3_stmt, Close>, Hash, std::equal_to<>> statements_;
};

/// While it stands, all that is read is as it was at the first reading.
class Snapshot {
 public:
  explicit Snapshot(Database& database);
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;
  ~Snapshot();

 private:
  Database& database_;
};

/// Room in memory for a call that changes much of the file: what does not fit is written several times.
class LargeCache {
 public:
  explicit LargeCache(Database& database) : database_(database) { database_.execute("PRAGMA cache_size = -65536"); }
  LargeCache(const LargeCache&) = delete;
  LargeCache& operator=(const LargeCache&) = delete;
  ~LargeCache();

 private:
  Database& database_;
};

/// A transaction that writes. Undone at its end unless it was committed.
class Transaction {
 public:
  explicit Transaction(Database& database);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();

  void commit();

 private:
  Database& database_;
  bool isOpen_ = true;
};

}  // namespace quillmoria
