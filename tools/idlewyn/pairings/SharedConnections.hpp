// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>

#include <IdlewynKit/storage/ConnectionStore.hpp>

#include <tools/idlewyn/pairings/ConnectionList.hpp>

namespace idlewyn::command {

/// The list in the keychain that all processes of the product share. Reading the store reads
/// every failure as an empty list; here it is a Failure, so that a keychain that is locked or
/// can't be reached never costs a connection.
class SharedConnections final : public ConnectionList {
 public:
  /// `pause` waits between attempts to lock the list for updating, for `limit` at most.
  SharedConnections(const ConnectionStore& store,
                    std::function<void(std::chrono::milliseconds)> pause,
                    std::chrono::milliseconds limit = std::chrono::seconds(10));

  std::vector<Connection> load() const override;
  void save(const std::vector<Connection>& connections) override;
  /// A damaged file of the keychain is renamed; a damaged list goes under the first key of the
  /// same service that is free: "connections.damaged", "connections.damaged-2" and so on.
  SetAside setDamagedAside() override;
  std::shared_ptr<void> exclude() override;

 protected:
  void trySaving(const std::vector<Connection>& connections) override;

 private:
  const ConnectionStore store_;
  const std::function<void(std::chrono::milliseconds)> pause_;
  const std::chrono::milliseconds limit_;
};

}  // namespace idlewyn::command
