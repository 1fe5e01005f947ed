// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/Data.hpp>
#include <IdlewynKit/platform/base/Hashing.hpp>
#include <IdlewynKit/platform/base/RawValue.hpp>
#include <IdlewynKit/platform/base/Record.hpp>

/// What the relay is told about one push token.
///
///     PushTokenRegistration registration(deviceID, PushTokenRegistration::Kind::activity,
///                                        tokenBytes, "production", pushKey);
///     co_await service.registerPushToken(registration, connection);
namespace idlewyn {

using platform::Data;
using platform::fromRawValue;
using platform::rawValue;

struct PushTokenRegistration {
  /// The token of a running live activity, or one with which an activity can be started.
  enum class Kind : std::uint8_t { activity, pushToStart };

  /// `token` is the raw token as the push service delivers it, of any length. Nothing is
  /// validated.
  IDLEWYNKIT_EXPORT PushTokenRegistration(std::string deviceID, Kind kind, const Data& token,
                                          std::string environment,
                                          std::optional<std::string> pushKey = std::nullopt);
  explicit PushTokenRegistration(platform::DecodingKey) {}

  friend bool operator==(const PushTokenRegistration&, const PushTokenRegistration&) = default;

  using IdlewynRecord = PushTokenRegistration;
  static constexpr auto fields() {
    using R = PushTokenRegistration;
    return std::tuple{platform::field("deviceID", &R::deviceID), platform::field("kind", &R::kind),
                      platform::field("token", &R::token),
                      platform::field("environment", &R::environment),
                      platform::field("pushKey", &R::pushKey)};
  }

  /// Chosen by the application, passed through unchanged.
  std::string deviceID;
  Kind kind{};
  /// Lower-case hexadecimal, two digits a byte.
  std::string token;
  /// The push environment as the application names it, passed through unchanged.
  std::string environment;
  /// The key that the push gateway issued for this token.
  std::optional<std::string> pushKey;
};

}  // namespace idlewyn

template <>
struct idlewyn::platform::RawValues<idlewyn::PushTokenRegistration::Kind> {
  static constexpr std::string_view typeName = "PushTokenRegistration.Kind";
  static constexpr std::array<std::string_view, 2> texts{"activity", "pushToStart"};
  static constexpr bool isIterable = false;
};
