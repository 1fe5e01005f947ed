// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace idlewyn::platform::internal {

/// Gathers small pieces before they go to a string, which would look at its capacity for each.
class OutputBuffer {
 public:
  explicit OutputBuffer(std::string& text) noexcept : text_(text) {}
  OutputBuffer(const OutputBuffer&) = delete;
  OutputBuffer& operator=(const OutputBuffer&) = delete;

  static constexpr std::size_t capacity = 4096;

  /// A place for `size` bytes, at most `capacity`; `advance` says how many have been put there.
  char* room(std::size_t size) {
    if (capacity - used_ < size) flush();
    return buffer_.data() + used_;
  }
  void advance(std::size_t size) noexcept { used_ += size; }

  void put(char c) {
    *room(1) = c;
    advance(1);
  }
  void put(std::string_view piece) {
    if (piece.size() > capacity) {
      flush();
      text_.append(piece);
      return;
    }
    std::memcpy(room(piece.size()), piece.data(), piece.size());
    advance(piece.size());
  }

  /// What has been written so far, in bytes.
  std::size_t size() const noexcept { return text_.size() + used_; }
  void reserve(std::size_t size) { text_.reserve(size); }

  /// Hands everything to the string; to be called at the end.
  void flush() {
    text_.append(buffer_.data(), used_);
    used_ = 0;
  }

 private:
  std::string& text_;
  std::size_t used_ = 0;
  std::array<char, capacity> buffer_;
};

}  // namespace idlewyn::platform::internal
