// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/ConnectionSockets.hpp>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

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

void ConnectionSockets::add(int localPort, const std::vector<int>& opened, bool isShared) {
  for (const int socket : opened) {
    if (localPortOf(socket) != localPort) continue;
    remove(socket);
    sockets_.emplace(localPort, Entry{socket, isShared});
  }
}

void ConnectionSockets::remove(int socket) {
  std::erase_if(sockets_, [&](const auto& entry) { return entry.second.socket == socket; });
}

bool ConnectionSockets::isSpoilt(int localPort) const {
  const auto found = sockets_.find(localPort);
  if (found == sockets_.end() || sockets_.count(localPort) > 1) return false;
  const int signs = found->second.isShared ? POLLRDHUP : POLLRDHUP | POLLIN;
  pollfd state{found->second.socket, static_cast<short>(signs), 0};
  return poll(&state, 1, 0) == 1;  // an error or a reset counts as well
}

}  // namespace idlewyn::platform
