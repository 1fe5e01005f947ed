// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/PictureFile.hpp>

#include <atomic>
#include <cerrno>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include <IdlewynKit/platform/view/Painter.hpp>

namespace idlewyn::platform {
namespace {

[[noreturn]] void fail(const std::filesystem::path& file, int error) {
  throw PaintError(PaintError::Code::writeFailed,
                   file.string() + ": " + std::generic_category().message(error));
}

/// 0 or the error.
int writeAll(const std::filesystem::path& file, std::string_view bytes, int flags) {
  const int descriptor = ::open(file.c_str(), O_WRONLY | O_CLOEXEC | flags, 0666);
  if (descriptor < 0) return errno;
  int error = 0;
  while (!bytes.empty() && error == 0) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      error = errno;
    }
  }
  if (::close(descriptor) != 0 && error == 0) error = errno;
  return error;
}

}  // namespace

void writePicture(const std::filesystem::path& file, std::string_view bytes) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    if (const int failed = writeAll(file, bytes, 0); failed != 0) fail(file, failed);
    return;
  }
  fs::path place = fs::exists(status) ? fs::canonical(file, error) : file;
  if (place.empty()) place = file;
  static std::atomic<unsigned> counter{0};
  fs::path fresh = place;
  fresh += "." + std::to_string(::getpid()) + "-" + std::to_string(++counter);
  int failed = writeAll(fresh, bytes, O_CREAT | O_EXCL);
  if (failed == 0 && ::rename(fresh.c_str(), place.c_str()) != 0) failed = errno;
  if (failed == 0) return;
  ::unlink(fresh.c_str());
  fail(file, failed);
}

}  // namespace idlewyn::platform
