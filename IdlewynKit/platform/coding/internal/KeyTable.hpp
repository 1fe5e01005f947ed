// SPDX-License-Identifier: MIT
#pragma once

#include <cstring>

#include <IdlewynKit/platform/coding/internal/Shape.hpp>

namespace idlewyn::platform::internal {

/// A key's first and last eight bytes, which overlap in short ones. With the length they make up
/// the whole key up to 16 bytes.
struct KeyEnds {
  std::uint64_t head = 0;
  std::uint64_t tail = 0;

  KeyEnds(std::uint64_t first, std::uint64_t last) noexcept : head(first), tail(last) {}
  explicit KeyEnds(std::string_view key) noexcept {
    const char* end = key.data() + key.size();
    if (key.size() >= 8) {
      std::memcpy(&head, key.data(), 8);
      std::memcpy(&tail, end - 8, 8);
    } else if (key.size() >= 4) {
      std::memcpy(&head, key.data(), 4);
      std::memcpy(&tail, end - 4, 4);
    } else {
      for (const char c : key)
        head = head << 8 | static_cast<unsigned char>(c);
    }
  }
};

/// Whether two texts are the same; the second one's ends are known.
inline bool isSame(std::string_view a, std::string_view b, const KeyEnds& endsOfB) noexcept {
  if (a.size() != b.size()) return false;
  const KeyEnds ends(a);
  return ends.head == endsOfB.head && ends.tail == endsOfB.tail && (a.size() <= 16 || a == b);
}

/// The slot of a key in the table.
inline std::size_t keySlot(const KeyEnds& ends, std::size_t length,
                           std::uint64_t multiplier) noexcept {
  constexpr int unusedBits = 64 - Shape::slotBits;
  return (ends.head + 3 * ends.tail + length) * multiplier >> unusedBits;
}

/// The field with this name, or null.
inline const KeySlot* findField(const Shape& shape, std::string_view key) noexcept {
  const KeyEnds ends(key);
  const auto matches = [&](const KeySlot& slot) {
    return slot.head == ends.head && slot.tail == ends.tail && slot.length == key.size() &&
           (key.size() <= 16 || shape.fields[slot.field].name == key);
  };
  if (shape.multiplier != 0) {
    const KeySlot& slot = shape.slots[keySlot(ends, key.size(), shape.multiplier)];
    return matches(slot) && slot.length != 0 ? &slot : nullptr;
  }
  for (const KeySlot& slot : shape.slots) {
    if (matches(slot)) return &slot;
  }
  return nullptr;
}

}  // namespace idlewyn::platform::internal
