// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/platform/base/Data.hpp>

struct sqlite3;
struct sqlite3_stmt;

/// SQLite's connections and statements as values with owners. Files that are shared, can be
/// damaged and outlive a fork are the business of DatabaseFile.hpp.
namespace idlewyn::platform {

/// What became of a statement or of a whole operation.
enum class Outcome : std::uint8_t {
  done,
  /// A row is there to be read.
  row,
  /// A row with that key exists.
  duplicate,
  /// There is no file.
  absent,
  /// Somebody else holds a lock.
  busy,
  full,
  /// The place or the file can be read only.
  unwritable,
  damaged,
  unopenable,
  failed,
};

/// A statement in use, which lets go of its locks when it goes out of scope; what was bound must
/// live until then. Parameters count from 1 and columns from 0; each use binds all of them.
class Query {
 public:
  enum class Type : std::uint8_t { null, data, text, integer, real };

  explicit Query(sqlite3_stmt* statement) noexcept : statement_(statement) {}
  ~Query();
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  void bind(int parameter, std::string_view text) noexcept;
  void bind(int parameter, const Data& data) noexcept;
  void bind(int parameter, std::int64_t number) noexcept;
  /// NaN is kept as null.
  void bind(int parameter, double number) noexcept;

  /// `row` or `done`, or why not.
  Outcome step() noexcept;

  Type type(int column) const noexcept;
  /// The bytes of a text or of data.
  std::string bytes(int column) const;
  std::int64_t integer(int column) const noexcept;
  double real(int column) const noexcept;

 private:
  sqlite3_stmt* statement_;
  // A parameter that couldn't be bound, for want of memory or because it is too large.
  bool isUnbound_ = false;
};

/// One open file. Not for several threads at once; waits for no lock.
class Connection {
 public:
  enum class Access : std::uint8_t {
    /// Read-only where the file can't be written.
    any,
    /// No locks and no side files: nobody may change the file meanwhile.
    immutable,
  };

  /// Leaves a closed connection when the outcome is not `done`.
  Outcome open(const std::string& path, Access access);
  bool isOpen() const noexcept { return database_ != nullptr; }
  bool isReadOnly() const noexcept { return isReadOnly_; }

  /// The statement is prepared once and kept.
  Outcome prepare(std::string_view sql, sqlite3_stmt*& statement);
  /// One or several statements whose rows nobody wants.
  Outcome run(const char* sql) noexcept;
  /// The first column of the first row of a statement like "PRAGMA user_version".
  Outcome number(std::string_view sql, std::int64_t& number);
  Outcome text(std::string_view sql, std::string& text);
  /// Rows that the last statement changed.
  std::int64_t changes() const noexcept;

  enum class Closing : std::uint8_t {
    /// The last connection of all processes moves the log into the file.
    tidy,
    /// The file and its log stay as they are.
    quick,
  };
  void close(Closing closing) noexcept;

  Connection() = default;
  ~Connection() { close(Closing::tidy); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

 private:
  template <class Read>
  Outcome readFirst(std::string_view sql, const Read& read);

  struct Prepared {
    std::string sql;
    sqlite3_stmt* statement;
  };

  sqlite3* database_ = nullptr;
  bool isReadOnly_ = false;
  std::vector<Prepared> statements_;
};

}  // namespace idlewyn::platform
