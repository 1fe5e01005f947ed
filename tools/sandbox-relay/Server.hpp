// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include <tools/relay-core/ServerCertificate.hpp>
#include "Delivery.hpp"

/// A small web server: a listening socket, and a thread for each connection.
///
///     Server server("127.0.0.1", 0, &certificate, answerTo);
///     server.port();   // what the kernel chose
///     server.stop();   // every connection is closed, every thread has ended
namespace idlewyn::sandbox {

using relay::ServerCertificate;

class Server {
 public:
  /// Called on the threads of connections, several at once. The flag tells whether the peer is
  /// on this machine.
  using Handler = std::function<PlannedAnswer(const HTTPRequest&, bool fromLoopback)>;

  /// More connections than this at once are closed as soon as they are accepted.
  static constexpr std::size_t maximumConnections = 1200;

  /// Listens at once; plain HTTP without a certificate. Port 0 lets the kernel choose. Throws
  /// std::runtime_error when the address can't be used.
  Server(const std::string& host, std::uint16_t port, const ServerCertificate* certificate,
         Handler handler);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// Closes everything and waits for every thread. May be called twice.
  void stop();

  std::uint16_t port() const noexcept { return port_; }
  /// For new connections; those that exist are closed, at once or behind their next answer.
  void useCertificate(const ServerCertificate& certificate);
  /// Connections accepted so far.
  std::size_t accepted() const noexcept { return accepted_; }
  /// Connections that are open now.
  std::size_t open() const;

 private:
  struct Connection;

  void listen(const std::string& host, std::uint16_t port);
  void acceptConnections();
  void admit(int socket);
  void reap();
  void run(Connection& connection);
  void serve(Connection& connection);
  bool answer(Connection& connection, const HTTPRequest& request);

  const Handler handler_;
  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::atomic<std::size_t> accepted_ = 0;
  std::atomic<bool> stopping_ = false;

  mutable std::mutex mutex_;
  TLSContextPointer context_;
  std::list<Connection> connections_;
  std::thread acceptor_;
};

}  // namespace idlewyn::sandbox
