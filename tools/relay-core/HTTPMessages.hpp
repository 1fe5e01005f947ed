// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// HTTP messages (RFC 9110) as endpoints see them: whole, without any socket.
///
///     HTTPAnswer answer = errorAnswer(404, "no such endpoint");
///     request.header("Authorization");
namespace idlewyn::relay {

struct Header {
  Header(std::string name, std::string value) : name(std::move(name)), value(std::move(value)) {}

  friend bool operator==(const Header&, const Header&) = default;

  std::string name;
  std::string value;
};

struct HTTPRequest {
  HTTPRequest() = default;

  /// The first header of that name, compared without case.
  std::optional<std::string_view> header(std::string_view name) const;

  std::string method;
  /// As sent: path and query, still percent-encoded.
  std::string target;
  /// As sent, in order.
  std::vector<Header> headers;
  std::string body;
  /// The request said how long its body is, even if that is 0.
  bool hasLength = false;
  bool keepAlive = true;
};

struct HTTPAnswer {
  HTTPAnswer(int status, std::string body, std::vector<Header> headers = {})
      : status(status), body(std::move(body)), headers(std::move(headers)) {}

  int status;
  std::string body;
  /// The server adds Content-Type (JSON unless given here), Content-Length and Connection.
  std::vector<Header> headers;
};

/// `{"error":"reason"}`; the reason is our own text and needs no escaping.
HTTPAnswer errorAnswer(int status, std::string_view reason);

/// 405 with the methods that are allowed.
HTTPAnswer methodNotAllowed(std::string allowed);

/// The token of "Authorization: Bearer TOKEN" (RFC 6750), if there is one.
std::optional<std::string> bearerToken(const HTTPRequest& request);

/// The first value of that name in a percent-encoded query.
std::optional<std::string> queryValue(std::string_view query, std::string_view name);

/// True when both texts are equal but for the case of ASCII letters.
bool equalsIgnoringCase(std::string_view a, std::string_view b) noexcept;

/// One round of percent-decoding (RFC 3986); no value for "%" without two hexadecimal digits.
std::optional<std::string> percentDecoded(std::string_view text);
/// Everything but unreserved characters percent-encoded.
std::string percentEncoded(std::string_view text);

/// Letters, digits and `-._~` of RFC 3986, section 2.3.
bool isUnreserved(char c) noexcept;

}  // namespace idlewyn::relay
