// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/ResponseReader.hpp>

#include <algorithm>
#include <charconv>

#include <IdlewynKit/platform/net/internal/HTTPSyntax.hpp>

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

// The elements of a list that is separated by commas, empty ones left out.
std::vector<std::string_view> elementsOf(std::string_view list) {
  std::vector<std::string_view> elements;
  while (!list.empty()) {
    const auto end = std::min(list.find(','), list.size());
    if (const auto element = trimmed(list.substr(0, end)); !element.empty()) {
      elements.push_back(element);
    }
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return elements;
}

bool changesContent(std::string_view coding) {
  return !equalIgnoringCase(coding, "identity") && !equalIgnoringCase(coding, "chunked");
}

bool isInterim(int status) { return status / 100 == 1 && status != 101; }

}  // namespace

HeadFault ResponseReader::takeHeadLine(std::string_view line) {
  headSize_ += line.size();
  if (headSize_ > maximumHeadSize) return HeadFault::tooLarge;
  const bool mayBegin = !isInHead_ && (status_ == 0 || isInterim(status_));
  if (mayBegin && line.starts_with("HTTP/")) {
    isInHead_ = true;
    status_ = statusOf(line);
    headers_.clear();
    makeRoom(0);  // there may be no body
  } else if (isInHead_ && trimmed(line).empty()) {
    isInHead_ = false;
    return examineFields();
  } else if (isInHead_) {
    takeField(line);
  }
  return HeadFault::none;
}

HeadFault ResponseReader::examineFields() {
  for (const auto& [name, value] : headers_) {
    if (equalIgnoringCase(name, "Content-Encoding") ||
        equalIgnoringCase(name, "Transfer-Encoding")) {
      const auto codings = elementsOf(value);
      codings_ +=
          static_cast<std::size_t>(std::count_if(codings.begin(), codings.end(), changesContent));
      if (codings_ > 1) return HeadFault::layeredCodings;
    } else if (equalIgnoringCase(name, "Content-Length")) {
      for (const std::string_view length : elementsOf(value)) {
        if (!length_) length_ = length;
        if (length != *length_) return HeadFault::unequalLengths;
      }
    }
  }
  return HeadFault::none;
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
