// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/sqlite/DatabaseFile.hpp>

#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <thread>

#include <IdlewynKit/platform/sqlite/internal/PrivateFiles.hpp>

namespace idlewyn::platform {
namespace {

constexpr std::chrono::milliseconds longestWait(2000);
// Others who write without a break leave the lock free for a moment only.
constexpr std::chrono::microseconds shortestPause(100), longestPause(1000);
// Looking costs as much as half a read.
constexpr std::chrono::milliseconds longestTrust(5);
constexpr int attempts = 4;
constexpr std::int64_t formatVersion = 1;
constexpr std::uintmax_t pageSize = 4096;

std::string nameIn(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// Empty when there is no such directory.
std::string realPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr),
                                                         &std::free);
  return real ? real.get() : std::string();
}

}  // namespace

// SQLite can't be used on both sides of a fork: its book of locks is copied and the locks aren't,
// so that a parent that closes would throw away the log that the child still writes. Therefore
// every file is closed before a fork, and either side opens it anew when it next needs it.
class DatabaseFile::Registry {
 public:
  Registry() {
    pthread_atfork([] { registry().prepareFork(); }, [] { registry().endFork(); },
                   [] { registry().endFork(); });
    std::atexit([] { registry().tidyUp(); });
  }

  DatabaseFile& at(const std::filesystem::path& path, const Format& format) {
    const std::lock_guard lock(mutex_);
    std::unique_ptr<DatabaseFile>& file = files_[path.native()];
    if (!file) file.reset(new DatabaseFile(path, format));
    return *file;
  }

 private:
  void prepareFork() {
    mutex_.lock();
    for (const auto& [path, file] : files_) {
      file->mutex_.lock();
      file->connection_.close(Connection::Closing::quick);
    }
  }
  void endFork() {
    for (const auto& [path, file] : files_)
      file->mutex_.unlock();
    mutex_.unlock();
  }
  // Leaves files without a log, which can be read where nothing can be written. Other threads may
  // go on: they open anew.
  void tidyUp() {
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (!lock) return;
    for (const auto& [path, file] : files_) {
      const std::unique_lock turn(file->mutex_, std::try_to_lock);
      if (!turn) continue;
      file->connection_.close(Connection::Closing::tidy);
    }
  }

  std::mutex mutex_;
  std::map<std::string, std::unique_ptr<DatabaseFile>> files_;
};

DatabaseFile::Registry& DatabaseFile::registry() {
  static Registry* const instance = new Registry();
  return *instance;
}

DatabaseFile& DatabaseFile::at(const std::filesystem::path& path, const Format& format) {
  return registry().at(path, format);
}

DatabaseFile::DatabaseFile(const std::filesystem::path& path, const Format& format)
    : path_(path.native()), directory_(path.parent_path().native()), format_(format) {}

Outcome DatabaseFile::probe() {
  const std::lock_guard lock(mutex_);
  const Outcome outcome = open();
  switch (outcome) {
    case Outcome::absent:
    // Where it can't be set aside there will never be anything to read.
    case Outcome::damaged:
      return couldBeMade(path_) && couldBeLocked(path_ + ".lock") ? outcome : Outcome::unopenable;
    case Outcome::done:
      if (connection_.isReadOnly()) connection_.close(Connection::Closing::quick);
      return outcome;
    default: return outcome;
  }
}

// SQLite could wait by itself, but with the connection in its hands: nobody else could read.
template <class Attempt>
Outcome DatabaseFile::patiently(const Attempt& attempt) {
  std::optional<std::chrono::steady_clock::time_point> deadline;
  std::chrono::microseconds pause = shortestPause;
  while (true) {
    const Outcome outcome = [&] {
      const std::lock_guard lock(mutex_);
      return attempt();
    }();
    if (outcome != Outcome::busy) return outcome;
    const auto now = std::chrono::steady_clock::now();
    if (!deadline) deadline = now + longestWait;
    if (now >= *deadline) return outcome;
    std::this_thread::sleep_for(pause);
    pause = std::min(2 * pause, longestPause);
  }
}

Outcome DatabaseFile::readWith(Operation operation) {
  return patiently([&] { return readNow(operation); });
}

