// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include <IdlewynKit/Export.hpp>

/// A sequence of bytes, told apart from text by its type.
///
///     Data token{0x00, 0xAB, 0x0F};
///     Data body = Data::ofText(R"({"ok":true})");
namespace idlewyn::platform {

struct Data {
  Data() = default;
  Data(std::initializer_list<std::uint8_t> bytes) : Data(std::span(bytes.begin(), bytes.size())) {}
  explicit Data(std::span<const std::uint8_t> bytes)
      : storage(reinterpret_cast<const char*>(bytes.data()), bytes.size()) {}

  /// Takes over the bytes of `text` without looking at them.
  static Data ofText(std::string text) {
    Data data;
    data.storage = std::move(text);
    return data;
  }

  std::size_t size() const noexcept { return storage.size(); }
  bool empty() const noexcept { return storage.empty(); }
  std::span<const std::uint8_t> bytes() const noexcept IDLEWYNKIT_LIFETIMEBOUND {
    return {reinterpret_cast<const std::uint8_t*>(storage.data()), storage.size()};
  }
  /// The same bytes seen as text; nothing says that they are UTF-8.
  std::string_view text() const noexcept IDLEWYNKIT_LIFETIMEBOUND { return storage; }

  friend bool operator==(const Data&, const Data&) = default;

  /// The bytes. A string, so that text becomes data and data text without a copy.
  std::string storage;
};

}  // namespace idlewyn::platform
