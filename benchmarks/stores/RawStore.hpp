// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace idlewyn::bench {

/// A table of values by key, as somebody would write it who has one process, one thread and a file
/// that is never damaged: prepared statements and a log.
class RawStore {
 public:
  RawStore(const std::filesystem::path& file, const char* synchronous);
  ~RawStore();
  RawStore(const RawStore&) = delete;
  RawStore& operator=(const RawStore&) = delete;

  void put(const std::string& key, const std::string& value);
  std::string get(const std::string& key);

 private:
  sqlite3* database_ = nullptr;
  sqlite3_stmt* put_ = nullptr;
  sqlite3_stmt* get_ = nullptr;
};

}  // namespace idlewyn::bench