Outcome DatabaseFile::writeWith(Missing missing, Operation operation) {
  return patiently([&] { return writeNow(missing, operation); });
}

Outcome DatabaseFile::readNow(Operation operation) {
  const Outcome opened = open();
  return opened == Outcome::done ? perform(operation) : opened;
}

Outcome DatabaseFile::writeNow(Missing missing, Operation operation) {
  for (int attempt = 0; attempt < attempts; ++attempt) {
    Outcome outcome = writeOnce(missing, operation);
    if (outcome == Outcome::damaged) {
      std::string target;
      outcome = setAside(operation, target);
      if (outcome == Outcome::absent) continue;
    }
    // Written into a file that nobody can find any more: once more, into the one that they do.
    if (!connection_.isOpen() || isStillThere()) return outcome;
    connection_.close(Connection::Closing::quick);
  }
  return Outcome::busy;
}

Outcome DatabaseFile::writeOnce(Missing missing, Operation operation) {
  Outcome opened = open();
  if (opened == Outcome::absent && missing == Missing::make) {
    opened = make();
    if (opened == Outcome::done) opened = open();
  }
  return opened == Outcome::done ? perform(operation) : opened;
}

// `absent` when there is no such file any more, else what became of the operation after all.
Outcome DatabaseFile::setAside(Operation operation, std::string& target) {
  const SideLock lock(path_ + ".lock");
  if (lock.outcome() != Outcome::done) return lock.outcome();
  // By now another process may have set it aside and made a new one.
  const Outcome again = writeOnce(Missing::leave, operation);
  if (again != Outcome::damaged) return again;
  const Outcome moved = moveDatabaseAside(path_, target);
  return moved == Outcome::done ? Outcome::absent : moved;
}

Outcome DatabaseFile::setDamagedAside(std::string& target) {
  // Opening a file looks at all of it.
  const auto look = [](Session&) { return Outcome::done; };
  const Operation operation{&look, &call<decltype(look)>};
  return patiently([&] {
    const Outcome outcome = readNow(operation);
    if (outcome != Outcome::damaged) return outcome;
    const Outcome aside = setAside(operation, target);
    return aside == Outcome::absent ? Outcome::done : aside;
  });
}

Outcome DatabaseFile::perform(Operation operation) {
  Session session(connection_);
  const Outcome outcome = operation.call(operation.use, session);
  switch (outcome) {
    case Outcome::damaged:
    case Outcome::failed:
    case Outcome::unopenable: connection_.close(Connection::Closing::quick); break;
    default:
      // One that can't be written may be writable, or not immutable, the next time.
      if (connection_.isReadOnly()) connection_.close(Connection::Closing::quick);
  }
  return outcome;
}

Outcome DatabaseFile::inspect(Identity& identity) const noexcept {
  struct stat status {};
  if (lstat(path_.c_str(), &status) != 0) {
    return errno == ENOENT ? Outcome::absent : Outcome::unopenable;
  }
  if (!S_ISREG(status.st_mode)) return Outcome::unopenable;
  if (format_.isPrivate && (status.st_uid != geteuid() || (status.st_mode & 077) != 0)) {
    return Outcome::unopenable;
  }
  identity.device = status.st_dev;
  identity.number = status.st_ino;
  // Files are filled before they get their name.
  return status.st_size == 0 ? Outcome::damaged : Outcome::done;
}

bool DatabaseFile::isStillThere() noexcept {
  Identity now;
  if (inspect(now) != Outcome::done || now != identity_) return false;
  lastSeen_ = std::chrono::steady_clock::now();
  return true;
}

Outcome DatabaseFile::open() {
  if (connection_.isOpen()) {
    if (std::chrono::steady_clock::now() - lastSeen_ < longestTrust) return Outcome::done;
    if (isStillThere()) return Outcome::done;
    connection_.close(Connection::Closing::quick);
  }
  for (int attempt = 0; attempt < attempts; ++attempt) {
    Outcome outcome = inspect(identity_);
    if (outcome != Outcome::done) return outcome;
    outcome = openOnce();
    const bool isTheSame = isStillThere();
    if (outcome == Outcome::done && isTheSame) return outcome;
    connection_.close(Connection::Closing::quick);
    if (isTheSame) return outcome;
  }
  return Outcome::busy;
}

