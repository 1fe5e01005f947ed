// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

#include <IdlewynKit/platform/sqlite/Connection.hpp>

/// A small database of this user that several processes share. One connection a file serves the
/// whole process.
///
///     DatabaseFile& file = DatabaseFile::at(path, format);
///     Outcome outcome = file.write(DatabaseFile::Missing::make, [&](DatabaseFile::Session& s) {
///       return s.run("DELETE FROM items");
///     });
///
/// The file lies in directories that are made with mode 0700, has mode 0600, a write-ahead log
/// beside it and, while it is made or set aside, a lock in "NAME.lock". Operations wait for two
/// seconds for locks of other processes, and other threads can go on meanwhile. That the file was
/// removed or replaced underneath is noticed by every write, which is then repeated, and by reads
/// within a few milliseconds. A damaged file is set aside as "NAME.damaged-TIME" by the first
/// write that meets it; nothing is ever deleted. In a forked child the file is opened anew: around
/// a fork nothing is open.
namespace idlewyn::platform {

class DatabaseFile {
 public:
  enum class Durability : std::uint8_t {
    /// What was written survives the end of the process.
    process,
    /// It survives a loss of power, at the price of waiting for the disk.
    machine,
  };
  /// Constants: what they refer to must live for ever.
  struct Format {
    constexpr Format(const char* schema, std::int64_t application, Durability durability,
                     bool isPrivate)
        : schema(schema), application(application), durability(durability), isPrivate(isPrivate) {}

    /// One CREATE TABLE statement, as SQLite would write it: a file with any other is damaged.
    const char* schema;
    /// Told apart from databases of another kind by this number.
    std::int64_t application;
    Durability durability;
    /// A file that others may read, or that belongs to another user, is refused.
    bool isPrivate;
  };

  enum class Missing : std::uint8_t { make, leave };

  /// The file while an operation has it.
  class Session {
   public:
    explicit Session(Connection& connection) noexcept : connection_(connection) {}

    /// Calls `use(query)`, which gives the outcome, with the statement.
    template <class Use>
    Outcome query(std::string_view sql, const Use& use) {
      sqlite3_stmt* statement = nullptr;
      const Outcome prepared = connection_.prepare(sql, statement);
      if (prepared != Outcome::done) return prepared;
      Query query(statement);
      return use(query);
    }
    std::int64_t changes() const noexcept { return connection_.changes(); }

   private:
    Connection& connection_;
  };

  /// The one object for that path; made at the first call and never destroyed.
  static DatabaseFile& at(const std::filesystem::path& path, const Format& format);

  /// `unopenable` when neither reads nor writes can ever work: what is there can't be opened or,
  /// damaged, be set aside, or there is nothing and it could not be made. Waits for no lock.
  Outcome probe();

  /// What `use(session)` returns is the outcome, unless the file can't be used at all. It is called
  /// again as long as it says `busy`.
  template <class Use>
  Outcome read(const Use& use) {
    return readWith({&use, &call<Use>});
  }
  /// As above; `use(session)` is called again also, on another file, when its file was damaged or
  /// has vanished. It must be a single statement or end its own transaction.
  template <class Use>
  Outcome write(Missing missing, const Use& use) {
    return writeWith(missing, {&use, &call<Use>});
  }
  /// Does to a damaged file what a write would, but makes no other; `target` becomes its new path.
  /// A file that is not damaged stays, and `target` as it was. `absent` when there is none.
  Outcome setDamagedAside(std::string& target);

  DatabaseFile(const DatabaseFile&) = delete;
  DatabaseFile& operator=(const DatabaseFile&) = delete;

 private:
  struct Operation {
    const void* use;
    Outcome (*call)(const void* use, Session& session);
  };
  /// What tells a file from another that has taken its name.
  struct Identity {
    std::uint64_t device = 0, number = 0;
    friend bool operator==(const Identity&, const Identity&) = default;
  };
  class Registry;

  template <class Use>
  static Outcome call(const void* use, Session& session) {
    return (*static_cast<const Use*>(use))(session);
  }

  DatabaseFile(const std::filesystem::path& path, const Format& format);
  static Registry& registry();

  template <class Attempt>
  Outcome patiently(const Attempt& attempt);
  Outcome readWith(Operation operation);
  Outcome writeWith(Missing missing, Operation operation);
  Outcome readNow(Operation operation);
  Outcome writeNow(Missing missing, Operation operation);
  Outcome writeOnce(Missing missing, Operation operation);
  Outcome perform(Operation operation);
  Outcome setAside(Operation operation, std::string& target);

  Outcome open();
  Outcome openOnce();
  Outcome check();
  Outcome make();
  Outcome fill(const std::string& path) const;
  Outcome inspect(Identity& identity) const noexcept;
  bool isStillThere() noexcept;

  const std::string path_;
  const std::string directory_;
  const Format format_;
  std::mutex mutex_;
  // The rest belongs to whoever holds the mutex.
  Connection connection_;
  Identity identity_;
  std::chrono::steady_clock::time_point lastSeen_;
};

}  // namespace idlewyn::platform
