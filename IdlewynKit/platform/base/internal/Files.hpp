// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

/// Files by their descriptors.
namespace idlewyn::platform::internal {

/// A descriptor that is closed with its scope.
class Descriptor {
 public:
  /// As `open` gives it; negative when there is none.
  explicit Descriptor(int number) noexcept : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int number() const noexcept { return number_; }
  bool isOpen() const noexcept { return number_ >= 0; }

 private:
  const int number_;
};

/// 0, or the number of the system's error. Inline, for libraries other than this one.
inline int writeAll(int descriptor, std::string_view bytes) noexcept {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

/// The contents of a regular file of at most 16 MiB. Devices and pipes are left alone: reading
/// them might never end.
std::optional<std::string> contentsOf(const std::filesystem::path& file);

}  // namespace idlewyn::platform::internal
