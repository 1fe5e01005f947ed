// SPDX-License-Identifier: MIT
#include "stores/RawStore.hpp"

#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>

namespace idlewyn::bench {
namespace {

void expect(bool isRight) {
  if (isRight) return;
  std::puts("raw SQLite failed");
  std::exit(2);
}

}  // namespace

RawStore::RawStore(const std::filesystem::path& file, const char* synchronous) {
  const std::string setUp =
      std::string("PRAGMA journal_mode = WAL; PRAGMA synchronous = ") + synchronous +
      "; CREATE TABLE store(key TEXT NOT NULL PRIMARY KEY, value BLOB) WITHOUT ROWID";
  const auto prepare = [&](const char* sql, sqlite3_stmt*& statement) {
    return sqlite3_prepare_v2(database_, sql, -1, &statement, nullptr) == SQLITE_OK;
  };
  constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  expect(sqlite3_open_v2(file.c_str(), &database_, flags, nullptr) == SQLITE_OK &&
         sqlite3_exec(database_, setUp.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK &&
         prepare("REPLACE INTO store VALUES(?1, ?2)", put_) &&
         prepare("SELECT value FROM store WHERE key = ?1", get_));
}

RawStore::~RawStore() {
  sqlite3_finalize(put_);
  sqlite3_finalize(get_);
  sqlite3_close(database_);
}

void RawStore::put(const std::string& key, const std::string& value) {
  sqlite3_bind_text(put_, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
  sqlite3_bind_blob(put_, 2, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
  expect(sqlite3_step(put_) == SQLITE_DONE);
  sqlite3_reset(put_);
}

std::string RawStore::get(const std::string& key) {
  sqlite3_bind_text(get_, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
  expect(sqlite3_step(get_) == SQLITE_ROW);
  std::string value(static_cast<const char*>(sqlite3_column_blob(get_, 0)),
                    static_cast<std::size_t>(sqlite3_column_bytes(get_, 0)));
  sqlite3_reset(get_);
  return value;
}

}  // namespace idlewyn::bench
