// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <boost/asio/io_context.hpp>

#include <tools/relay-core/Service.hpp>
#include <tools/relay/server/Admission.hpp>

/// The relay's interface over HTTP/1.1 (RFC 9112), with TLS unless told otherwise. Works on the
/// context's one thread, and writes nothing to any log.
///
///     Server server(context, relay, options);
///     server.start();
namespace idlewyn::relay {

struct ServerOptions {
  std::string host = "127.0.0.1";
  /// 0 lets the kernel choose.
  std::uint16_t port = 0;
  /// PEM; without them the server speaks plain http.
  std::optional<std::string> certificateChain;
  std::string privateKey;

  std::size_t largestHead = 16U << 10U;
  std::size_t largestBody = 64U << 10U;
  /// From the connection to the end of the TLS handshake.
  std::chrono::milliseconds handshakeTime{10'000};
  /// Between two requests.
  std::chrono::milliseconds idleTime{75'000};
  /// From a request's first byte to its last, and from an answer's.
  std::chrono::milliseconds receivingTime{15'000};
  std::chrono::milliseconds sendingTime{30'000};
  AdmissionLimits admission;
};

class Server {
 public:
  /// `service` outlives the server. Throws std::runtime_error when the certificate can't be used.
  Server(boost::asio::io_context& context, Service& service, ServerOptions options);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  /// Stops listening. Open connections end after their present request, or with the context.
  ~Server();

  /// Listens. Throws std::runtime_error that names address and port when it can't.
  void start();
  /// Valid after `start`.
  std::uint16_t port() const;

 private:
  class Listener;
  std::shared_ptr<Listener> listener_;
};

}  // namespace idlewyn::relay
