// SPDX-License-Identifier: MIT
#include <algorithm>
#include <atomic>
#include <memory>
#include <utility>

#include <IdlewynKit/platform/coding/internal/KeyTable.hpp>
#include <IdlewynKit/platform/coding/internal/Shape.hpp>

namespace idlewyn::platform::internal {
namespace {

FieldAccess accessTo(const FieldShape& field) {
  const auto kind = field.shape->kind;
  if (field.isOptional) {
    if (kind == Shape::Kind::text) return FieldAccess::optionalText;
    if (kind == Shape::Kind::integer) return FieldAccess::optionalInteger;
    return FieldAccess::otherOptional;
  }
  if (kind == Shape::Kind::text) return FieldAccess::text;
  if (kind == Shape::Kind::date) return FieldAccess::date;
  if (kind == Shape::Kind::closedSet) return FieldAccess::closedSet;
  return FieldAccess::other;
}

KeySlot makeSlot(const Shape& shape, std::size_t index) {
  const FieldShape& field = shape.fields[index];
  const KeyEnds ends(field.name);
  return {ends.head,
          ends.tail,
          static_cast<std::uint32_t>(field.name.size()),
          static_cast<std::uint32_t>(field.offset),
          static_cast<std::uint8_t>(index),
          accessTo(field)};
}

/// Puts the fields into a table by this multiplier; false when two of them collide.
bool placeFields(const std::vector<KeySlot>& fields, std::uint64_t multiplier,
                 std::vector<KeySlot>& table) {
  table.assign(std::size_t{1} << Shape::slotBits, KeySlot());
  for (const KeySlot& field : fields) {
    KeySlot& slot = table[keySlot({field.head, field.tail}, field.length, multiplier)];
    if (slot.length != 0) return false;
    slot = field;
  }
  return true;
}

FieldShape fieldShape(const CodedField& coded) {
  FieldShape field{.name = coded.name};
  field.shape = &shapeOf(*coded.type);
  field.offset = coded.offset;
  field.isOptional = coded.engage != nullptr;
  field.engage = coded.engage;
  field.held = coded.held;
  return field;
}

std::unique_ptr<const Shape> makeShape(const CodedType& type) {
  auto shape = std::make_unique<Shape>();
  shape->kind = type.kind;
  shape->clear = type.clear;
  shape->typeName = type.typeName;
  shape->texts = type.texts;
  shape->fallback = type.fallback;
  shape->width = type.width;
  for (const CodedField& field : type.fields)
    shape->fields.push_back(fieldShape(field));
  if (type.kind == CodedType::Kind::record) shape->indexFields();
  if (type.element != nullptr) shape->element = &shapeOf(*type.element);
  shape->stride = type.stride;
  shape->reserve = type.reserve;
  shape->append = type.append;
  shape->contents = type.contents;
  return shape;
}

}  // namespace

// Two threads may make the same shape; the one that is later gives its own up.
const Shape& shapeOf(const CodedType& type) {
  const std::atomic_ref<const void*> prepared(type.prepared);
  const void* known = prepared.load(std::memory_order_acquire);
  if (known == nullptr) {
    auto made = makeShape(type);
    if (prepared.compare_exchange_strong(known, made.get(), std::memory_order_acq_rel))
      known = made.release();
  }
  return *static_cast<const Shape*>(known);
}

void Shape::indexFields() {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    std::string& prefix = fields[i].prefix;
    prefix = '"' + std::string(fields[i].name) + "\":";
    fields[i].prefixLength = prefix.size();
    prefix.resize(std::max(prefix.size(), FieldShape::paddedPrefix));
    if (!fields[i].isOptional) required |= std::uint64_t{1} << i;
    slots.push_back(makeSlot(*this, i));
  }
  // Odd multipliers at random; the few keys of a record are apart after a handful of them.
  std::vector<KeySlot> table;
  std::uint64_t candidate = 0x9E37'79B9'7F4A'7C15u;
  for (int attempt = 0; attempt < 1000; ++attempt) {
    if (placeFields(slots, candidate | 1, table)) {
      multiplier = candidate | 1;
      slots = std::move(table);
      return;
    }
    candidate = candidate * 6'364'136'223'846'793'005u + 1'442'695'040'888'963'407u;
  }
}

}  // namespace idlewyn::platform::internal
