// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/platform/coding/CodedType.hpp>

/// The coders prepare each type's description once, in the form that is declared here.
namespace idlewyn::platform::internal {

struct Shape;

/// One field of a record. An optional field is described by the type that it may hold.
struct FieldShape {
  std::string_view name;
  const Shape* shape = nullptr;
  std::size_t offset = 0;
  bool isOptional = false;
  /// Makes an optional hold a blank and returns it; null for a field that is not optional.
  void* (*engage)(void* optional) = nullptr;
  /// Returns the value that an optional holds, or null.
  const void* (*held)(const void* optional) = nullptr;
  /// `"name":`, as it is written; filled up with zeros to `paddedPrefix` bytes.
  std::string prefix = {};
  std::size_t prefixLength = 0;
  static constexpr std::size_t paddedPrefix = 32;
};

/// How the decoder gets at a field: the common combinations of kind and optional have a way of
/// their own.
enum class FieldAccess : std::uint8_t {
  text,
  optionalText,
  date,
  optionalInteger,
  closedSet,
  other,
  otherOptional,
};

/// A field as the decoder finds it by its key: the key's first and last bytes and its length, then
/// what the common fields need, so that no further look-up is needed for them.
struct KeySlot {
  std::uint64_t head = 0;
  std::uint64_t tail = 0;
  std::uint32_t length = 0;  ///< 0 for a slot without a field.
  std::uint32_t offset = 0;
  std::uint8_t field = 0;
  FieldAccess access = FieldAccess::other;
};

/// A type's JSON form and how to reach its parts in memory.
struct Shape {
  using Kind = CodedType::Kind;

  Kind kind = Kind::text;
  /// Makes a value blank again.
  void (*clear)(void* value) = nullptr;

  // A closed set.
  std::string_view typeName = {};
  std::span<const std::string_view> texts = {};
  std::optional<std::size_t> fallback = {};
  std::size_t width = 0;  ///< Bytes of the enumeration.

  // A record: at most 64 fields, whose names need no escaping in JSON.
  std::vector<FieldShape> fields = {};
  std::uint64_t required = 0;  ///< A bit for each field that is not optional.
  /// The fields by their keys: a hash table without collisions, or a list when the multiplier is
  /// 0 because none could be found.
  std::vector<KeySlot> slots = {};
  std::uint64_t multiplier = 0;
  static constexpr int slotBits = 8;

  // A list.
  const Shape* element = nullptr;
  std::size_t stride = 0;
  void (*reserve)(void* list, std::size_t count) = nullptr;
  void* (*append)(void* list) = nullptr;
  std::span<const std::byte> (*contents)(const void* list) = nullptr;

  /// Makes the key table and the prefixes from the fields.
  void indexFields();
};

/// The type's shape, made at the first call and kept. Any thread may call it.
const Shape& shapeOf(const CodedType& type);

}  // namespace idlewyn::platform::internal
