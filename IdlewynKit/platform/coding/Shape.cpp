// SPDX-License-Identifier: MIT
#include <algorithm>

#include <IdlewynKit/platform/coding/KeyTable.hpp>
#include <IdlewynKit/platform/coding/Shape.hpp>

namespace idlewyn::platform {
namespace {

/// A table without collisions for this multiplier, or an empty one.
std::vector<std::uint8_t> makeSlots(const Shape& shape, std::uint32_t multiplier) {
  std::vector<std::uint8_t> slots(256);
  for (std::size_t i = 0; i < shape.fields.size(); ++i) {
    auto& slot = slots[keySlot(shape.fields[i].name, multiplier)];
    if (slot != 0) return {};
    slot = static_cast<std::uint8_t>(i + 1);
  }
  return slots;
}

}  // namespace

void Shape::indexFields() {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    fields[i].prefix = '"' + std::string(fields[i].name) + "\":";
    if (!fields[i].isOptional) required |= std::uint64_t{1} << i;
  }
  // Odd multipliers at random; the few keys of a record are apart after a handful of them. When
  // no multiplier is found the keys are compared one by one.
  std::uint32_t candidate = 0x9E37'79B1;
  for (int attempt = 0; attempt < 1000 && slots.empty(); ++attempt) {
    multiplier = candidate;
    slots = makeSlots(*this, multiplier);
    candidate = candidate * 1'664'525 + 1'013'904'222;
  }
}

}  // namespace idlewyn::platform
