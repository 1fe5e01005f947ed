// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/HTTP2Ledger.hpp>

#include <algorithm>
#include <utility>

namespace idlewyn::platform {
namespace {

// RFC 9113, sections 6 and 7.
enum FrameType : std::uint8_t { data = 0, headers = 1, resetStream = 3, goAway = 7 };
constexpr std::uint8_t endStream = 0x1, padded = 0x8;
constexpr std::uint32_t refusedStream = 7;
// We announce no other limit than the default.
constexpr std::size_t longestFrame = 16384;

}  // namespace

std::uint32_t HTTP2Ledger::openStream() {
  streams_.emplace(next_, Stream());
  return std::exchange(next_, next_ + 2);
}

HTTP2Ledger::Stream HTTP2Ledger::closeStream(std::uint32_t number) {
  const auto found = streams_.find(number);
  if (found == streams_.end()) return Stream();
  const Stream stream = found->second;
  streams_.erase(found);
  return stream;
}

bool HTTP2Ledger::isUnprocessed(std::uint32_t number) const {
  const auto found = streams_.find(number);
  return found != streams_.end() && found->second.isUnprocessed && !found->second.isAnswered;
}

void HTTP2Ledger::take(std::string_view bytes) {
  while (!bytes.empty() && !isBroken_) {
    if (headSize_ < head_.size()) {
      const std::size_t count = std::min(head_.size() - headSize_, bytes.size());
      bytes.copy(head_.data() + headSize_, count);
      headSize_ += count;
      bytes.remove_prefix(count);
      if (headSize_ == head_.size()) beginFrame();
    } else {
      takePayload(bytes);
    }
    if (headSize_ == head_.size() && taken_ == length_) endFrame();
  }
}

void HTTP2Ledger::beginFrame() {
  const auto byte = [&](std::size_t at) { return static_cast<std::uint8_t>(head_[at]); };
  length_ = std::size_t{byte(0)} << 16 | std::size_t{byte(1)} << 8 | byte(2);
  type_ = byte(3);
  flags_ = byte(4);
  stream_ = (std::uint32_t{byte(5)} & 0x7F) << 24 | std::uint32_t{byte(6)} << 16 |
            std::uint32_t{byte(7)} << 8 | byte(8);
  taken_ = 0;
  start_.fill(0);
  const bool belongsToStream = type_ == data || type_ == headers || type_ == resetStream;
  isBroken_ = length_ > longestFrame || (belongsToStream && stream_ == 0);
}

void HTTP2Ledger::takePayload(std::string_view& bytes) {
  const std::size_t count = std::min(length_ - taken_, bytes.size());
  if (taken_ < start_.size()) {
    bytes.copy(start_.data() + taken_, std::min(start_.size() - taken_, count));
  }
  taken_ += count;
  bytes.remove_prefix(count);
}

void HTTP2Ledger::endFrame() {
  headSize_ = 0;
  if (isBroken_) return;
  if (type_ == goAway) endGoAway();
  Stream* const stream = current();
  if (stream == nullptr || stream->isEnded) return;
  if (type_ == data || type_ == headers) stream->isAnswered = true;
  if (type_ == data) {
    const bool isPadded = (flags_ & padded) != 0 && length_ > 0;
    const std::size_t padding =
        isPadded ? std::size_t{1} + static_cast<std::uint8_t>(start_[0]) : 0;
    stream->contentSize += length_ - std::min(padding, length_);
  }
  if ((type_ == data || type_ == headers) && (flags_ & endStream) != 0) stream->isEnded = true;
  if (type_ == resetStream && number(0) == refusedStream) stream->isUnprocessed = true;
}

// Streams beyond the last one named were not processed and won't be (section 6.8).
void HTTP2Ledger::endGoAway() {
  isGoingAway_ = true;
  const std::uint32_t last = number(0) & 0x7FFFFFFF;
  for (auto& [stream, known] : streams_) {
    if (stream > last && !known.isEnded) known.isUnprocessed = true;
  }
}

HTTP2Ledger::Stream* HTTP2Ledger::current() {
  const auto found = streams_.find(stream_);
  return found == streams_.end() ? nullptr : &found->second;
}

std::uint32_t HTTP2Ledger::number(std::size_t at) const {
  std::uint32_t value = 0;
  for (std::size_t i = at; i < at + 4; ++i)
    value = value << 8 | static_cast<std::uint8_t>(start_[i]);
  return value;
}

}  // namespace idlewyn::platform
