// SPDX-License-Identifier: MIT
#pragma once

#include <any>
#include <concepts>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <IdlewynKit/Export.hpp>

namespace idlewyn::platform {

/// How a value moves to another one.
///
///     view.opacity(isOn ? 1 : 0).animation(Animation::easeInOut(1.2), isOn);
class Animation {
 public:
  /// Slow at both ends. A duration that is negative or not a number is none at all; none exceeds
  /// an hour.
  static constexpr Animation easeInOut(double seconds) { return Animation(seconds); }

  /// Seconds.
  constexpr double duration() const noexcept { return duration_; }
  /// The part of the way, 0 to 1, that is done at a part of the time; clamped.
  IDLEWYNKIT_EXPORT double progress(double time) const noexcept;

  friend constexpr bool operator==(const Animation&, const Animation&) = default;

 private:
  explicit constexpr Animation(double seconds)
      : duration_(seconds > 0 ? (seconds < 3600 ? seconds : 3600) : 0) {}

  double duration_;
};

/// A copy of any value that can be compared with others of its type.
class EquatableValue {
 public:
  template <std::equality_comparable T>
  explicit EquatableValue(T value)
      : value_(std::move(value)), equals_([](const std::any& one, const std::any& other) {
          const T* left = std::any_cast<T>(&one);
          const T* right = std::any_cast<T>(&other);
          return left && right && *left == *right;
        }) {}

  bool hasTypeOf(const EquatableValue& other) const noexcept {
    return value_.type() == other.value_.type();
  }
  friend bool operator==(const EquatableValue& one, const EquatableValue& other) {
    return one.equals_(one.value_, other.value_);
  }

 private:
  std::any value_;
  bool (*equals_)(const std::any&, const std::any&);
};

namespace internal {

/// Texts are kept as copies, whatever they came as.
template <class T>
using Kept = std::conditional_t<std::is_convertible_v<const T&, std::string_view>, std::string, T>;

}  // namespace internal
}  // namespace idlewyn::platform
