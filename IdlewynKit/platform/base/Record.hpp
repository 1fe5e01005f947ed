// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <string_view>
#include <tuple>

/// The one description of a record's fields, from which coding and hashing come.
///
///     struct Point {
///       static constexpr auto fields() {
///         return std::tuple{field("x", &Point::x), field("y", &Point::y)};
///       }
///       explicit Point(DecodingKey) {}   // only for records with a JSON form
///       std::int64_t x = 0;
///       std::optional<std::string> y;
///     };
namespace idlewyn::platform {

/// A field's coding key and where it lives. Fields are listed in declaration order.
template <class R, class M>
struct Field {
  std::string_view name;
  M R::*member;
};

template <class R, class M>
constexpr Field<R, M> field(std::string_view name, M R::*member) noexcept {
  return {name, member};
}

namespace internal {
template <class R, class Fields>
inline constexpr bool areFieldsOf = false;
template <class R, class... Members>
inline constexpr bool areFieldsOf<R, std::tuple<Field<R, Members>...>> = true;
}  // namespace internal

template <class R>
concept Record = internal::areFieldsOf<R, decltype(R::fields())>;

/// A record of this library, marked by `using IdlewynRecord = ...`. `std::hash` is specialised for
/// these alone, so that a program's own types may have `fields()` and a hash of their own.
template <class R>
concept OwnRecord = Record<R> && std::same_as<typename R::IdlewynRecord, R>;

/// What only the decoder can make: the constructor that takes it makes the blank record whose
/// fields are then filled, so that no caller can leave one out.
class DecodingKey {
  friend struct RecordMaker;
  DecodingKey() = default;
};

}  // namespace idlewyn::platform
