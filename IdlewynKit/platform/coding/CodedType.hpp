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

/// What the coders are told about a type: a plain list of its fields, made once from `fields()`.
/// Applications have no use for it but as a concept:
///
///     static_assert(Decodable<AgentSession>);
///     static_assert(!Decodable<PairingLink>);   // a record, but without a JSON form
namespace idlewyn::platform {

struct CodedType;

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
struct CodedField {
  std::string_view name;
  const CodedType* type = nullptr;
  std::size_t offset = 0;
  /// Makes an optional hold a blank and returns it; null for a field that is not optional.
  void* (*engage)(void* optional) = nullptr;
  /// Returns the value that an optional holds, or null.
  const void* (*held)(const void* optional) = nullptr;
};

/// A type's JSON form and how to reach its parts in memory. What the coders need for speed they
/// make of it themselves.
struct CodedType {
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

  // A record: at most 64 fields, with names that need no escaping in JSON.
  std::vector<CodedField> fields = {};

  // A list.
  const CodedType* element = nullptr;
  std::size_t stride = 0;
  void (*reserve)(void* list, std::size_t count) = nullptr;
  void* (*append)(void* list) = nullptr;
  std::span<const std::byte> (*contents)(const void* list) = nullptr;

  /// The library's own, made at the first use and kept.
  mutable const void* prepared = nullptr;
};

namespace internal {

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

}  // namespace internal

/// Text (`std::string`), `std::int64_t`, `double`, `bool`, `Date`, `URL`, closed sets, records
/// with a constructor that takes a DecodingKey, and vectors of these.
template <class T>
concept Decodable = internal::hasForm<T>;

/// The same types, and maps from text to text, which are written as objects.
template <class T>
concept Encodable = Decodable<T> || std::same_as<T, std::map<std::string, std::string>>;

template <Encodable T>
const CodedType& codedType();

namespace internal {

template <class T>
constexpr CodedType::Kind scalarKind() {
  if constexpr (std::same_as<T, std::string>) return CodedType::Kind::text;
  if constexpr (std::same_as<T, std::int64_t>) return CodedType::Kind::integer;
  if constexpr (std::same_as<T, double>) return CodedType::Kind::number;
  if constexpr (std::same_as<T, bool>) return CodedType::Kind::boolean;
  if constexpr (std::same_as<T, Date>) return CodedType::Kind::date;
  if constexpr (std::same_as<T, URL>) return CodedType::Kind::url;
  return CodedType::Kind::closedSet;
}

template <class E>
CodedType closedSetType() {
  CodedType type{.kind = CodedType::Kind::closedSet};
  type.typeName = RawValues<E>::typeName;
  type.texts = RawValues<E>::texts;
  if constexpr (requires { RawValues<E>::fallback; }) {
    type.fallback = static_cast<std::size_t>(RawValues<E>::fallback);
  }
  type.width = sizeof(E);
  return type;
}

template <class T>
CodedType listType() {
  CodedType type{.kind = CodedType::Kind::list};
  type.element = &codedType<T>();
  type.stride = sizeof(T);
  type.reserve = [](void* list, std::size_t count) {
    static_cast<std::vector<T>*>(list)->reserve(count);
  };
  type.append = &RecordMaker::append<T>;
  type.contents = [](const void* list) {
    return std::as_bytes(std::span<const T>(*static_cast<const std::vector<T>*>(list)));
  };
  return type;
}

template <class R, class M>
CodedField codedField(const R& record, const Field<R, M>& field) {
  CodedField coded{.name = field.name};
  coded.offset =
      static_cast<std::size_t>(reinterpret_cast<const std::byte*>(&(record.*field.member)) -
                               reinterpret_cast<const std::byte*>(&record));
  if constexpr (isInstance<M, std::optional>) {
    using Held = typename M::value_type;
    coded.type = &codedType<Held>();
    coded.engage = &RecordMaker::engage<Held>;
    coded.held = [](const void* optional) -> const void* {
      const auto& value = *static_cast<const M*>(optional);
      return value ? &*value : nullptr;
    };
  } else {
    coded.type = &codedType<M>();
  }
  return coded;
}

template <class R>
CodedType recordType() {
  static_assert(std::tuple_size_v<decltype(R::fields())> <= 64);
  const R record = RecordMaker::blank<R>();
  CodedType type{.kind = CodedType::Kind::record};
  std::apply(
      [&](const auto&... fields) { (type.fields.push_back(codedField(record, fields)), ...); },
      R::fields());
  return type;
}

template <class T>
CodedType typeWithoutClear() {
  if constexpr (isInstance<T, std::map>) {
    return CodedType{.kind = CodedType::Kind::dictionary};
  } else if constexpr (isInstance<T, std::vector>) {
    return listType<typename T::value_type>();
  } else if constexpr (RawRepresentable<T>) {
    return closedSetType<T>();
  } else if constexpr (isScalar<T>) {
    return CodedType{.kind = scalarKind<T>()};
  } else {
    return recordType<T>();
  }
}

template <class T>
CodedType makeType() {
  CodedType type = typeWithoutClear<T>();
  type.clear = [](void* value) { *static_cast<T*>(value) = RecordMaker::blank<T>(); };
  return type;
}

}  // namespace internal

/// The type's description, made at the first call.
template <Encodable T>
const CodedType& codedType() {
  static const CodedType type = internal::makeType<T>();
  return type;
}

}  // namespace idlewyn::platform
