// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <IdlewynKit/platform/net/HTTPResponse.hpp>

namespace idlewyn::platform {

/// Puts a response together from the lines and pieces in which it arrives.
class ResponseReader {
 public:
  static constexpr std::size_t maximumBodySize = std::size_t{64} << 20;
  static constexpr std::size_t maximumHeadSize = std::size_t{256} << 10;
  /// Free capacity behind what has come of a body, so that a parser which reads ahead needs no
  /// copy.
  static constexpr std::size_t spareCapacity = 64;

  /// Takes one line of a head: a status line, a field or the blank line that ends the head.
  /// Interim heads are forgotten, trailer fields behind the body are ignored. False when all
  /// the lines together grow beyond the maximum.
  bool takeHeadLine(std::string_view line);

  /// The status of the head that the last blank line ended; 0 while a head is being read.
  int endedHeadStatus() const noexcept { return isInHead_ ? 0 : status_; }

  /// Whether lines came and none of them began a head.
  bool hasForeignHead() const noexcept { return headSize_ > 0 && status_ == 0 && !isInHead_; }

  /// Makes room for a body of that size, as far as a server's word for it goes.
  void expectBody(std::size_t size);
  /// False when the body grows beyond the maximum; it is let go then.
  bool takeBody(std::string_view piece);

  /// What came of the body is not what the server meant.
  void dropBody() { body_.clear(); }

  HTTPResponse finish();

 private:
  void takeField(std::string_view line);
  void makeRoom(std::size_t size);

  std::vector<std::pair<std::string, std::string>> headers_;
  std::string body_;
  std::size_t headSize_ = 0;
  int status_ = 0;
  bool isInHead_ = false;
};

}  // namespace idlewyn::platform
