// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tools/relay-core/HTTPMessages.hpp>

/// HTTP/1.1 messages (RFC 9112) as a server reads and writes them, without any socket.
///
///     RequestParser parser;
///     while (parser.consume(bytes) == RequestParser::State::needsMore) bytes = read();
///     write(responseText(answer(parser.take()), true));
namespace idlewyn::sandbox {

using relay::equalsIgnoringCase;
using relay::Header;
using relay::HTTPAnswer;
using relay::HTTPRequest;

/// Reads one request after another from a stream of bytes. Strict where leniency lets two
/// readers disagree: bare line feeds, folded headers, both lengths at once are refused.
class RequestParser {
 public:
  enum class State { needsMore, complete, failed };

  static constexpr std::size_t maximumLine = 8 * 1024;
  static constexpr std::size_t maximumHead = 32 * 1024;
  static constexpr std::size_t maximumBody = 1024 * 1024;

  /// Takes what belongs to the current request from the front of `bytes`.
  State consume(std::string_view& bytes);

  /// The status that answers a failed request; the connection has to be closed behind it.
  int failure() const noexcept { return failure_; }
  /// The head asked for "100 Continue" and no byte of the body has come yet.
  bool expectsContinue() const noexcept;
  /// No byte of a request has come yet.
  bool idle() const noexcept { return stage_ == Stage::requestLine && line_.empty(); }

  /// Hands over the complete request and starts on the next.
  HTTPRequest take();

 private:
  enum class Stage { requestLine, headers, body, chunkSize, chunkData, chunkEnd, trailers, done };

  bool takeLine(std::string_view& bytes);
  void takeBody(std::string_view& bytes);
  void handleLine(std::string_view line);
  void handleRequestLine(std::string_view line);
  void handleHeader(std::string_view line);
  void handleHeadEnd();
  void handleChunkSize(std::string_view line);
  bool readLengths();
  void fail(int status) noexcept { failure_ = status; }

  HTTPRequest request_;
  Stage stage_ = Stage::requestLine;
  std::string line_;
  std::size_t headSize_ = 0;
  std::size_t remaining_ = 0;
  int minorVersion_ = 1;
  int failure_ = 0;
  bool chunked_ = false;
};

/// The bytes of a response with all its headers; `keepAlive` false adds "Connection: close".
std::string responseHead(const HTTPAnswer& response, std::size_t contentLength, bool keepAlive);
std::string responseText(const HTTPAnswer& response, bool keepAlive);

std::string_view reasonPhrase(int status) noexcept;

}  // namespace idlewyn::sandbox
