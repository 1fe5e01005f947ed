// SPDX-License-Identifier: MIT
#include <tools/relay/state/PrivateFiles.hpp>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace idlewyn::relay {
namespace {

[[noreturn]] void fail(const std::string& what, const std::string& path) {
  throw std::runtime_error("Can't " + what + " " + path + ": " +
                           std::generic_category().message(errno) + ".");
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  int number() const { return number_; }
  /// True when closing reports no late failure of a write.
  bool close() { return ::close(std::exchange(number_, -1)) == 0; }

 private:
  int number_;
};

bool writeAll(int file, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t count = ::write(file, text.data() + done, text.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

/// A file beside the final one, removed unless it was renamed.
class FileBeside {
 public:
  explicit FileBeside(const std::string& path)
      : name_(path + ".XXXXXX"), file_(mkostemp(name_.data(), O_CLOEXEC)) {
    if (file_.number() < 0) fail("make a file beside", path);
  }
  FileBeside(const FileBeside&) = delete;
  FileBeside& operator=(const FileBeside&) = delete;
  ~FileBeside() {
    if (!name_.empty()) ::unlink(name_.c_str());
  }

  void fill(const std::string& text) {
    const bool ok = ::fchmod(file_.number(), 0600) == 0 && writeAll(file_.number(), text) &&
                    ::fsync(file_.number()) == 0 && file_.close();
    if (!ok) fail("write", name_);
  }
  void become(const std::string& path) {
    if (::rename(name_.c_str(), path.c_str()) != 0) fail("replace", path);
    name_.clear();
  }

 private:
  std::string name_;
  Descriptor file_;
};

}  // namespace

void makePrivateFolder(const std::string& path) {
  const auto parent = std::filesystem::path(path).parent_path();
  std::error_code ignored;
  if (!parent.empty()) std::filesystem::create_directories(parent, ignored);
  if (::mkdir(path.c_str(), 0700) == 0) {
    if (::chmod(path.c_str(), 0700) != 0) fail("close to others", path);
    return;
  }
  if (errno != EEXIST) fail("make the folder", path);
  struct stat found {};
  if (::lstat(path.c_str(), &found) != 0) fail("look at", path);
  if (!S_ISDIR(found.st_mode)) {
    throw std::runtime_error(path + " is no folder. Move it away, or name another state folder.");
  }
  if (found.st_uid != ::geteuid()) {
    throw std::runtime_error(path + " belongs to another user. Name another state folder.");
  }
  if ((found.st_mode & 077U) != 0) {
    throw std::runtime_error(path + " is open to other users. Close it: chmod 700 '" + path + "'");
  }
}

std::optional<std::string> readPrivateFile(const std::string& path) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (file.number() < 0) {
    if (errno == ENOENT) return std::nullopt;
    fail("open", path);
  }
  struct stat found {};
  if (::fstat(file.number(), &found) != 0) fail("look at", path);
  if (!S_ISREG(found.st_mode) || found.st_uid != ::geteuid()) {
    throw std::runtime_error(path + " is not a regular file of this user. Move it away.");
  }
  std::string text;
  char buffer[8192];
  for (;;) {
    const ssize_t count = ::read(file.number(), buffer, sizeof buffer);
    if (count == 0) return text;
    if (count < 0 && errno != EINTR) fail("read", path);
    if (count > 0) text.append(buffer, static_cast<std::size_t>(count));
  }
}

void writePrivateFile(const std::string& path, const std::string& text) {
  FileBeside beside(path);
  beside.fill(text);
  beside.become(path);
  const auto folder = std::filesystem::path(path).parent_path().string();
  const Descriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // The new file is in place; some file systems can't synchronise a folder.
  if (opened.number() >= 0) static_cast<void>(::fsync(opened.number()));
}

std::optional<FolderLock> FolderLock::take(const std::string& folder) {
  const std::string path = folder + "/lock";
  const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (file < 0) fail("open", path);
  FolderLock lock(file);
  if (::flock(file, LOCK_EX | LOCK_NB) != 0) return std::nullopt;
  return lock;
}

FolderLock::FolderLock(FolderLock&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

FolderLock::~FolderLock() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

}  // namespace idlewyn::relay
