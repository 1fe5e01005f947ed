// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include <IdlewynKit/platform/base/Date.hpp>
#include <IdlewynKit/platform/base/Hashing.hpp>
#include <IdlewynKit/platform/base/RawValue.hpp>

/// The question that an agent waits on, and the user's answer.
///
///     if (session.permission)
///       co_await service.decide(PermissionDecision::allow, session.permission->id, connection);
namespace idlewyn {

using platform::Date;
using platform::fromRawValue;
using platform::rawValue;

struct PermissionPrompt {
  PermissionPrompt(std::string id, std::string toolName, std::string detail, Date createdAt,
                   std::optional<std::string> alwaysRule)
      : id(std::move(id)),
        toolName(std::move(toolName)),
        detail(std::move(detail)),
        createdAt(createdAt),
        alwaysRule(std::move(alwaysRule)) {}
  explicit PermissionPrompt(platform::DecodingKey) {}

  friend bool operator==(const PermissionPrompt&, const PermissionPrompt&) = default;

  using IdlewynRecord = PermissionPrompt;
  static constexpr auto fields() {
    using P = PermissionPrompt;
    return std::tuple{platform::field("id", &P::id), platform::field("toolName", &P::toolName),
                      platform::field("detail", &P::detail),
                      platform::field("createdAt", &P::createdAt),
                      platform::field("alwaysRule", &P::alwaysRule)};
  }

  /// The identity, and what an answer names the prompt by.
  std::string id;
  std::string toolName;
  /// What the tool is about to do, a command line say. Written by the agent: not to be trusted
  /// with control characters when shown.
  std::string detail;
  Date createdAt;
  /// The rule that an `always` answer adds, such as `Bash(make test)`.
  std::optional<std::string> alwaysRule;
};

enum class PermissionDecision : std::uint8_t {
  allow,
  deny,
  /// Allow, and let the agent add the prompt's `alwaysRule`, so that it won't ask for the like
  /// again. What it means for a prompt without a rule is the relay's affair; offer it only
  /// where there is one.
  always
};

}  // namespace idlewyn

template <>
struct idlewyn::platform::RawValues<idlewyn::PermissionDecision> {
  static constexpr std::string_view typeName = "PermissionDecision";
  static constexpr std::array<std::string_view, 3> texts{"allow", "deny", "always"};
  static constexpr bool isIterable = false;
};
