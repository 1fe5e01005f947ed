// SPDX-License-Identifier: MIT
#pragma once

#include <cstring>

#include <IdlewynKit/platform/coding/Shape.hpp>

namespace idlewyn::platform {

inline constexpr std::size_t unknownField = ~std::size_t{0};

/// What tells a record's keys apart in most cases: length, first, middle and last byte.
inline std::uint32_t keyTraits(std::string_view key) noexcept {
  const auto byte = [&](std::size_t at) {
    return std::uint32_t{static_cast<std::uint8_t>(key[at])};
  };
  return byte(0) + (byte(key.size() / 2) << 8) + (byte(key.size() - 1) << 16) +
         (static_cast<std::uint32_t>(key.size()) << 24);
}

/// The slot of a key in a table of 256 slots.
inline std::size_t keySlot(std::string_view key, std::uint32_t multiplier) noexcept {
  return keyTraits(key) * multiplier >> 24;
}

inline bool sameKey(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  if (a.size() < 8 || a.size() > 16) return std::memcmp(a.data(), b.data(), a.size()) == 0;
  std::uint64_t words[4];
  std::memcpy(&words[0], a.data(), 8);
  std::memcpy(&words[1], b.data(), 8);
  std::memcpy(&words[2], a.data() + a.size() - 8, 8);
  std::memcpy(&words[3], b.data() + b.size() - 8, 8);
  return words[0] == words[1] && words[2] == words[3];
}

/// The number of the field with this name, or `unknownField`.
inline std::size_t findField(const Shape& shape, std::string_view key) noexcept {
  if (key.empty()) return unknownField;
  if (shape.slots.empty()) {
    for (std::size_t i = 0; i < shape.fields.size(); ++i) {
      if (shape.fields[i].name == key) return i;
    }
    return unknownField;
  }
  const std::size_t entry = shape.slots[keySlot(key, shape.multiplier)];
  if (entry == 0 || !sameKey(shape.fields[entry - 1].name, key)) return unknownField;
  return entry - 1;
}

}  // namespace idlewyn::platform
