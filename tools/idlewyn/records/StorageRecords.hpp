// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <IdlewynKit/model/PushTokenRegistration.hpp>
#include <IdlewynKit/platform/secrets/KeychainPlace.hpp>

#include <tools/idlewyn/records/Records.hpp>

/// What `--json` writes about what is kept on this machine. Nothing here can hold a secret.
namespace idlewyn::command {

/// `connections`.
struct ConnectionListRecord {
  ConnectionListRecord() = default;
  explicit ConnectionListRecord(DecodingKey) {}

  static constexpr auto fields() {
    return std::tuple{field("connections", &ConnectionListRecord::connections)};
  }

  std::vector<ConnectionRecord> connections;
};

/// `push register`: without the token, which lets its holder push.
struct PushRecord {
  explicit PushRecord(const PushTokenRegistration& registration)
      : deviceID(registration.deviceID),
        kind(registration.kind),
        environment(registration.environment),
        hasPushKey(registration.pushKey.has_value()) {}
  explicit PushRecord(DecodingKey) {}

  static constexpr auto fields() {
    using R = PushRecord;
    return std::tuple{field("deviceID", &R::deviceID),       field("kind", &R::kind),
                      field("environment", &R::environment), field("hasPushKey", &R::hasPushKey),
                      field("agents", &R::agents),           field("errors", &R::errors)};
  }

  std::string deviceID;
  PushTokenRegistration::Kind kind{};
  std::string environment;
  bool hasPushKey = false;
  /// Whose relays have the token now.
  std::vector<AgentProvider> agents;
  std::vector<AgentErrorRecord> errors;
};

/// `keychain where` and `keychain move`.
struct KeychainRecord {
  explicit KeychainRecord(const platform::KeychainLocation& location)
      : place(location.place),
        directory(location.directory.native()),
        description(location.description) {}
  explicit KeychainRecord(DecodingKey) {}

  static constexpr auto fields() {
    using R = KeychainRecord;
    return std::tuple{field("place", &R::place), field("directory", &R::directory),
                      field("description", &R::description), field("problem", &R::problem),
                      field("remedy", &R::remedy)};
  }

  /// Absent when nothing was ever written, and where it can't be told.
  std::optional<platform::KeychainPlace> place;
  std::string directory;
  std::string description;
  /// Why pairings can't be read there, and what helps.
  std::optional<std::string> problem;
  std::optional<std::string> remedy;
};

}  // namespace idlewyn::command
