// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

/// One accepted connection, plain or TLS, as blocking bytes.
///
///     if (!stream->handshake()) return;
///     std::size_t count = stream->read(buffer);   // 0: the peer or `interrupt` ended it
///     stream->write(answer);
namespace idlewyn::sandbox {

struct TLSContext;

/// The TLS side of a listener: certificate, key and settings, shared by its connections.
using TLSContextPointer = std::shared_ptr<const TLSContext>;

/// TLS 1.2 and later, HTTP/1.1 as the only protocol. Throws std::runtime_error.
TLSContextPointer makeTLSContext(std::string_view chainPEM, std::string_view keyPEM);

/// Used by one thread; only `interrupt` may be called from others.
class Stream {
 public:
  /// Takes over the socket. Without a context the bytes are plain.
  Stream(int socket, TLSContextPointer context);
  ~Stream();
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  /// Does nothing for plain streams.
  bool handshake();
  /// Waits for at least one byte; 0 at the end, on errors and after two idle minutes.
  std::size_t read(std::span<char> buffer);
  /// False when the peer is gone.
  bool write(std::string_view bytes);
  /// Returns when the peer closes, or on `interrupt`.
  void waitForClose();
  /// Waits that long, less when the peer closes or on `interrupt`; false then.
  bool wait(double seconds);
  /// Ends the answers, then reads on for a moment: closing with unread bytes would throw away
  /// what the peer has not read yet.
  void finish();
  /// Wakes whoever reads, writes or waits: the connection is over.
  void interrupt() noexcept;
  /// The peer is on this machine.
  bool fromLoopback() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace idlewyn::sandbox
