// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>

#include <boost/asio/ip/tcp.hpp>

#include <IdlewynKit/platform/base/URL.hpp>

namespace idlewyn::sandbox {

/// What came back: everything up to the length that the head promises, or up to the end.
struct RawReply {
  int status = 0;
  std::string head, body;
};

/// A connection without TLS that sends bytes as they are given, so that servers can be shown wrong
/// ones. Reads wait two seconds at most.
class RawClient {
 public:
  explicit RawClient(const platform::URL& address)
      : stream_("127.0.0.1", std::string(address.port().value())), connected_(stream_.good()) {}

  bool connected() const { return connected_; }
  void send(std::string_view bytes) {
    stream_ << bytes << std::flush;
    stream_.clear();  // an answer may be there though not all was taken
  }
  RawReply receive(bool headOnly = false) {
    stream_.expires_after(std::chrono::seconds(2));
    RawReply reply;
    for (std::string line; line != "\r" && std::getline(stream_, line);)
      reply.head += line + '\n';
    if (reply.head.starts_with("HTTP/1.1 ")) reply.status = std::atoi(reply.head.c_str() + 9);
    const auto length = reply.head.find("Content-Length: ");
    if (headOnly || length == std::string::npos) return reply;
    reply.body.resize(std::stoul(reply.head.substr(length + 16)));
    stream_.read(reply.body.data(), static_cast<std::streamsize>(reply.body.size()));
    reply.body.resize(static_cast<std::size_t>(stream_.gcount()));
    return reply;
  }
  RawReply exchange(std::string_view bytes) {
    send(bytes);
    return receive();
  }
  /// Reads on until the server has closed its side; false when it does not.
  bool isClosed() {
    stream_.expires_after(std::chrono::seconds(2));
    stream_.ignore(std::numeric_limits<std::streamsize>::max());
    return stream_.error() != boost::asio::error::timed_out;
  }

 private:
  boost::asio::ip::tcp::iostream stream_;
  bool connected_;
};

/// The text of a request; a body brings Content-Length and a token Authorization with it.
inline std::string requestText(std::string_view methodAndTarget, std::string_view token = {},
                               std::string_view body = {}, std::string_view extraHeaders = {}) {
  std::string text(methodAndTarget);
  text.append(" HTTP/1.1\r\nHost: relay\r\n").append(extraHeaders);
  if (!token.empty()) text.append("Authorization: Bearer ").append(token).append("\r\n");
  if (!body.empty()) text.append("Content-Length: " + std::to_string(body.size()) + "\r\n");
  return text.append("\r\n").append(body);
}

}  // namespace idlewyn::sandbox
