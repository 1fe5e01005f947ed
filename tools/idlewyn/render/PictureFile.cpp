// SPDX-License-Identifier: MIT
#include <tools/idlewyn/render/PictureFile.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string_view>
#include <system_error>

#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/system/FileDescriptor.hpp>

namespace idlewyn::command {
namespace {

[[noreturn]] void fail(const std::string& file, const std::string& reason) {
  throw Failure(ExitCode::failure, "storage",
                "Can't write " + displayLine(file) + ": " + displayLine(reason) + ".");
}

[[noreturn]] void fail(const std::string& file, int error) {
  fail(file, std::generic_category().message(error));
}

/// 0 or the error.
int fill(const FileDescriptor& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(file.get(), bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR) return errno;
    if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

/// Writes a new file and renames it, so that a failure leaves the old picture. `old` is the file
/// that is replaced, or null.
void replaceFile(const std::string& file, const struct stat* old, std::string_view bytes) {
  const std::string fresh = file + "." + std::to_string(getpid());
  constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
  FileDescriptor output(::open(fresh.c_str(), flags, old != nullptr ? 0600 : 0666));
  if (!output) fail(file, errno);
  int error = fill(output, bytes);
  // A file system without modes has none to keep.
  if (old != nullptr) static_cast<void>(fchmod(output.get(), old->st_mode & 07777));
  output.close();
  if (error == 0 && std::rename(fresh.c_str(), file.c_str()) != 0) error = errno;
  if (error == 0) return;
  ::unlink(fresh.c_str());
  fail(file, error);
}

}  // namespace

void writePicture(const platform::Data& picture, const std::string& file) {
  struct stat status {};
  const bool isThere = lstat(file.c_str(), &status) == 0;
  if (isThere && S_ISLNK(status.st_mode)) {
    fail(file, "it is a link. Name the file that it leads to");
  }
  if (!isThere || S_ISREG(status.st_mode)) {
    return replaceFile(file, isThere ? &status : nullptr, picture.text());
  }
  const FileDescriptor output(::open(file.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY));
  if (!output) fail(file, errno);
  if (const int error = fill(output, picture.text()); error != 0) fail(file, error);
}

}  // namespace idlewyn::command
