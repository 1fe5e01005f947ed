// SPDX-License-Identifier: MIT
// What a session does when its sockets are ready.
#include <curl/curl.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <memory>
#include <new>
#include <utility>
#include <vector>

#include <IdlewynKit/platform/net/internal/SessionCore.hpp>

namespace idlewyn::platform {

void SessionCore::ready(int socket, std::uint32_t events) {
  // An error shows in what reading or writing says; as a bare error libcurl would take it for
  // a failed sending.
  int wanted = 0;
  if ((events & (EPOLLIN | EPOLLERR | EPOLLHUP)) != 0) wanted |= CURL_CSELECT_IN;
  if ((events & (EPOLLOUT | EPOLLERR | EPOLLHUP)) != 0) wanted |= CURL_CSELECT_OUT;
  const std::shared_ptr<SecureConnection> connection = sockets_.secureAt(socket);
  if (connection && connection->isOverHTTP2()) {
    actByRecord(*connection, socket, wanted);
  } else {
    act(socket, wanted);
    if (connection && connection->takeRefusal()) actLater(socket);
  }
}

void SessionCore::actByRecord(SecureConnection& connection, int socket, int events) {
  using Input = SecureConnection::Input;
  const auto self = shared_from_this();
  const auto bytes = [&] { return connection.received() + connection.sent(); };
  const std::uint64_t before = bytes();
  int left = events;
  connection.expectInput();
  while (true) {
    const Input input = connection.nextRecord();
    if (input == Input::none) left &= ~CURL_CSELECT_IN;
    // libcurl would wait for the rest of an answer that can't come any more.
    if (connection.ledger().isBroken()) shutdown(socket, SHUT_RDWR);
    if (left != 0) act(socket, left);
    if (loop().isTurnOver()) return actLater(socket);
    if (input != Input::some || !loop().isWatched(socket)) break;
    left = CURL_CSELECT_IN;
  }
  if ((events & CURL_CSELECT_OUT) != 0 && bytes() == before) {
    pauseWriting(socket, before);
  }
}

void SessionCore::pauseWriting(int socket, std::uint64_t bytes) {
  try {
    stalled_.push_back({socket, bytes});
    loop().pauseWriting(socket);
  } catch (const std::bad_alloc&) {
    // It goes on asking: slow, but right.
  }
}

// What is left may be in libcurl's or OpenSSL's memory, of which epoll knows nothing.
void SessionCore::actLater(int socket) {
  try {
    unreadSockets_.push_back(socket);
    runWhenIdle();
  } catch (const std::bad_alloc&) {
    // What is left in the socket will be told again.
  }
}

void SessionCore::readAgain() {
  for (const int socket : std::exchange(unreadSockets_, {})) {
    if (multi_ != nullptr && loop().isWatched(socket)) ready(socket, EPOLLIN);
  }
}

void SessionCore::resumeStalled() {
  std::erase_if(stalled_, [&](const Stalled& stalled) {
    const auto connection = sockets_.secureAt(stalled.socket);
    if (!connection) return true;
    if (connection->received() + connection->sent() == stalled.bytes) return false;
    loop().resumeWriting(stalled.socket);
    return true;
  });
}

}  // namespace idlewyn::platform
