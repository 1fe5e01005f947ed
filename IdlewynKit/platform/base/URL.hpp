// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/Record.hpp>

/// Uniform resource locators, split by the rules of RFC 3986 and otherwise left alone.
///
///     auto base = URL::parse("https://relay.example:8443/prefix");
///     URL sessions = base->appendingPath("v1/sessions").appendingQueryItems(items);
///     sessions.text();   // https://relay.example:8443/prefix/v1/sessions?provider=claude
namespace idlewyn::platform {

/// One `name=value` of a query. An item written without "=" has no value, one that ends in
/// "=" has an empty one.
struct URLQueryItem {
  IDLEWYNKIT_EXPORT URLQueryItem(std::string name, std::optional<std::string> value);

  friend bool operator==(const URLQueryItem&, const URLQueryItem&) = default;

  std::string name;
  std::optional<std::string> value;
};

class URL {
 public:
  /// Splits a URI reference. The text is kept unchanged; nothing is decoded, lower-cased or
  /// resolved. No value for: the empty text, a character that RFC 3986 does not allow (space,
  /// control characters, backslash, anything outside ASCII), "%" without two hexadecimal
  /// digits, a first path segment with ":" that is no scheme, a port that is not all digits,
  /// a malformed IP literal. A text without a scheme is a URL too.
  IDLEWYNKIT_EXPORT static std::optional<URL> parse(std::string_view text);

  /// The blank that a record holds until its URL has been decoded.
  explicit URL(DecodingKey) {}

  /// The text that was parsed.
  const std::string& text() const noexcept IDLEWYNKIT_LIFETIMEBOUND { return text_; }

  /// Parts as they stand in the text, percent-encoding included, without their delimiters.
  /// Absent and empty differ for all but the path. An IPv6 host comes without its brackets.
  IDLEWYNKIT_EXPORT std::optional<std::string_view> scheme() const noexcept
      IDLEWYNKIT_LIFETIMEBOUND;
  IDLEWYNKIT_EXPORT std::optional<std::string_view> userInfo() const noexcept
      IDLEWYNKIT_LIFETIMEBOUND;
  IDLEWYNKIT_EXPORT std::optional<std::string_view> host() const noexcept IDLEWYNKIT_LIFETIMEBOUND;
  IDLEWYNKIT_EXPORT std::optional<std::string_view> port() const noexcept IDLEWYNKIT_LIFETIMEBOUND;
  IDLEWYNKIT_EXPORT std::string_view path() const noexcept IDLEWYNKIT_LIFETIMEBOUND;
  IDLEWYNKIT_EXPORT std::optional<std::string_view> query() const noexcept IDLEWYNKIT_LIFETIMEBOUND;
  IDLEWYNKIT_EXPORT std::optional<std::string_view> fragment() const noexcept
      IDLEWYNKIT_LIFETIMEBOUND;

  /// The scheme in lower case; empty when there is none.
  IDLEWYNKIT_EXPORT std::string lowercasedScheme() const;

  /// The query split at "&", then each item at its first "=", then names and values
  /// percent-decoded; "+" stays "+". A name that is not UTF-8 once decoded stays as it is
  /// written, an item whose value is not has none. Absent when there is no query; an empty
  /// query has no items.
  IDLEWYNKIT_EXPORT std::optional<std::vector<URLQueryItem>> queryItems() const;

  /// The first of those items with exactly that name, found without making the others.
  IDLEWYNKIT_EXPORT std::optional<URLQueryItem> firstQueryItem(std::string_view name) const;

  /// The URL with `path` behind its own path and one "/" between them. Characters that
  /// a path may not hold are percent-encoded byte by byte, "?", "#" and "%" included; "/" and
  /// dot segments stay as they are. Query and fragment stay behind the path.
  IDLEWYNKIT_EXPORT URL appendingPath(std::string_view path) const;

  /// The URL with the items behind those it has. In names and values everything but unreserved
  /// characters and the harmless delimiters of a query is percent-encoded.
  IDLEWYNKIT_EXPORT URL appendingQueryItems(std::span<const URLQueryItem> items) const;

  /// The same URL without user name and password, for display and for sending.
  IDLEWYNKIT_EXPORT URL withoutUserInfo() const;

  friend bool operator==(const URL& a, const URL& b) noexcept { return a.text_ == b.text_; }

 private:
  struct Range {
    static constexpr std::uint32_t absent = 0xFFFF'FFFF;
    std::uint32_t begin = absent;
    std::uint32_t end = absent;
  };

  explicit URL(std::string text) : text_(std::move(text)) {}
  bool split();
  bool splitAuthority(std::size_t begin, std::size_t end);
  std::optional<std::string_view> part(Range range) const noexcept;

  std::string text_;
  Range scheme_, userInfo_, host_, port_, query_, fragment_;
  Range path_{0, 0};
};

}  // namespace idlewyn::platform

template <>
struct std::hash<idlewyn::platform::URL> {
  std::size_t operator()(const idlewyn::platform::URL& url) const noexcept {
    return std::hash<std::string_view>{}(url.text());
  }
};
