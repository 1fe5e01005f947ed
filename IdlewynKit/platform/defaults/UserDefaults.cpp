// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/defaults/UserDefaults.hpp>

#include <pthread.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <mutex>
#include <utility>

#include <IdlewynKit/platform/base/UTF8.hpp>
#include <IdlewynKit/platform/base/internal/Program.hpp>
#include <IdlewynKit/platform/sqlite/DataDirectory.hpp>
#include <IdlewynKit/platform/sqlite/DatabaseFile.hpp>

namespace idlewyn::platform {
namespace {

constexpr DatabaseFile::Format format(
    // The value's own type tells bytes, text, integers and reals apart.
    "CREATE TABLE defaults(key TEXT NOT NULL PRIMARY KEY, isBoolean INTEGER NOT NULL,"
    " value BLOB) WITHOUT ROWID",
    0x49646c64, DatabaseFile::Durability::process, false);

constexpr std::size_t longestName = 200;

bool isSuiteName(std::string_view name) {
  const auto isForbidden = [](char c) {
    return c == '/' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
  };
  return !name.empty() && name.size() <= longestName && name[0] != '.' &&
         std::none_of(name.begin(), name.end(), isForbidden) && isValidUTF8(name);
}

DatabaseFile* fileOf(std::string_view name) {
  const std::optional<std::filesystem::path> directory = dataDirectory();
  if (!directory) return nullptr;
  return &DatabaseFile::at(*directory / "defaults" / (std::string(name) + ".sqlite3"), format);
}

std::string nameOfExecutable() {
  std::string name = internal::executableFile().filename();
  return isSuiteName(name) ? name : "standard";
}

std::optional<UserDefaults::Value> valueIn(const Query& row) {
  const bool isBoolean = row.integer(0) != 0;
  switch (row.type(1)) {
    case Query::Type::data: return Data::ofText(row.bytes(1));
    case Query::Type::text: return row.bytes(1);
    case Query::Type::integer:
      if (isBoolean) return row.integer(1) != 0;
      return row.integer(1);
    case Query::Type::real: return row.real(1);
    case Query::Type::null: return std::numeric_limits<double>::quiet_NaN();
  }
  return std::nullopt;
}

void bindValue(Query& query, const UserDefaults::Value& value) {
  query.bind(2, std::int64_t{std::holds_alternative<bool>(value)});
  if (const bool* boolean = std::get_if<bool>(&value)) return query.bind(3, std::int64_t{*boolean});
  if (const auto* text = std::get_if<std::string>(&value)) {
    return query.bind(3, std::string_view(*text));
  }
  if (const auto* data = std::get_if<Data>(&value)) return query.bind(3, *data);
  if (const auto* number = std::get_if<std::int64_t>(&value)) return query.bind(3, *number);
  query.bind(3, std::get<double>(value));
}

// The standard defaults of a process that has nowhere to keep them.
class MemoryValues {
 public:
  static MemoryValues& shared() {
    static MemoryValues* const values = [] {
      // Or a child would wait for a thread that only its parent has.
      pthread_atfork([] { shared().mutex_.lock(); }, [] { shared().mutex_.unlock(); },
                     [] { shared().mutex_.unlock(); });
      return new MemoryValues();
    }();
    return *values;
  }

  std::optional<UserDefaults::Value> value(std::string_view key) {
    const std::lock_guard lock(mutex_);
    const auto found = values_.find(key);
    return found == values_.end() ? std::nullopt : std::optional(found->second);
  }
  void set(std::string_view key, const UserDefaults::Value& value) {
    const std::lock_guard lock(mutex_);
    values_.insert_or_assign(std::string(key), value);
  }
  void remove(std::string_view key) {
    const std::lock_guard lock(mutex_);
    if (const auto found = values_.find(key); found != values_.end()) values_.erase(found);
  }

 private:
  std::mutex mutex_;
  std::map<std::string, UserDefaults::Value, std::less<>> values_;
};

}  // namespace

/// Without a file the values are those in memory.
class UserDefaults::Store {
 public:
  explicit Store(DatabaseFile* file) noexcept : file_(file) {}

  std::optional<Value> value(std::string_view key) const {
    if (file_ == nullptr) return MemoryValues::shared().value(key);
    std::optional<Value> found;
    file_->read([&](DatabaseFile::Session& session) {
      return session.query("SELECT isBoolean, value FROM defaults WHERE key = ?1",
                           [&](Query& query) {
                             query.bind(1, key);
                             const Outcome outcome = query.step();
                             if (outcome == Outcome::row) found = valueIn(query);
                             return outcome;
                           });
    });
    return found;
  }

  bool set(std::string_view key, const Value& value) const {
    const auto* text = std::get_if<std::string>(&value);
    if (!isValidUTF8(key) || (text != nullptr && !isValidUTF8(*text))) return false;
    if (file_ == nullptr) {
      MemoryValues::shared().set(key, value);
      return true;
    }
    return isDone(file_->write(DatabaseFile::Missing::make, [&](DatabaseFile::Session& session) {
      return session.query("REPLACE INTO defaults VALUES(?1, ?2, ?3)", [&](Query& query) {
        query.bind(1, key);
        bindValue(query, value);
        return query.step();
      });
    }));
  }

  bool remove(std::string_view key) const {
    if (file_ == nullptr) {
      MemoryValues::shared().remove(key);
      return true;
    }
    const Outcome outcome =
        file_->write(DatabaseFile::Missing::leave, [&](DatabaseFile::Session& session) {
          return session.query("DELETE FROM defaults WHERE key = ?1", [&](Query& query) {
            query.bind(1, key);
            return query.step();
          });
        });
    return isDone(outcome) || outcome == Outcome::absent;
  }

 private:
  static bool isDone(Outcome outcome) { return outcome == Outcome::done; }

  DatabaseFile* file_;
};

UserDefaults::UserDefaults(std::shared_ptr<Store> store) : store_(std::move(store)) {}

UserDefaults UserDefaults::standard() {
  static const std::string* const name = new std::string(nameOfExecutable());
  DatabaseFile* const file = fileOf(*name);
  const bool canBeOpened = file != nullptr && file->probe() != Outcome::unopenable;
  return UserDefaults(std::make_shared<Store>(canBeOpened ? file : nullptr));
}

std::optional<UserDefaults> UserDefaults::suite(std::string_view name) {
  if (!isSuiteName(name)) return std::nullopt;
  DatabaseFile* const file = fileOf(name);
  if (file == nullptr || file->probe() == Outcome::unopenable) return std::nullopt;
  return UserDefaults(std::make_shared<Store>(file));
}

std::optional<UserDefaults::Value> UserDefaults::value(std::string_view key) const {
  return store_->value(key);
}

std::optional<Data> UserDefaults::data(std::string_view key) const {
  std::optional<Value> found = store_->value(key);
  Data* const data = found ? std::get_if<Data>(&*found) : nullptr;
  return data ? std::optional(std::move(*data)) : std::nullopt;
}

bool UserDefaults::set(std::string_view key, const Value& value) { return store_->set(key, value); }

bool UserDefaults::remove(std::string_view key) { return store_->remove(key); }

}  // namespace idlewyn::platform
