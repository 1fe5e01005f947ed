// SPDX-License-Identifier: MIT
#include "ConnectionFile.hpp"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <IdlewynKit/platform/coding/JSONDecoder.hpp>
#include <IdlewynKit/platform/coding/JSONEncoder.hpp>

#include "Escape.hpp"
#include "Failure.hpp"
#include "FileDescriptor.hpp"

namespace idlewyn::command {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t largestFile = 1 << 20;

Failure storageFailure(const std::string& what, const fs::path& path, const std::string& why) {
  return {ExitCode::failure, "storage", what + " " + escaped(path.native()) + ": " + why + "."};
}

Failure systemFailure(const std::string& what, const fs::path& path) {
  return storageFailure(what, path, std::generic_category().message(errno));
}

// Not-blocking, so that a pipe in the file's place can't hold the command up.
FileDescriptor openForReading(const fs::path& path) {
  FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
  if (!file && errno == ELOOP) {
    throw storageFailure("Can't use", path, "a symbolic link; put the file itself there");
  }
  if (!file) return file;
  struct stat status {};
  if (fstat(file.get(), &status) != 0) throw systemFailure("Can't read", path);
  if (!S_ISREG(status.st_mode)) throw storageFailure("Can't read", path, "not a regular file");
  if (status.st_uid != geteuid()) {
    throw storageFailure("Can't use", path, "it belongs to another user; remove it and pair again");
  }
  if ((status.st_mode & 077) != 0) {
    throw storageFailure("Can't use", path,
                         "it holds tokens and is open to other users; chmod 600 it");
  }
  return file;
}

std::string readAll(const FileDescriptor& file, const fs::path& path) {
  std::string text;
  std::array<char, 16384> buffer;
  while (true) {
    const ssize_t count = read(file.get(), buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw systemFailure("Can't read", path);
    if (count == 0) return text;
    text.append(buffer.data(), static_cast<std::size_t>(count));
    if (text.size() > largestFile) throw storageFailure("Can't read", path, "too large");
  }
}

void writeAll(const FileDescriptor& file, std::string_view text, const fs::path& path) {
  while (!text.empty()) {
    const ssize_t count = write(file.get(), text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw systemFailure("Can't write", path);
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  if (fsync(file.get()) != 0) throw systemFailure("Can't write", path);
}

// Parents too, each for the owner alone.
void makeDirectories(const fs::path& path) {
  if (path.empty() || mkdir(path.c_str(), 0700) == 0 || errno == EEXIST) return;
  if (errno != ENOENT) throw systemFailure("Can't make", path);
  makeDirectories(path.parent_path());
  if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) throw systemFailure("Can't make", path);
}

}  // namespace

fs::path ConnectionFile::defaultDirectory() {
  const char* data = std::getenv("XDG_DATA_HOME");
  if (data != nullptr && fs::path(data).is_absolute()) return fs::path(data) / "idlewyn";
  const char* home = std::getenv("HOME");
  if (home == nullptr || !fs::path(home).is_absolute()) {
    throw Failure(ExitCode::failure, "storage", "Neither XDG_DATA_HOME nor HOME is set.");
  }
  return fs::path(home) / ".local/share/idlewyn";
}

ConnectionFile::ConnectionFile(fs::path directory,
                               std::function<void(std::chrono::milliseconds)> pause,
                               std::chrono::milliseconds limit)
    : directory_(std::move(directory)),
      file_(directory_ / "connections.json"),
      fresh_(directory_ / "connections.json.new"),
      pause_(std::move(pause)),
      limit_(limit) {}

std::vector<Connection> ConnectionFile::load() const {
  const FileDescriptor file = openForReading(file_);
  if (!file) {
    if (errno == ENOENT) return {};
    throw systemFailure("Can't read", file_);
  }
  const std::string text = readAll(file, file_);
  try {
    return platform::JSONDecoder().decode<std::vector<Connection>>(std::string_view(text));
  } catch (const platform::DecodingError& error) {
    // Only where: what stands there may be a token.
    std::string place = pathText(error.codingPath);
    if (!error.missingKey.empty()) place += " without " + error.missingKey;
    throw storageFailure(
        "Can't read", file_,
        "damaged" + (place.empty() ? std::string() : " at " + place) + "; mend or remove it");
  }
}

// Under another name, so that the list is whole at every moment.
void ConnectionFile::writeFresh(const std::vector<Connection>& connections) const {
  const std::string text = platform::JSONEncoder().encode(connections).storage;
  // One of a process that died; no living one writes while this one holds the lock.
  unlink(fresh_.c_str());
  FileDescriptor file(open(fresh_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!file) throw systemFailure("Can't make", fresh_);
  try {
    writeAll(file, text, fresh_);
  } catch (const Failure&) {
    unlink(fresh_.c_str());
    throw;
  }
}

void ConnectionFile::save(const std::vector<Connection>& connections) {
  writeFresh(connections);
  if (rename(fresh_.c_str(), file_.c_str()) != 0) {
    const Failure failure = systemFailure("Can't replace", file_);
    unlink(fresh_.c_str());
    throw failure;
  }
  const FileDescriptor directory(open(directory_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (directory) fsync(directory.get());
}

void ConnectionFile::trySaving(const std::vector<Connection>& connections) {
  writeFresh(connections);
  unlink(fresh_.c_str());
}

void ConnectionFile::sleep(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

std::shared_ptr<void> ConnectionFile::exclude() {
  makeDirectories(directory_);
  const fs::path path = directory_ / "connections.lock";
  FileDescriptor lock(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!lock) throw systemFailure("Can't make", path);
  // Asked again and again, for a call that waits would swallow signals.
  const auto deadline = std::chrono::steady_clock::now() + limit_;
  while (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK) throw systemFailure("Can't lock", path);
    if (std::chrono::steady_clock::now() > deadline) {
      throw storageFailure("Can't lock", path, "another process holds it; try again later");
    }
    pause_(std::chrono::milliseconds(10));
  }
  return std::make_shared<FileDescriptor>(std::move(lock));
}

}  // namespace idlewyn::command
