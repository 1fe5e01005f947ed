// SPDX-License-Identifier: MIT
#include "HTTP.hpp"

#include <algorithm>
#include <charconv>

namespace idlewyn::sandbox {
namespace {

// RFC 9110, section 5.6.2.
bool isToken(std::string_view text) noexcept {
  return !text.empty() && std::ranges::all_of(text, [](char c) {
    return relay::isUnreserved(c) ||
           std::string_view("!#$%&'*+^`|").find(c) != std::string_view::npos;
  });
}

bool isFieldValue(std::string_view text) noexcept {
  return std::ranges::none_of(text, [](char c) {
    return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F;
  });
}

std::string_view trimmed(std::string_view text) noexcept {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// The whole text as a number; no value for signs, blanks, overflow.
std::optional<std::uint64_t> number(std::string_view text, int base) noexcept {
  std::uint64_t value = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value, base);
  if (text.empty() || result.ec != std::errc{} || result.ptr != end) return std::nullopt;
  return value;
}

bool listHolds(std::string_view list, std::string_view word) noexcept {
  while (!list.empty()) {
    const auto comma = list.find(',');
    if (equalsIgnoringCase(trimmed(list.substr(0, comma)), word)) return true;
    if (comma == std::string_view::npos) break;
    list.remove_prefix(comma + 1);
  }
  return false;
}

// "http://host/path" in a request line names the same target as "/path".
std::string_view originForm(std::string_view target) noexcept {
  if (target.empty() || target.front() == '/' || target == "*") return target;
  const auto scheme = target.find("://");
  if (scheme == std::string_view::npos) return {};
  const auto slash = target.find('/', scheme + 3);
  return slash == std::string_view::npos ? "/" : target.substr(slash);
}

}  // namespace

RequestParser::State RequestParser::consume(std::string_view& bytes) {
  while (failure_ == 0 && stage_ != Stage::done) {
    if (stage_ == Stage::body || stage_ == Stage::chunkData) {
      if (bytes.empty()) return State::needsMore;
      takeBody(bytes);
      continue;
    }
    if (!takeLine(bytes)) return failure_ != 0 ? State::failed : State::needsMore;
    const std::string line = std::move(line_);
    line_.clear();
    handleLine(line);
  }
  return failure_ != 0 ? State::failed : State::complete;
}

bool RequestParser::expectsContinue() const noexcept {
  const bool atBody = (stage_ == Stage::body && request_.body.empty()) ||
                      (stage_ == Stage::chunkSize && request_.body.empty() && line_.empty());
  if (!atBody || minorVersion_ == 0) return false;
  const auto expect = request_.header("Expect");
  return expect && equalsIgnoringCase(*expect, "100-continue");
}

HTTPRequest RequestParser::take() {
  HTTPRequest request = std::move(request_);
  *this = RequestParser();
  return request;
}

// Collects into `line_` until a line is whole; then `line_` holds it without its end.
bool RequestParser::takeLine(std::string_view& bytes) {
  const auto end = bytes.find('\n');
  const std::string_view part = bytes.substr(0, end == std::string_view::npos ? end : end + 1);
  bytes.remove_prefix(part.size());
  line_ += part;
  headSize_ += part.size();
  if (line_.size() > maximumLine || headSize_ > maximumHead) {
    fail(stage_ == Stage::requestLine ? 414 : stage_ == Stage::chunkSize ? 400 : 431);
    return false;
  }
  if (end == std::string_view::npos) return false;
  if (!line_.ends_with("\r\n")) {
    fail(400);
    return false;
  }
  line_.resize(line_.size() - 2);
  return true;
}

void RequestParser::takeBody(std::string_view& bytes) {
  const auto part = bytes.substr(0, remaining_);
  bytes.remove_prefix(part.size());
  request_.body += part;
  remaining_ -= part.size();
  if (remaining_ == 0) stage_ = chunked_ ? Stage::chunkEnd : Stage::done;
}

void RequestParser::handleLine(std::string_view line) {
  switch (stage_) {
    case Stage::requestLine:
      // A client may send an empty line before a request.
      if (!line.empty()) handleRequestLine(line);
      break;
    case Stage::headers: line.empty() ? handleHeadEnd() : handleHeader(line); break;
    case Stage::chunkSize: handleChunkSize(line); break;
    case Stage::chunkEnd:
      if (!line.empty()) return fail(400);
      headSize_ = 0;
      stage_ = Stage::chunkSize;
      break;
    case Stage::trailers:
      if (line.empty()) stage_ = Stage::done;
      break;
    default: break;
  }
}

void RequestParser::handleRequestLine(std::string_view line) {
  const auto first = line.find(' ');
  const auto last = line.rfind(' ');
  if (first == std::string_view::npos || first == last) return fail(400);
  const auto target = originForm(line.substr(first + 1, last - first - 1));
  const auto version = line.substr(last + 1);
  if (!isToken(line.substr(0, first)) || target.empty()) return fail(400);
  const bool printable = std::ranges::all_of(target, [](char c) { return c > 0x20 && c < 0x7F; });
  if (!printable || !version.starts_with("HTTP/")) return fail(400);
  if (version != "HTTP/1.1" && version != "HTTP/1.0") return fail(505);
  request_.method = line.substr(0, first);
  request_.target = target;
  minorVersion_ = version.back() - '0';
  stage_ = Stage::headers;
}

void RequestParser::handleHeader(std::string_view line) {
  const auto colon = line.find(':');
  if (colon == std::string_view::npos) return fail(400);
  const auto value = trimmed(line.substr(colon + 1));
  if (!isToken(line.substr(0, colon)) || !isFieldValue(value)) return fail(400);
  request_.headers.emplace_back(std::string(line.substr(0, colon)), std::string(value));
}

void RequestParser::handleHeadEnd() {
  const auto hosts = std::ranges::count_if(
      request_.headers, [](const Header& h) { return equalsIgnoringCase(h.name, "Host"); });
  if (hosts > 1 || (hosts == 0 && minorVersion_ == 1)) return fail(400);
  const auto connection = request_.header("Connection").value_or("");
  request_.keepAlive =
      minorVersion_ == 1 ? !listHolds(connection, "close") : listHolds(connection, "keep-alive");
  if (!readLengths()) return;
  headSize_ = 0;
  stage_ = chunked_ ? Stage::chunkSize : remaining_ > 0 ? Stage::body : Stage::done;
}

// How the body's length is given (RFC 9112, section 6): contradictions are refused, since a
// proxy in front could read them another way.
bool RequestParser::readLengths() {
  std::optional<std::uint64_t> length;
  for (const Header& header : request_.headers) {
    if (equalsIgnoringCase(header.name, "Transfer-Encoding")) {
      if (chunked_ || minorVersion_ == 0) return fail(400), false;
      if (!equalsIgnoringCase(header.value, "chunked")) return fail(501), false;
      chunked_ = true;
    } else if (equalsIgnoringCase(header.name, "Content-Length")) {
      const auto value = number(header.value, 10);
      if (!value || (length && length != value)) return fail(400), false;
      length = value;
    }
  }
  if (chunked_ && length) return fail(400), false;
  if (length.value_or(0) > maximumBody) return fail(413), false;
  request_.hasLength = chunked_ || length.has_value();
  remaining_ = static_cast<std::size_t>(length.value_or(0));
  return true;
}

void RequestParser::handleChunkSize(std::string_view line) {
  const auto size = number(trimmed(line.substr(0, line.find(';'))), 16);
  if (!size) return fail(400);
  if (*size > maximumBody - request_.body.size()) return fail(413);
  headSize_ = 0;
  remaining_ = static_cast<std::size_t>(*size);
  stage_ = *size == 0 ? Stage::trailers : Stage::chunkData;
}

std::string responseHead(const HTTPAnswer& response, std::size_t contentLength, bool keepAlive) {
  std::string text = "HTTP/1.1 " + std::to_string(response.status) + ' ';
  text += reasonPhrase(response.status);
  text += "\r\n";
  const bool typed = std::ranges::any_of(
      response.headers, [](const Header& h) { return equalsIgnoringCase(h.name, "Content-Type"); });
  if (!typed) text += "Content-Type: application/json\r\n";
  for (const Header& header : response.headers)
    text += header.name + ": " + header.value + "\r\n";
  // An answer of these kinds never has a body, so that a length would be wrong.
  if (response.status >= 200 && response.status != 204) {
    text += "Content-Length: " + std::to_string(contentLength) + "\r\n";
  }
  text += "Cache-Control: no-store\r\n";
  if (!keepAlive) text += "Connection: close\r\n";
  return text += "\r\n";
}

std::string responseText(const HTTPAnswer& response, bool keepAlive) {
  return responseHead(response, response.body.size(), keepAlive) + response.body;
}

std::string_view reasonPhrase(int status) noexcept {
  switch (status) {
    case 200: return "OK";
    case 204: return "No Content";
    case 302: return "Found";
    case 400: return "Bad Request";
    case 401: return "Unauthorized";
    case 403: return "Forbidden";
    case 404: return "Not Found";
    case 405: return "Method Not Allowed";
    case 408: return "Request Timeout";
    case 411: return "Length Required";
    case 413: return "Content Too Large";
    case 414: return "URI Too Long";
    case 429: return "Too Many Requests";
    case 431: return "Request Header Fields Too Large";
    case 500: return "Internal Server Error";
    case 501: return "Not Implemented";
    case 502: return "Bad Gateway";
    case 503: return "Service Unavailable";
    case 505: return "HTTP Version Not Supported";
    default: return "Status";
  }
}

}  // namespace idlewyn::sandbox
