// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/ConnectionSockets.hpp>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>

namespace idlewyn::platform {
namespace {

int localPortOf(int socket) {
  sockaddr_storage name{};
  socklen_t size = sizeof name;
  if (getsockname(socket, reinterpret_cast<sockaddr*>(&name), &size) != 0) return -1;
  return ntohs(name.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6&>(name).sin6_port
                                          : reinterpret_cast<sockaddr_in&>(name).sin_port);
}

}  // namespace

void ConnectionSockets::add(int localPort, const std::vector<int>& opened,
                            const Connection& connection) {
  for (const int socket : opened) {
    if (localPortOf(socket) != localPort) continue;
    remove(socket);
    if (connection.isShared()) connection.secure->use(socket);
    entries_.emplace(socket, Entry{localPort, connection});
    sockets_.emplace(localPort, socket);
    if (connection.isShared()) ++shared_[connection.origin];
  }
}

void ConnectionSockets::remove(int socket) {
  const auto found = entries_.find(socket);
  if (found == entries_.end()) return;
  const auto [first, last] = sockets_.equal_range(found->second.localPort);
  const auto entry =
      std::find_if(first, last, [&](const auto& pair) { return pair.second == socket; });
  if (entry != last) sockets_.erase(entry);
  if (found->second.connection.isShared()) {
    const auto shared = shared_.find(found->second.connection.origin);
    if (shared != shared_.end() && --shared->second == 0) shared_.erase(shared);
  }
  entries_.erase(found);
}

bool ConnectionSockets::isSpoilt(int localPort) const {
  const auto found = sockets_.find(localPort);
  if (found == sockets_.end() || sockets_.count(localPort) > 1) return false;
  const bool isShared = entries_.at(found->second).connection.isShared();
  const int signs = isShared ? POLLRDHUP : POLLRDHUP | POLLIN;
  pollfd state{found->second, static_cast<short>(signs), 0};
  return poll(&state, 1, 0) == 1;  // an error or a reset counts as well
}

std::shared_ptr<SecureConnection> ConnectionSockets::secureAt(int socket) const {
  const auto found = entries_.find(socket);
  return found == entries_.end() ? nullptr : found->second.connection.secure;
}

}  // namespace idlewyn::platform
