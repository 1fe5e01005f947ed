// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <IdlewynKit/platform/net/internal/SecureConnection.hpp>

namespace idlewyn::platform {

/// The sockets of a session's connections. libcurl names the connection over which it is about
/// to send by its local port alone, and its own look at a kept connection mistakes the closing
/// alert of TLS for a sign of life.
class ConnectionSockets {
 public:
  /// A connection that has been made. `secure` is null where it is plain.
  struct Connection {
    std::string origin;
    std::shared_ptr<SecureConnection> secure;

    bool isShared() const noexcept { return secure && secure->isOverHTTP2(); }
  };

  /// The connection with that local port is new; its socket is one of `opened`.
  void add(int localPort, const std::vector<int>& opened, const Connection& connection);
  void remove(int socket);

  /// Whether the connection with that local port can't carry another request: its peer has
  /// ended it or, where it is not shared, has sent what nobody asked for, which must not pass
  /// for the next answer (RFC 9112 section 9.2). False when in doubt.
  bool isSpoilt(int localPort) const;

  /// The TLS side of the connection with that socket; null when there is none.
  std::shared_ptr<SecureConnection> secureAt(int socket) const;
  /// Whether a connection to that origin is open that carries several exchanges at a time.
  bool hasShared(const std::string& origin) const { return shared_.contains(origin); }

 private:
  struct Entry {
    int localPort;
    Connection connection;
  };

  std::unordered_map<int, Entry> entries_;  // by socket
  // Connections to different peers may have the same local port.
  std::unordered_multimap<int, int> sockets_;            // by local port
  std::unordered_map<std::string, std::size_t> shared_;  // how many, by origin
};

}  // namespace idlewyn::platform
