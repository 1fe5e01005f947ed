// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <map>
#include <span>
#include <type_traits>
#include <vector>

#include <IdlewynKit/platform/base/Date.hpp>
#include <IdlewynKit/platform/base/RawValue.hpp>
#include <IdlewynKit/platform/base/Record.hpp>
#include <IdlewynKit/platform/base/URL.hpp>

/// What the coders know of a type at run time, built once from its `fields()`. Applications
/// have no use for it but as a concept:
///
///     static_assert(Decodable<AgentSession>);
///     static_assert(!Decodable<PairingLink>);   // a record, but without a JSON form
namespace idlewyn::platform {

struct Shape;

/// Makes the blank values that the decoder fills.
struct RecordMaker {
  template <class T>
  static T blank() {
    if constexpr (std::is_constructible_v<T, DecodingKey>) {
      return T(DecodingKey());
    } else {
      return T();
    }
  }
  template <class T>
  static void* append(void* list) {
    auto& values = *static_cast<std::vector<T>*>(list);
    if constexpr (std::is_constructible_v<T, DecodingKey>) {
      return &values.emplace_back(DecodingKey());
    } else {
      return &values.emplace_back();
    }
  }
  template <class T>
  static void* engage(void* optional) {
    auto& value = *static_cast<std::optional<T>*>(optional);
    if constexpr (std::is_constructible_v<T, DecodingKey>) {
      return &value.emplace(DecodingKey());
    } else {
      return &value.emplace();
    }
  }
};

/// One field of a record. An optional field is described by the type that it may hold.
struct FieldShape {
  std::string_view name;
  const Shape* shape = nullptr;
  std::size_t offset = 0;
  bool isOptional = false;
  /// Makes an optional hold a blank, and gives that; null for a field that is not optional.
  void* (*engage)(void* optional) = nullptr;
  /// What an optional holds, or null.
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
  enum class Kind : std::uint8_t {
    text,
    integer,
    number,
    boolean,
    date,
    url,
    closedSet,
    record,
    list,
    dictionary,
  };

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
  IDLEWYNKIT_EXPORT void indexFields();
};

namespace detail {

template <class T, template <class...> class Template>
inline constexpr bool isInstance = false;
template <template <class...> class Template, class... Args>
inline constexpr bool isInstance<Template<Args...>, Template> = true;

template <class T>
inline constexpr bool isScalar =
    std::same_as<T, std::string> || std::same_as<T, std::int64_t> || std::same_as<T, double> ||
    std::same_as<T, bool> || std::same_as<T, Date> || std::same_as<T, URL> || RawRepresentable<T>;

template <class T>
inline constexpr bool hasForm = isScalar<T> ||
                                (Record<T> && std::constructible_from<T, DecodingKey>);
template <class T, class Allocator>
inline constexpr bool hasForm<std::vector<T, Allocator>> =
    hasForm<T> && !std::same_as<T, bool> && std::same_as<std::vector<T, Allocator>, std::vector<T>>;

}  // namespace detail

/// Text (`std::string`), `std::int64_t`, `double`, `bool`, `Date`, `URL`, closed sets, records
/// with a constructor that takes a DecodingKey, and vectors of these.
template <class T>
concept Decodable = detail::hasForm<T>;

/// The same types, and maps from text to text, which are written as objects.
template <class T>
concept Encodable = Decodable<T> || std::same_as<T, std::map<std::string, std::string>>;

template <Encodable T>
const Shape& shapeOf();

namespace detail {

template <class T>
constexpr Shape::Kind scalarKind() {
  if constexpr (std::same_as<T, std::string>) return Shape::Kind::text;
  if constexpr (std::same_as<T, std::int64_t>) return Shape::Kind::integer;
  if constexpr (std::same_as<T, double>) return Shape::Kind::number;
  if constexpr (std::same_as<T, bool>) return Shape::Kind::boolean;
  if constexpr (std::same_as<T, Date>) return Shape::Kind::date;
  if constexpr (std::same_as<T, URL>) return Shape::Kind::url;
  return Shape::Kind::closedSet;
}

template <class E>
Shape closedSetShape() {
  Shape shape{.kind = Shape::Kind::closedSet};
  shape.typeName = RawValues<E>::typeName;
  shape.texts = RawValues<E>::texts;
  if constexpr (requires { RawValues<E>::fallback; }) {
    shape.fallback = static_cast<std::size_t>(RawValues<E>::fallback);
  }
  shape.width = sizeof(E);
  return shape;
}

template <class T>
Shape listShape() {
  Shape shape{.kind = Shape::Kind::list};
  shape.element = &shapeOf<T>();
  shape.stride = sizeof(T);
  shape.reserve = [](void* list, std::size_t count) {
    static_cast<std::vector<T>*>(list)->reserve(count);
  };
  shape.append = &RecordMaker::append<T>;
  shape.contents = [](const void* list) {
    return std::as_bytes(std::span<const T>(*static_cast<const std::vector<T>*>(list)));
  };
  return shape;
}

template <class R, class M>
FieldShape fieldShape(const R& record, const Field<R, M>& field) {
  FieldShape shape{.name = field.name};
  shape.offset =
      static_cast<std::size_t>(reinterpret_cast<const std::byte*>(&(record.*field.member)) -
                               reinterpret_cast<const std::byte*>(&record));
  if constexpr (isInstance<M, std::optional>) {
    using Held = typename M::value_type;
    shape.shape = &shapeOf<Held>();
    shape.isOptional = true;
    shape.engage = &RecordMaker::engage<Held>;
    shape.held = [](const void* optional) -> const void* {
      const auto& value = *static_cast<const M*>(optional);
      return value ? &*value : nullptr;
    };
  } else {
    shape.shape = &shapeOf<M>();
  }
  return shape;
}

template <class R>
Shape recordShape() {
  static_assert(std::tuple_size_v<decltype(R::fields())> <= 64);
  const R record = RecordMaker::blank<R>();
  Shape shape{.kind = Shape::Kind::record};
  std::apply(
      [&](const auto&... fields) { (shape.fields.push_back(fieldShape(record, fields)), ...); },
      R::fields());
  shape.indexFields();
  return shape;
}

template <class T>
Shape shapeWithoutClear() {
  if constexpr (isInstance<T, std::map>) {
    return Shape{.kind = Shape::Kind::dictionary};
  } else if constexpr (isInstance<T, std::vector>) {
    return listShape<typename T::value_type>();
  } else if constexpr (RawRepresentable<T>) {
    return closedSetShape<T>();
  } else if constexpr (isScalar<T>) {
    return Shape{.kind = scalarKind<T>()};
  } else {
    return recordShape<T>();
  }
}

template <class T>
Shape makeShape() {
  Shape shape = shapeWithoutClear<T>();
  shape.clear = [](void* value) { *static_cast<T*>(value) = RecordMaker::blank<T>(); };
  return shape;
}

}  // namespace detail

/// The type's shape, made at the first call.
template <Encodable T>
const Shape& shapeOf() {
  static const Shape shape = detail::makeShape<T>();
  return shape;
}

}  // namespace idlewyn::platform
