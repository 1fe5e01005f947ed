// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <IdlewynKit/relay/Connection.hpp>

namespace idlewyn::command {

/// Where something damaged is now: a file, or else an item of the keychain. Also the document of
/// `unpair --damaged --json`.
struct SetAside {
  SetAside() = default;
  explicit SetAside(platform::DecodingKey) {}

  static constexpr auto fields() {
    using platform::field;
    return std::tuple{field("file", &SetAside::file), field("item", &SetAside::item)};
  }

  std::optional<std::string> file;
  std::optional<std::string> item;
};

/// The paired agents, wherever they are kept: at most one connection an agent.
class ConnectionList {
 public:
  virtual ~ConnectionList() = default;

  /// An empty list when nothing was ever saved. Throws a Failure when there is something that
  /// can't be read.
  virtual std::vector<Connection> load() const = 0;
  /// Replaces the whole list or, when it throws, nothing.
  virtual void save(const std::vector<Connection>& connections) = 0;

  /// Loads, changes and saves, with other processes kept out. A list that can't be read stops
  /// this before anything is changed.
  void update(const std::function<void(std::vector<Connection>&)>& change);

  /// Puts what can't be read, a list or all that keeps it, where it is out of the way, not lost.
  /// Throws a Failure when nothing is damaged.
  virtual SetAside setDamagedAside() = 0;

  /// Keeps other processes from updating for as long as the result lives.
  virtual std::shared_ptr<void> exclude() = 0;

  /// Throws a Failure now when `update` would: before something that can't be repeated.
  void prepare();

  /// The connection of that agent, or of each. Where several of one agent are listed, the last
  /// counts until it is removed. Throws a Failure when there is none.
  std::vector<Connection> paired(std::optional<AgentProvider> agent) const;
  /// The connection of that agent, or the only one. Throws a Failure when several fit.
  Connection onlyOne(std::optional<AgentProvider> agent) const;

 protected:
  /// Saves the list as `save` would, but in vain.
  virtual void trySaving(const std::vector<Connection>& connections) = 0;
};

}  // namespace idlewyn::command
