// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include <IdlewynKit/platform/base/URL.hpp>

namespace idlewyn::sandbox {

/// What came back: everything up to the length that the head promises, or up to the end.
struct RawReply {
  int status = 0;
  std::string head;
  std::string body;
  /// The connection ended, or nothing came in time, before the promised length was there.
  bool cut = false;
};

/// A connection that sends bytes as they are given, so that servers can be shown wrong ones.
/// Reads wait two seconds at most. Certificates are not verified.
class RawClient {
 public:
  /// `protocols` as ALPN offers them: each name behind its length.
  explicit RawClient(const platform::URL& address, std::string_view protocols = "\x08http/1.1");
  ~RawClient();
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  /// False when there is no connection or the handshake failed.
  bool connected() const { return connected_; }
  void send(std::string_view bytes);
  RawReply receive(bool headOnly = false);
  /// What comes until the connection ends.
  std::string receiveAll();
  RawReply exchange(std::string_view bytes) {
    send(bytes);
    return receive();
  }
  /// True when the server has closed its side, waiting that long for it.
  bool closedWithin(int milliseconds) const;

  /// SHA-256 of the server's certificate, and the protocol that was agreed on.
  std::string peerFingerprint() const;
  std::string protocol() const;

 private:
  bool readMore();

  void* stream_ = nullptr;  // BIO
  void* ssl_ = nullptr;     // SSL, owned by the stream
  bool connected_ = false;
  std::string buffer_;
};

/// The text of a request; a body brings Content-Length and a token Authorization with it.
std::string requestText(std::string_view methodAndTarget, std::string_view token = {},
                        std::string_view body = {}, std::string_view extraHeaders = {});

}  // namespace idlewyn::sandbox
