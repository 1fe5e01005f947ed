// SPDX-License-Identifier: MIT
#include "Server.hpp"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>
#include <stdexcept>
#include <system_error>

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace idlewyn::sandbox {

struct Server::Connection {
  Connection(int socket, TLSContextPointer context)
      : stream(std::in_place, socket, std::move(context)) {}

  /// Emptied under the server's mutex when the connection ends, so that nobody interrupts a
  /// socket whose number belongs to another file by then.
  std::optional<Stream> stream;
  std::thread thread;
  /// Between a whole request and its whole answer.
  std::atomic<bool> busy = false;
  /// No more requests behind the present one.
  std::atomic<bool> retired = false;
};

namespace {

[[noreturn]] void failOn(const std::string& what) {
  throw std::runtime_error(what + ": " + std::generic_category().message(errno));
}

// Threads of the server leave every signal to the program; a peer that has gone must not raise
// SIGPIPE out of OpenSSL's writes either.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

std::uint16_t boundPort(int socket) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) failOn("no port");
  return ntohs(address.ss_family == AF_INET6
                   ? reinterpret_cast<const sockaddr_in6&>(address).sin6_port
                   : reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

int listenOn(const addrinfo& address) {
  const int socket = ::socket(address.ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (socket < 0) return -1;
  const int on = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(socket, address.ai_addr, address.ai_addrlen) == 0 && ::listen(socket, 1024) == 0) {
    return socket;
  }
  close(socket);
  return -1;
}

}  // namespace

Server::Server(const std::string& host, std::uint16_t port, const ServerCertificate* certificate,
               Handler handler)
    : handler_(std::move(handler)) {
  if (certificate != nullptr) {
    context_ = makeTLSContext(certificate->chainPEM, certificate->keyPEM);
  }
  listen(host, port);
  const SignalsBlocked blocked;
  acceptor_ = std::thread([this] { acceptConnections(); });
}

Server::~Server() { stop(); }

void Server::listen(const std::string& host, std::uint16_t port) {
  addrinfo hints{};
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int error = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (error != 0) throw std::runtime_error("bad address " + host + ": " + gai_strerror(error));
  listener_ = listenOn(*found);
  freeaddrinfo(found);
  if (listener_ < 0) failOn("can't listen on " + host);
  port_ = boundPort(listener_);
}

void Server::stop() {
  if (stopping_.exchange(true)) return;
  // Shutting a listening socket down wakes its accept.
  shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  close(listener_);
  {
    const std::lock_guard lock(mutex_);
    for (Connection& connection : connections_) {
      if (connection.stream) connection.stream->interrupt();
    }
  }
  for (Connection& connection : connections_)
    connection.thread.join();
  connections_.clear();
}

void Server::useCertificate(const ServerCertificate& certificate) {
  auto context = makeTLSContext(certificate.chainPEM, certificate.keyPEM);
  const std::lock_guard lock(mutex_);
  context_ = std::move(context);
  for (Connection& connection : connections_) {
    connection.retired = true;
    if (connection.stream && !connection.busy) connection.stream->interrupt();
  }
}

std::size_t Server::open() const {
  const std::lock_guard lock(mutex_);
  std::size_t count = 0;
  for (const Connection& connection : connections_)
    count += connection.stream ? 1 : 0;
  return count;
}

void Server::acceptConnections() {
  while (!stopping_) {
    const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    reap();
    if (socket >= 0) {
      ++accepted_;
      admit(socket);
    } else if (!stopping_) {
      // Out of descriptors, say: what waits in the backlog can be taken later.
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }
}

void Server::admit(int socket) {
  const std::lock_guard lock(mutex_);
  if (connections_.size() >= maximumConnections) {
    close(socket);
    return;
  }
  Connection& connection = connections_.emplace_back(socket, context_);
  try {
    connection.thread = std::thread([this, &connection] { run(connection); });
  } catch (const std::system_error&) {
    connections_.pop_back();
  }
}

void Server::reap() {
  const std::lock_guard lock(mutex_);
  std::erase_if(connections_, [](Connection& connection) {
    if (connection.stream) return false;
    connection.thread.join();
    return true;
  });
}

void Server::run(Connection& connection) {
  serve(connection);
  const std::lock_guard lock(mutex_);
  connection.stream.reset();
}

void Server::serve(Connection& connection) {
  Stream& stream = *connection.stream;
  if (!stream.handshake()) return;
  RequestParser parser;
  std::array<char, 16 * 1024> buffer;
  std::string_view bytes;
  bool continued = false;
  while (true) {
    const auto state = parser.consume(bytes);
    if (state == RequestParser::State::needsMore) {
      if (!continued && parser.expectsContinue()) {
        continued = true;
        if (!stream.write("HTTP/1.1 100 Continue\r\n\r\n")) return;
      }
      const std::size_t count = stream.read(buffer);
      if (count == 0) return;
      bytes = {buffer.data(), count};
      continue;
    }
    continued = false;
    const bool goesOn =
        state == RequestParser::State::complete
            ? answer(connection, parser.take())
            : stream.write(responseText(HTTPAnswer(parser.failure(), R"({"error":"bad request"})"),
                                        false)) &&
                  false;
    if (!goesOn) return stream.finish();
  }
}

bool Server::answer(Connection& connection, const HTTPRequest& request) {
  connection.busy = true;
  PlannedAnswer answer = handler_(request, connection.stream->fromLoopback());
  const bool keepAlive = request.keepAlive && !connection.retired;
  const bool goesOn = deliver(*connection.stream, std::move(answer),
                              DeliveryOptions(keepAlive, request.method == "HEAD"));
  connection.busy = false;
  return goesOn && !connection.retired;
}

}  // namespace idlewyn::sandbox
