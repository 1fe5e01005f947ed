// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/sqlite/internal/PrivateFiles.hpp>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <string_view>

namespace idlewyn::platform {
namespace {

std::string parentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos || slash == 0 ? "/" : path.substr(0, slash);
}

// In UTC, as "20261124T160942Z".
std::string timeStamp() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  std::array<char, 32> text;
  return {text.data(), std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%SZ", &parts)};
}

constexpr std::array<std::string_view, 3> endings{"", "-wal", "-shm"};

bool isFree(const std::string& path) {
  for (const std::string_view ending : endings) {
    if (exists(path + std::string(ending))) return false;
  }
  return true;
}

mode_t typeOf(const std::string& path) noexcept {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 ? status.st_mode & S_IFMT : 0;
}

}  // namespace

Outcome outcomeOfError(int error) noexcept {
  switch (error) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG: return Outcome::full;
    case EACCES:
    case EPERM:
    case EROFS: return Outcome::unwritable;
    case ENOENT:
    case ENOTDIR:
    case ELOOP:
    case EISDIR:
    case EEXIST:
    case ENAMETOOLONG: return Outcome::unopenable;
    default: return Outcome::failed;
  }
}

Outcome makeDirectories(const std::string& path) {
  if (mkdir(path.c_str(), 0700) == 0 || errno == EEXIST) return Outcome::done;
  if (errno != ENOENT || path.size() < 2) return outcomeOfError(errno);
  if (const Outcome parent = makeDirectories(parentOf(path)); parent != Outcome::done) {
    return parent;
  }
  if (mkdir(path.c_str(), 0700) == 0 || errno == EEXIST) return Outcome::done;
  return outcomeOfError(errno);
}

bool isWritable(const std::string& path) noexcept {
  return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

bool isWritableDirectory(const std::string& path) {
  return faccessat(AT_FDCWD, (path + "/").c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

bool couldBeMade(std::string path) {
  do {
    path = parentOf(path);
    if (isWritableDirectory(path)) return true;
    // Somebody may be removing them. Through a link to nowhere no directory is made.
  } while (errno == ENOENT && path.size() > 1 && typeOf(path) != S_IFLNK);
  return false;
}

bool couldBeLocked(const std::string& path) noexcept {
  const mode_t type = typeOf(path);
  return type == 0 || (type != S_IFDIR && type != S_IFLNK && isWritable(path));
}

bool exists(const std::string& path) noexcept {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

Outcome makeEmptyFile(const std::string& path) noexcept {
  const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (file < 0) return outcomeOfError(errno);
  ::close(file);
  return Outcome::done;
}

Outcome synchronize(const std::string& path) noexcept {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return outcomeOfError(errno);
  // EINVAL: the file system can't synchronize folders.
  const int error = fsync(file) == 0 || errno == EINVAL ? 0 : errno;
  ::close(file);
  return error == 0 ? Outcome::done : outcomeOfError(error);
}

Outcome moveDatabaseAside(const std::string& path, std::string& target) {
  const std::string stamped = path + ".damaged-" + timeStamp();
  target = stamped;
  for (int i = 2; !isFree(target); ++i)
    target = stamped + "-" + std::to_string(i);
  for (const std::string_view ending : endings) {
    const std::string from = path + std::string(ending), to = target + std::string(ending);
    if (std::rename(from.c_str(), to.c_str()) != 0 && errno != ENOENT) return outcomeOfError(errno);
  }
  return Outcome::done;
}

SideLock::SideLock(const std::string& path) noexcept
    : descriptor_(::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600)) {
  if (descriptor_ < 0) {
    outcome_ = outcomeOfError(errno);
  } else if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
    outcome_ = errno == EWOULDBLOCK ? Outcome::busy : outcomeOfError(errno);
  }
}

SideLock::~SideLock() {
  if (descriptor_ < 0) return;
  flock(descriptor_, LOCK_UN);  // also for a child with a copy of the descriptor
  ::close(descriptor_);
}

}  // namespace idlewyn::platform
