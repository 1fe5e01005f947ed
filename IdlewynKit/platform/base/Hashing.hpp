// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/platform/base/Date.hpp>
#include <IdlewynKit/platform/base/RawValue.hpp>
#include <IdlewynKit/platform/base/Record.hpp>
#include <IdlewynKit/platform/base/URL.hpp>

/// Hashing of records: every field in declaration order is fed to a visitor.
///
///     std::size_t h = std::hash<AgentSession>{}(session);
///     feedFields(myVisitor, session);   // any callable over the primitive kinds below
namespace idlewyn::platform {

namespace internal {
template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;
template <class T>
inline constexpr bool isList = false;
template <class T>
inline constexpr bool isList<std::vector<T>> = true;
}  // namespace internal

/// Feeds one value as `bool`, `std::int64_t`, `double` or `std::string_view`: an optional as its
/// presence flag followed by its value, a list as its length and elements, a closed set as its
/// raw value, a URL as its text, a date as its seconds, a record as its fields.
template <class Visitor, class T>
void feed(Visitor& visitor, const T& value);

template <class Visitor, Record R>
void feedFields(Visitor& visitor, const R& record) {
  std::apply([&](const auto&... fields) { (feed(visitor, record.*fields.member), ...); },
             R::fields());
}

template <class Visitor, class T>
void feed(Visitor& visitor, const T& value) {
  if constexpr (internal::isOptional<T>) {
    visitor(value.has_value());
    if (value) feed(visitor, *value);
  } else if constexpr (internal::isList<T>) {
    visitor(static_cast<std::int64_t>(value.size()));
    for (const auto& element : value)
      feed(visitor, element);
  } else if constexpr (RawRepresentable<T>) {
    visitor(rawValue(value));
  } else if constexpr (Record<T>) {
    feedFields(visitor, value);
  } else if constexpr (std::is_same_v<T, std::string>) {
    visitor(std::string_view(value));
  } else if constexpr (std::is_same_v<T, URL>) {
    visitor(std::string_view(value.text()));
  } else if constexpr (std::is_same_v<T, Date>) {
    visitor(secondsSinceReferenceDate(value));
  } else {
    visitor(value);
  }
}

/// The visitor behind `std::hash`: 64 bits mixed a step, equal for -0.0 and 0.0.
class Hasher {
 public:
  void operator()(bool value) noexcept { mix(value ? 2 : 1); }
  void operator()(std::int64_t value) noexcept { mix(static_cast<std::uint64_t>(value)); }
  void operator()(double value) noexcept { mix(std::bit_cast<std::uint64_t>(value + 0.0)); }
  void operator()(std::string_view value) noexcept { mix(std::hash<std::string_view>{}(value)); }
  std::size_t finish() const noexcept { return static_cast<std::size_t>(state_ ^ (state_ >> 32)); }

 private:
  void mix(std::uint64_t bits) noexcept {
    state_ = (std::rotl(state_, 23) ^ bits) * 0x9E37'79B9'7F4A'7C15u;
  }
  std::uint64_t state_ = 0x243F'6A88'85A3'08D3u;
};

template <Record R>
std::size_t hashOf(const R& record) noexcept {
  Hasher hasher;
  feedFields(hasher, record);
  return hasher.finish();
}

}  // namespace idlewyn::platform

template <idlewyn::platform::OwnRecord R>
struct std::hash<R> {
  std::size_t operator()(const R& record) const noexcept {
    return idlewyn::platform::hashOf(record);
  }
};
