// SPDX-License-Identifier: MIT
#pragma once

#include <unordered_map>
#include <vector>

namespace idlewyn::platform {

/// The sockets behind a session's connections, by local port: all that libcurl says of the
/// connection over which it is about to send. Its own look at a kept connection takes the
/// closing alert of TLS for a sign of life.
class ConnectionSockets {
 public:
  /// The connection with that local port is new; its socket is one of `opened`.
  void add(int localPort, const std::vector<int>& opened);
  void remove(int socket);

  /// Whether the peer has ended the connection with that local port. False when in doubt.
  bool isEnded(int localPort) const;

 private:
  // -1 where connections to different peers share a port.
  std::unordered_map<int, int> sockets_;
};

}  // namespace idlewyn::platform
