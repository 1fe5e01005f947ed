// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/base/internal/Files.hpp>

#include <fcntl.h>
#include <sys/stat.h>

namespace idlewyn::platform::internal {

std::optional<std::string> contentsOf(const std::filesystem::path& file) {
  constexpr std::size_t largest = std::size_t{16} << 20;
  // Without O_NONBLOCK a pipe would be waited for.
  const Descriptor source(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (!source.isOpen() || fstat(source.number(), &status) != 0 || !S_ISREG(status.st_mode) ||
      status.st_size > static_cast<off_t>(largest)) {
    return std::nullopt;
  }
  // The size is a hint: files of the kernel's claim to be empty, others may grow meanwhile.
  std::string text(static_cast<std::size_t>(status.st_size) + 1, '\0');
  std::size_t length = 0;
  for (;;) {
    if (length > largest) return std::nullopt;
    if (length == text.size()) text.resize(2 * length);
    const ssize_t count = read(source.number(), text.data() + length, text.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
  }
  text.resize(length);
  return text;
}

}  // namespace idlewyn::platform::internal
