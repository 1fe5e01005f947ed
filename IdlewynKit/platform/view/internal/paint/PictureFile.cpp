// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/paint/PictureFile.hpp>

#include <atomic>
#include <cerrno>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <IdlewynKit/platform/base/internal/Files.hpp>
#include <IdlewynKit/platform/view/Painter.hpp>

namespace idlewyn::platform::internal {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& file, int error) {
  throw PaintError(PaintError::Code::writeFailed,
                   file.string() + ": " + std::generic_category().message(error));
}

/// 0 or the error, that of opening when there is no descriptor. Closes it.
int fill(int descriptor, std::string_view bytes) {
  if (descriptor < 0) return errno;
  const int error = internal::writeAll(descriptor, bytes);
  const bool isClosed = ::close(descriptor) == 0;
  return error != 0 || isClosed ? error : errno;
}

/// A new file beside `place`, which comes to name it.
int createBeside(fs::path& place, mode_t mode) {
  static std::atomic<unsigned> counter{0};
  const std::string prefix = place.string() + "." + std::to_string(::getpid()) + "-";
  int descriptor = -1;
  do {
    place = prefix + std::to_string(++counter);
    descriptor = ::open(place.c_str(), O_WRONLY | O_CLOEXEC | O_CREAT | O_EXCL, mode);
  } while (descriptor < 0 && errno == EEXIST);  // another's of that number, or its remains
  return descriptor;
}

}  // namespace

void writePicture(const fs::path& file, std::string_view bytes) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  const bool isThere = fs::exists(status);
  if (isThere && !fs::is_regular_file(status)) {
    const int failed = fill(::open(file.c_str(), O_WRONLY | O_CLOEXEC), bytes);
    if (failed != 0) fail(file, failed);
    return;
  }
  fs::path place = isThere ? fs::canonical(file, error) : file;
  if (place.empty()) place = file;
  fs::path fresh = place;
  const int descriptor = createBeside(fresh, isThere ? 0600 : 0666);
  if (descriptor < 0) fail(file, errno);
  // Where a file system has no modes of its own, there is none to keep.
  if (isThere) static_cast<void>(::fchmod(descriptor, static_cast<mode_t>(status.permissions())));
  int failed = fill(descriptor, bytes);
  if (failed == 0 && ::rename(fresh.c_str(), place.c_str()) != 0) failed = errno;
  if (failed == 0) return;
  ::unlink(fresh.c_str());
  fail(file, failed);
}

}  // namespace idlewyn::platform::internal
