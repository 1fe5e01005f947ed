// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/model/PushTokenRegistration.hpp>

#include <tools/relay/sessions/Policy.hpp>

/// What the relay keeps on disk, as JSON.
namespace idlewyn::relay::state {

using platform::DecodingKey;
using platform::field;

/// What one pairing code was given to. Of its tokens only the SHA-256 is kept.
struct Device {
  Device(std::string id, std::string name, Date since, std::string address)
      : id(std::move(id)),
        name(std::move(name)),
        since(since),
        seen(since),
        address(std::move(address)) {}
  explicit Device(DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{field("id", &Device::id),           field("name", &Device::name),
                      field("since", &Device::since),     field("seen", &Device::seen),
                      field("address", &Device::address), field("claude", &Device::claude),
                      field("codex", &Device::codex),     field("pushTokens", &Device::pushTokens)};
  }

  std::optional<std::string>& digest(AgentProvider provider) {
    return provider == AgentProvider::claude ? claude : codex;
  }

  std::string id;
  std::string name;
  Date since;
  /// The last time that a token was used, and from where.
  Date seen;
  std::string address;
  std::optional<std::string> claude;
  std::optional<std::string> codex;
  std::vector<PushTokenRegistration> pushTokens;
};

struct Rule {
  explicit Rule(const KeptRule& rule)
      : provider(rule.provider), folder(rule.folder), tool(rule.tool), input(rule.input) {}
  explicit Rule(DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{field("provider", &Rule::provider), field("folder", &Rule::folder),
                      field("tool", &Rule::tool), field("input", &Rule::input)};
  }
  KeptRule kept() const { return {provider, folder, tool, input}; }

  AgentProvider provider{};
  std::string folder;
  std::string tool;
  std::string input;
};

struct State {
  State() = default;
  explicit State(DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{
        field("secret", &State::secret),   field("listen", &State::listen),
        field("port", &State::port),       field("address", &State::address),
        field("pin", &State::pin),         field("remoteApprovals", &State::remoteApprovals),
        field("locked", &State::locked),   field("away", &State::away),
        field("devices", &State::devices), field("rules", &State::rules)};
  }

  /// Makes the ids of prompts unguessable.
  std::string secret;
  /// The address and the port to listen on.
  std::string listen = "127.0.0.1";
  std::int64_t port = 0;
  /// Where devices reach the relay, and the certificate that answers there when it is not the
  /// relay's own.
  std::string address;
  std::optional<std::string> pin;
  bool remoteApprovals = true;
  bool locked = false;
  bool away = false;
  std::vector<Device> devices;
  std::vector<Rule> rules;
};

}  // namespace idlewyn::relay::state
