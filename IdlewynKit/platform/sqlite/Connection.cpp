// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/sqlite/Connection.hpp>

#include <sqlite3.h>

#include <cerrno>

namespace idlewyn::platform {
namespace {

bool isForWantOfSpace(int error) { return error == ENOSPC || error == EDQUOT || error == EFBIG; }

// Of what made a write fail SQLite tells no more than errno: to be called at once.
Outcome outcomeOf(int code) {
  switch (code & 0xff) {
    case SQLITE_OK:
    case SQLITE_DONE: return Outcome::done;
    case SQLITE_ROW: return Outcome::row;
    case SQLITE_CONSTRAINT: return Outcome::duplicate;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL: return Outcome::busy;
    case SQLITE_FULL: return Outcome::full;
    case SQLITE_READONLY:
    case SQLITE_PERM: return Outcome::unwritable;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB: return Outcome::damaged;
    case SQLITE_CANTOPEN: return Outcome::unopenable;
    default: break;
  }
  return isForWantOfSpace(errno) ? Outcome::full : Outcome::failed;
}

// For a "file:" URI, in which only immutability can be asked for.
std::string uriOf(const std::string& path) {
  std::string uri = "file:";
  for (const char c : path) {
    if (c == '%' || c == '?' || c == '#') {
      constexpr std::string_view digits = "0123456789abcdef";
      uri += {'%', digits[static_cast<unsigned char>(c) >> 4], digits[c & 0xf]};
    } else {
      uri += c;
    }
  }
  return uri + "?immutable=1";
}

}  // namespace

Query::~Query() { sqlite3_reset(statement_); }

void Query::bind(int parameter, std::string_view text) noexcept {
  isUnbound_ |= sqlite3_bind_text64(statement_, parameter, text.data() ? text.data() : "",
                                    text.size(), SQLITE_STATIC, SQLITE_UTF8) != SQLITE_OK;
}

void Query::bind(int parameter, const Data& data) noexcept {
  isUnbound_ |= sqlite3_bind_blob64(statement_, parameter, data.storage.data(), data.size(),
                                    SQLITE_STATIC) != SQLITE_OK;
}

void Query::bind(int parameter, std::int64_t number) noexcept {
  isUnbound_ |= sqlite3_bind_int64(statement_, parameter, number) != SQLITE_OK;
}

void Query::bind(int parameter, double number) noexcept {
  isUnbound_ |= sqlite3_bind_double(statement_, parameter, number) != SQLITE_OK;
}

Outcome Query::step() noexcept {
  if (isUnbound_) return Outcome::failed;
  errno = 0;
  return outcomeOf(sqlite3_step(statement_));
}

Query::Type Query::type(int column) const noexcept {
  switch (sqlite3_column_type(statement_, column)) {
    case SQLITE_BLOB: return Type::data;
    case SQLITE_TEXT: return Type::text;
    case SQLITE_INTEGER: return Type::integer;
    case SQLITE_FLOAT: return Type::real;
    default: return Type::null;
  }
}

std::string Query::bytes(int column) const {
  const auto* begin = static_cast<const char*>(sqlite3_column_blob(statement_, column));
  if (begin == nullptr) return {};
  return {begin, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

std::int64_t Query::integer(int column) const noexcept {
  return sqlite3_column_int64(statement_, column);
}

double Query::real(int column) const noexcept { return sqlite3_column_double(statement_, column); }

Outcome Connection::open(const std::string& path, Access access) {
  close(Closing::quick);
  int flags =
      SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_EXRESCODE;
  flags |= access == Access::any ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
  const std::string name = access == Access::any ? path : uriOf(path);
  errno = 0;
  const Outcome outcome = outcomeOf(sqlite3_open_v2(name.c_str(), &database_, flags, nullptr));
  if (outcome != Outcome::done) {
    close(Closing::quick);
    return outcome;
  }
  isReadOnly_ = sqlite3_db_readonly(database_, "main") == 1;
  // A file that somebody else has made up may not run code of its own choice.
  sqlite3_db_config(database_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(database_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  return Outcome::done;
}

Outcome Connection::prepare(std::string_view sql, sqlite3_stmt*& statement) {
  for (const Prepared& prepared : statements_) {
    if (prepared.sql != sql) continue;
    statement = prepared.statement;
    return Outcome::done;
  }
  errno = 0;
  const Outcome outcome =
      outcomeOf(sqlite3_prepare_v3(database_, sql.data(), static_cast<int>(sql.size()),
                                   SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
  if (outcome == Outcome::done) statements_.push_back({std::string(sql), statement});
  return outcome;
}

Outcome Connection::run(const char* sql) noexcept {
  errno = 0;
  return outcomeOf(sqlite3_exec(database_, sql, nullptr, nullptr, nullptr));
}

template <class Read>
Outcome Connection::readFirst(std::string_view sql, const Read& read) {
  sqlite3_stmt* statement = nullptr;
  if (const Outcome outcome = prepare(sql, statement); outcome != Outcome::done) return outcome;
  Query query(statement);
  const Outcome outcome = query.step();
  if (outcome != Outcome::row) return outcome == Outcome::done ? Outcome::failed : outcome;
  read(query);
  return Outcome::done;
}

Outcome Connection::number(std::string_view sql, std::int64_t& number) {
  return readFirst(sql, [&](const Query& row) { number = row.integer(0); });
}

Outcome Connection::text(std::string_view sql, std::string& text) {
  return readFirst(sql, [&](const Query& row) { text = row.bytes(0); });
}

std::int64_t Connection::changes() const noexcept { return sqlite3_changes64(database_); }

void Connection::close(Closing closing) noexcept {
  if (database_ == nullptr) return;
  for (const Prepared& prepared : statements_)
    sqlite3_finalize(prepared.statement);
  statements_.clear();
  if (closing == Closing::quick) {
    sqlite3_db_config(database_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  }
  sqlite3_close(database_);
  database_ = nullptr;
}

}  // namespace idlewyn::platform
