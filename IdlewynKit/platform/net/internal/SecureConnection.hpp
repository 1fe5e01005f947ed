// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include <IdlewynKit/platform/net/internal/HTTP2Ledger.hpp>

namespace idlewyn::platform {

class IOLoop;

/// The TLS side of one connection, between libcurl and its socket. It sees to it that no server
/// holds the I/O thread: left alone, libcurl reads for as long as there is something to read.
/// Over HTTP/2 it lets libcurl read one TLS record at a time, and looks at each before libcurl
/// does.
class SecureConnection {
 public:
  enum class Input { none, some, ended };

  explicit SecureConnection(const IOLoop& loop) : loop_(loop) {}

  /// Makes the connection of that context (an SSL_CTX) pass through `connection`.
  static void install(std::shared_ptr<SecureConnection> connection, void* sslContext);
  /// The one through which that connection (an SSL) passes; null when there is none.
  static std::shared_ptr<SecureConnection> of(const void* ssl);

  ~SecureConnection();
  SecureConnection(const SecureConnection&) = delete;
  SecureConnection& operator=(const SecureConnection&) = delete;

  /// The socket that libcurl has opened for the connection. Throws std::bad_alloc.
  void use(int socket);

  bool isOverHTTP2() const noexcept { return isOverHTTP2_; }
  /// Bytes that passed in either direction, those of TLS itself included.
  std::uint64_t received() const noexcept { return received_; }
  std::uint64_t sent() const noexcept { return sent_; }

  /// Makes the next record readable for libcurl, over HTTP/2. `none` when there is no whole one;
  /// `ended` when libcurl will find the end of the connection or an error.
  Input nextRecord();
  /// The same where there may be one: not after there was none, until `expectInput`.
  void nextRecordIfAny() {
    if (!isDry_) nextRecord();
  }
  /// The socket has something to read.
  void expectInput() noexcept { isDry_ = false; }
  /// Before a request goes over a kept connection: whether it can't, for the server takes no
  /// more, or has sent what nobody asked for with the end of the last answer. The socket shows
  /// nothing of what OpenSSL has read already.
  bool isUsedUp();
  /// Whether libcurl was refused input since the last call, for it had had its share of time.
  bool takeRefusal() noexcept;
  /// The server ended the connection by an alert of TLS other than that of an orderly end.
  bool isAlerted() const noexcept { return isAlerted_; }

  HTTP2Ledger& ledger() noexcept { return ledger_; }

  /// No further request is to go over this connection: one that did had no byte of an answer in
  /// its whole time.
  void spoil() noexcept { isSpoilt_ = true; }

 private:
  struct Callbacks;
  bool mayRead() noexcept;
  int peek();

  const IOLoop& loop_;
  void* ssl_ = nullptr;     // SSL; null before the handshake and after the connection's end
  void* direct_ = nullptr;  // BIO over the socket
  HTTP2Ledger ledger_;
  std::uint64_t received_ = 0;
  std::uint64_t sent_ = 0;
  bool isOverHTTP2_ = false;  // and the handshake is done
  bool isOver_ = false;       // the socket gives no more
  bool isDry_ = true;
  bool hasRefused_ = false;
  bool isAlerted_ = false;
  bool isSpoilt_ = false;
};

}  // namespace idlewyn::platform
