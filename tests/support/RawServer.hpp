// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <IdlewynKit/platform/base/Data.hpp>

/// A server on 127.0.0.1 that does exactly what a test writes down, however wrong.
///
///     RawServer server([](RawServer::Connection& connection) {
///       connection.readRequest();
///       connection.write(RawServer::answer("hello"));
///     });
///     fetch(server.url("/"));
///     EXPECT_EQ(server.requests().size(), 1u);
namespace idlewyn::testing {

/// Asks each millisecond, for ten seconds at most; false when it never came true.
template <class Condition>
bool waitUntil(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

/// A certificate with its key, made in memory (P-256, so that making one takes no time).
class TestCertificate {
 public:
  struct Shape {
    /// A DNS name or an IP address.
    std::string host = "127.0.0.1";
    /// Days from now.
    int validFrom = -1;
    int validTo = 1;
    /// Self-signed when null.
    const TestCertificate* issuer = nullptr;
    bool isAuthority = false;
    /// Whether the host stands among the alternative names, and not in the subject alone.
    bool hasAlternativeName = true;
  };

  explicit TestCertificate(const Shape& shape);
  TestCertificate() : TestCertificate(Shape()) {}

  platform::Data der() const;
  std::string pem() const;
  void* certificate() const { return certificate_.get(); }  // X509
  void* key() const { return key_.get(); }                  // EVP_PKEY

 private:
  std::shared_ptr<void> certificate_;
  std::shared_ptr<void> key_;
};

class RawServer {
 public:
  class Connection {
   public:
    Connection(RawServer& server, int socket, int number);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Head and body (by its Content-Length) of the next request, which is also recorded; empty
    /// when the peer has gone.
    std::string readRequest();
    /// So many bytes, for protocols other than HTTP/1.1; fewer when the peer has gone.
    std::string readBytes(std::size_t count);
    /// Counts as a request though it was not read by `readRequest`.
    void record(std::string request);
    /// False when the peer has gone.
    bool write(std::string_view bytes);
    /// Waits until the peer or the server's end closes the connection.
    void hang();
    /// Closes with a reset instead of an orderly end.
    void reset();
    /// Counted from 0 in the order of accepting.
    int number() const { return number_; }

   private:
    friend class RawServer;
    bool handshake();
    long read(char* bytes, std::size_t size);

    RawServer& server_;
    std::atomic<int> socket_;
    const int number_;
    void* ssl_ = nullptr;
    std::string unread_;
  };

  /// What happens on one connection, on a thread of its own; it is closed afterwards.
  using Script = std::function<void(Connection&)>;

  struct TLS {
    TestCertificate certificate{};
    /// Sent behind the certificate.
    std::vector<TestCertificate> chain{};
    /// The only version of TLS that is spoken, as OpenSSL numbers them; any when 0.
    int version = 0;
    /// Says that HTTP/2 was agreed on; what is spoken is the script's affair.
    bool choosesHTTP2 = false;
    /// Refuses clients without a certificate: an alert behind the handshake in TLS 1.3.
    bool demandsClientCertificate = false;
    /// So many connections are accepted and then left without a handshake.
    int silentConnections = 0;
  };

  explicit RawServer(Script script, std::optional<TLS> tls = std::nullopt);
  /// Answers everything with "ok".
  explicit RawServer(std::optional<TLS> tls = std::nullopt)
      : RawServer(answering(answer("ok")), std::move(tls)) {}
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  int port() const { return port_; }
  std::string url(std::string_view path, std::string_view host = "127.0.0.1") const;
  std::vector<std::string> requests() const;
  int connectionCount() const { return connectionCount_; }

  /// Waits until so many connections were accepted, or requests read; false after 10 seconds.
  bool waitForConnections(int count) const;
  bool waitForRequests(std::size_t count) const;
  /// Waits until the server has closed so many connections.
  bool waitForClosed(int count) const;

  /// A whole HTTP/1.1 answer.
  static std::string answer(std::string_view body, std::string_view status = "200 OK",
                            std::string_view fields = "");
  /// A script that gives each request of each connection that answer.
  static Script answering(std::string text);

 private:
  void acceptAll();
  void serve(Connection& connection);

  const Script script_;
  const std::optional<TLS> tls_;
  std::shared_ptr<void> context_;
  int listener_ = -1;
  int port_ = 0;
  std::atomic<bool> isStopping_{false};
  std::atomic<int> connectionCount_{0};
  std::atomic<int> closedCount_{0};
  mutable std::mutex mutex_;
  std::vector<std::string> requests_;
  std::list<Connection> connections_;
  std::vector<std::thread> threads_;
  std::thread acceptor_;
};

/// A port of 127.0.0.1 on which nothing listens.
int refusedPort();

}  // namespace idlewyn::testing
