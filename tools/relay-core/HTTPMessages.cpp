// SPDX-License-Identifier: MIT
#include "HTTPMessages.hpp"

#include <algorithm>
#include <charconv>
#include <utility>

namespace idlewyn::relay {
namespace {

char lower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

}  // namespace

bool isUnreserved(char c) noexcept {
  return (lower(c) >= 'a' && lower(c) <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
         c == '_' || c == '~';
}

std::optional<std::string_view> HTTPRequest::header(std::string_view name) const {
  for (const Header& header : headers) {
    if (equalsIgnoringCase(header.name, name)) return header.value;
  }
  return std::nullopt;
}

std::optional<std::string> bearerToken(const HTTPRequest& request) {
  constexpr std::string_view scheme = "Bearer ";
  const auto value = request.header("Authorization").value_or("");
  if (!equalsIgnoringCase(value.substr(0, scheme.size()), scheme)) return std::nullopt;
  return std::string(value.substr(scheme.size()));
}

std::optional<std::string> queryValue(std::string_view query, std::string_view name) {
  while (!query.empty()) {
    const auto item = query.substr(0, query.find('&'));
    query.remove_prefix(std::min(item.size() + 1, query.size()));
    const auto equals = item.find('=');
    if (equals == std::string_view::npos || percentDecoded(item.substr(0, equals)) != name)
      continue;
    return percentDecoded(item.substr(equals + 1)).value_or("");
  }
  return std::nullopt;
}

HTTPAnswer errorAnswer(int status, std::string_view reason) {
  return HTTPAnswer(status, R"({"error":")" + std::string(reason) + R"("})");
}

HTTPAnswer methodNotAllowed(std::string allowed) {
  HTTPAnswer answer = errorAnswer(405, "method not allowed");
  answer.headers.emplace_back("Allow", std::move(allowed));
  return answer;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) noexcept {
  return std::ranges::equal(a, b, [](char x, char y) { return lower(x) == lower(y); });
}

std::optional<std::string> percentDecoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    const auto digits = text.substr(i + 1, 2);
    unsigned char byte = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
    if (digits.size() != 2 || result.ptr != digits.data() + 2) return std::nullopt;
    decoded += static_cast<char>(byte);
    i += 2;
  }
  return decoded;
}

std::string percentEncoded(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    if (isUnreserved(c)) {
      encoded += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      encoded += {'%', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return encoded;
}

}  // namespace idlewyn::relay
