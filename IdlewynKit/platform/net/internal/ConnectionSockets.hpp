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
  /// The connection with that local port is new; its socket is one of `opened`. One that is
  /// shared carries several exchanges at a time.
  void add(int localPort, const std::vector<int>& opened, bool isShared);
  void remove(int socket);

  /// Whether the connection with that local port can't carry another request: its peer has
  /// ended it or, where it is not shared, has sent what nobody asked for, which must not pass
  /// for the next answer (RFC 9112 section 9.2). False when in doubt.
  bool isSpoilt(int localPort) const;

 private:
  struct Entry {
    int socket;
    bool isShared;
  };

  // Connections to different peers may have the same local port.
  std::unordered_multimap<int, Entry> sockets_;
};

}  // namespace idlewyn::platform
