// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_map>

namespace idlewyn::platform {

/// What a server has said about our streams in the frames of one HTTP/2 connection (RFC 9113).
/// libcurl does not tell whether a response was ended by its server or only stopped, nor
/// whether a request was processed.
class HTTP2Ledger {
 public:
  struct Stream {
    /// The server ended the stream (END_STREAM).
    bool isEnded = false;
    /// A part of an answer has come.
    bool isAnswered = false;
    /// The server declared that it did not process the request.
    bool isUnprocessed = false;
    /// Bytes of content in DATA frames, padding left out.
    std::uint64_t contentSize = 0;
  };

  /// Takes the next bytes of the connection, in pieces of any size.
  void take(std::string_view bytes);

  /// The number of the next request's stream. libcurl numbers its streams in the order in which
  /// it sends their requests.
  std::uint32_t openStream();
  /// What is known of that stream, which is forgotten.
  Stream closeStream(std::uint32_t number);
  bool isUnprocessed(std::uint32_t number) const;

  /// The server takes no further requests on this connection.
  bool isGoingAway() const noexcept { return isGoingAway_ || isBroken_; }
  /// The server broke the rules of framing: nothing that follows counts.
  bool isBroken() const noexcept { return isBroken_; }

 private:
  void beginFrame();
  void takePayload(std::string_view& bytes);
  void endFrame();
  void endGoAway();
  Stream* current();
  std::uint32_t number(std::size_t at) const;

  std::unordered_map<std::uint32_t, Stream> streams_;  // those that are open
  std::uint32_t next_ = 1;
  bool isGoingAway_ = false;
  bool isBroken_ = false;

  std::array<char, 9> head_{};
  std::size_t headSize_ = 0;
  std::array<char, 8> start_{};  // of the payload
  std::size_t length_ = 0;
  std::size_t taken_ = 0;
  std::uint8_t type_ = 0;
  std::uint8_t flags_ = 0;
  std::uint32_t stream_ = 0;
};

}  // namespace idlewyn::platform