Outcome DatabaseFile::openOnce() {
  // SQLite is told to refuse symbolic links; the user's own, above the file, are no concern.
  const std::string directory = realPath(directory_);
  if (directory.empty()) return Outcome::unopenable;
  const std::string path = directory + "/" + nameIn(path_);
  const bool hasLog = exists(path + "-wal");
  std::error_code ignored;
  // SQLite takes half a page for a page with zeroes, on which nothing is found.
  if (!hasLog && std::filesystem::file_size(path, ignored) % pageSize != 0) return Outcome::damaged;
  // Without a log nobody writes now, and this user can't begin to where log or file can't be
  // written. SQLite would leave a log behind that nobody can write.
  const bool isImmutable = !hasLog && !(isWritable(path) && isWritableDirectory(directory));
  const Outcome opened =
      connection_.open(path, isImmutable ? Connection::Access::immutable : Connection::Access::any);
  return opened == Outcome::done ? check() : opened;
}

Outcome DatabaseFile::check() {
  std::int64_t application = 0, version = 0;
  Outcome outcome = connection_.number("PRAGMA application_id", application);
  if (outcome != Outcome::done) return outcome;
  if (application != format_.application) return Outcome::damaged;
  outcome = connection_.number("PRAGMA user_version", version);
  if (outcome != Outcome::done) return outcome;
  if (version > formatVersion) return Outcome::unopenable;  // a later release's
  // SQLite notices damage only where it stumbles over it; elsewhere something would be absent.
  // Looking at everything costs no more than reading it once.
  std::string schema, verdict;
  outcome = connection_.text("SELECT group_concat(sql, ';') FROM sqlite_schema", schema);
  if (outcome == Outcome::done) outcome = connection_.text("PRAGMA integrity_check(1)", verdict);
  if (outcome != Outcome::done) return outcome;
  if (schema != format_.schema || verdict != "ok") return Outcome::damaged;
  return connection_.run(format_.durability == Durability::machine
                             ? "PRAGMA synchronous = FULL; PRAGMA secure_delete = ON"
                             : "PRAGMA synchronous = NORMAL");
}

Outcome DatabaseFile::make() {
  if (const Outcome made = makeDirectories(directory_); made != Outcome::done) return made;
  const SideLock lock(path_ + ".lock");
  if (lock.outcome() != Outcome::done) return lock.outcome();
  if (exists(path_)) return Outcome::done;
  // The log of a file that was removed would be taken for that of the new one.
  std::string target;
  if (const Outcome moved = moveDatabaseAside(path_, target); moved != Outcome::done) return moved;

  const std::string directory = realPath(directory_);
  if (directory.empty()) return Outcome::unopenable;
  const std::string fresh = directory + "/" + nameIn(path_) + ".new";
  for (const char* ending : {"", "-wal", "-shm", "-journal"})
    unlink((fresh + ending).c_str());
  Outcome outcome = makeEmptyFile(fresh);
  if (outcome == Outcome::done) outcome = fill(fresh);
  if (outcome == Outcome::done) outcome = synchronize(fresh);
  if (outcome == Outcome::done && std::rename(fresh.c_str(), path_.c_str()) != 0) {
    outcome = outcomeOfError(errno);
  }
  if (outcome == Outcome::done) return synchronize(directory);
  unlink(fresh.c_str());
  return outcome;
}

Outcome DatabaseFile::fill(const std::string& path) const {
  Connection connection;
  const Outcome opened = connection.open(path, Connection::Access::any);
  if (opened != Outcome::done) return opened;
  // Nobody else knows the file yet, so it needs neither journal nor waiting for the disk.
  const std::string sql = "PRAGMA page_size = " + std::to_string(pageSize) +
                          "; PRAGMA journal_mode = MEMORY; PRAGMA synchronous = OFF; BEGIN; " +
                          format_.schema +
                          "; PRAGMA application_id = " + std::to_string(format_.application) +
                          "; PRAGMA user_version = " + std::to_string(formatVersion) +
                          "; COMMIT; PRAGMA journal_mode = WAL";
  return connection.run(sql.c_str());
}

}  // namespace idlewyn::platform
