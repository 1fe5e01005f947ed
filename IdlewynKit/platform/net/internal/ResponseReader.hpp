// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <IdlewynKit/platform/net/HTTPResponse.hpp>

namespace idlewyn::platform {

/// What makes a head unusable.
enum class HeadFault {
  none,
  tooLarge,
  /// More than one content coding. A few bytes of the outer one can stand for hours of work on
  /// the inner one, so layers are never decoded.
  layeredCodings,
  /// Lengths that contradict each other: nobody knows where the content ends (RFC 9112,
  /// section 6.3).
  unequalLengths,
};

/// Puts a response together from the lines and pieces in which it arrives.
class ResponseReader {
 public:
  static constexpr std::size_t maximumBodySize = std::size_t{64} << 20;
  static constexpr std::size_t maximumHeadSize = std::size_t{256} << 10;
  /// Free capacity behind what has come of a body, so that a parser which reads ahead needs no
  /// copy.
  static constexpr std::size_t spareCapacity = 64;

  /// Takes one line of a head: a status line, a field or the blank line that ends the head.
  /// Interim heads are forgotten, trailer fields behind the body are ignored.
  HeadFault takeHeadLine(std::string_view line);

  /// The status of the head that the last blank line ended; 0 while a head is being read.
  int endedHeadStatus() const noexcept { return isInHead_ ? 0 : status_; }

  /// The status of the latest head, complete or not; 0 before the first one.
  int status() const noexcept { return status_; }

  /// Whether lines came and none of them began a head.
  bool hasForeignHead() const noexcept { return headSize_ > 0 && status_ == 0 && !isInHead_; }

  /// Whether a line of any head has come.
  bool hasHead() const noexcept { return headSize_ > 0; }

  /// Makes room for a body of that size, as far as a server's word for it goes.
  void expectBody(std::size_t size);
  /// False when the body grows beyond the maximum; it is let go then.
  bool takeBody(std::string_view piece);

  /// What came of the body is not what the server meant.
  void dropBody() { body_.clear(); }

  HTTPResponse finish();

 private:
  void takeField(std::string_view line);
  HeadFault examineFields();
  void makeRoom(std::size_t size);

  std::vector<std::pair<std::string, std::string>> headers_;
  std::string body_;
  // Of all heads so far: libcurl obeys what an interim head says of coding and length, too.
  std::size_t codings_ = 0;
  std::optional<std::string> length_;
  std::size_t headSize_ = 0;
  int status_ = 0;
  bool isInHead_ = false;
};

}  // namespace idlewyn::platform
