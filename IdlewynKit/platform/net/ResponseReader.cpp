// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/ResponseReader.hpp>

#include <algorithm>
#include <charconv>

namespace idlewyn::platform {
namespace {

constexpr std::size_t trustedBodySize = std::size_t{1} << 20;

std::string_view trimmed(std::string_view text) {
  const auto begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

// The three digits behind the version.
int statusOf(std::string_view line) {
  unsigned status = 0;
  const auto blank = std::min(line.find(' '), line.size());
  const std::string_view rest = trimmed(line.substr(blank));
  std::from_chars(rest.data(), rest.data() + std::min<std::size_t>(rest.size(), 3), status);
  return static_cast<int>(status);
}

bool isInterim(int status) { return status / 100 == 1 && status != 101; }

}  // namespace

bool ResponseReader::takeHeadLine(std::string_view line) {
  headSize_ += line.size();
  if (headSize_ > maximumHeadSize) return false;
  const bool mayBegin = !isInHead_ && (status_ == 0 || isInterim(status_));
  if (mayBegin && line.starts_with("HTTP/")) {
    isInHead_ = true;
    status_ = statusOf(line);
    headers_.clear();
    makeRoom(0);  // there may be no body
  } else if (isInHead_ && trimmed(line).empty()) {
    isInHead_ = false;
  } else if (isInHead_) {
    takeField(line);
  }
  return true;
}

void ResponseReader::takeField(std::string_view line) {
  if (line.starts_with(' ') || line.starts_with('\t')) {  // continues the field before it
    if (!headers_.empty()) headers_.back().second.append(" ").append(trimmed(line));
    return;
  }
  const auto colon = line.find(':');
  if (colon == std::string_view::npos) return;
  headers_.emplace_back(trimmed(line.substr(0, colon)), trimmed(line.substr(colon + 1)));
}

void ResponseReader::makeRoom(std::size_t size) {
  const std::size_t needed = body_.size() + size + spareCapacity;
  if (body_.capacity() < needed) body_.reserve(std::max(2 * body_.capacity(), needed));
}

void ResponseReader::expectBody(std::size_t size) {
  body_.reserve(std::min(size, trustedBodySize) + spareCapacity);
}

bool ResponseReader::takeBody(std::string_view piece) {
  if (piece.size() > maximumBodySize - body_.size()) {
    body_ = std::string();
    return false;
  }
  makeRoom(piece.size());
  body_.append(piece);
  return true;
}

HTTPResponse ResponseReader::finish() {
  return HTTPResponse(status_, std::move(headers_), Data::ofText(std::move(body_)));
}

}  // namespace idlewyn::platform
