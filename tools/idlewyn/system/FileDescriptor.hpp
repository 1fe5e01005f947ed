// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

#include <unistd.h>

namespace idlewyn::command {

/// Owns a descriptor; -1 is none.
class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor = -1) noexcept : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~FileDescriptor() { close(); }

  void close() noexcept {
    if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
  }

  int get() const noexcept { return descriptor_; }
  explicit operator bool() const noexcept { return descriptor_ >= 0; }

 private:
  int descriptor_;
};

}  // namespace idlewyn::command
