// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>

#include <IdlewynKit/platform/base/URL.hpp>
#include <IdlewynKit/platform/base/UTF8.hpp>

namespace idlewyn::platform {
namespace {

constexpr std::string_view subDelimiters = "!$&'()*+,;=";

/// Where a character may stand unencoded (RFC 3986, appendix A).
enum Place : std::uint8_t {
  inUserInfo = 1,
  inHost = 2,
  inPath = 4,
  inQuery = 8,       // and in a fragment
  inQueryItem = 16,  // in a name or value that we write
};

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr int hexValue(char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

constexpr std::array<std::uint8_t, 256> makePlaces() {
  std::array<std::uint8_t, 256> places{};
  const auto allow = [&](std::string_view characters, int where) {
    for (const char c : characters) {
      auto& place = places[static_cast<unsigned char>(c)];
      place = static_cast<std::uint8_t>(place | where);
    }
  };
  for (int i = 0; i < 128; ++i) {
    const char c = static_cast<char>(i);
    if (isDigit(c) || isLetter(c)) places[static_cast<std::size_t>(i)] = 0xFF;
  }
  allow("-._~", 0xFF);
  allow(subDelimiters, inUserInfo | inHost | inPath | inQuery);
  allow(":", inUserInfo | inPath | inQuery);
  allow("@/", inPath | inQuery);
  allow("?", inQuery);
  // "&", "=" and "+" would be read as part of the query's form, ";" is one by old habit.
  allow("!$'()*,:@/?", inQueryItem);
  return places;
}
constexpr auto places = makePlaces();

bool mayStand(char c, Place place) { return (places[static_cast<unsigned char>(c)] & place) != 0; }

bool isValid(std::string_view part, Place place) {
  for (std::size_t i = 0; i < part.size(); ++i) {
    if (mayStand(part[i], place)) continue;
    if (part[i] != '%' || part.size() - i < 3) return false;
    if (hexValue(part[i + 1]) < 0 || hexValue(part[i + 2]) < 0) return false;
    i += 2;
  }
  return true;
}

void appendEncoded(std::string_view part, Place place, std::string& text) {
  constexpr char digits[] = "0123456789ABCDEF";
  for (const char c : part) {
    if (mayStand(c, place)) {
      text += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    text += '%';
    text += digits[byte >> 4];
    text += digits[byte & 0x0F];
  }
}

/// Percent-decodes a part that has been validated.
std::string decoded(std::string_view part) {
  std::string text;
  text.reserve(part.size());
  for (std::size_t i = 0; i < part.size(); ++i) {
    if (part[i] != '%') {
      text += part[i];
      continue;
    }
    text += static_cast<char>(hexValue(part[i + 1]) * 16 + hexValue(part[i + 2]));
    i += 2;
  }
  return text;
}

/// Calls `visit` with each item of a query, as written, for as long as it gives true.
template <class Visit>
void forEachItem(std::string_view query, const Visit& visit) {
  for (bool more = !query.empty(); more;) {
    const std::size_t end = std::min(query.find('&'), query.size());
    if (!visit(query.substr(0, end))) return;
    more = end < query.size();
    if (more) query.remove_prefix(end + 1);
  }
}

std::string decodedName(std::string_view item) {
  const std::string_view written = item.substr(0, item.find('='));
  std::string name = decoded(written);
  return isValidUTF8(name) ? name : std::string(written);
}

std::optional<std::string> decodedValue(std::string_view item) {
  const std::size_t sign = item.find('=');
  if (sign == std::string_view::npos) return std::nullopt;
  std::string value = decoded(item.substr(sign + 1));
  if (!isValidUTF8(value)) return std::nullopt;
  return value;
}

bool isScheme(std::string_view text) {
  if (text.empty() || !isLetter(text[0])) return false;
  for (const char c : text) {
    if (!isDigit(c) && !isLetter(c) && c != '+' && c != '-' && c != '.') return false;
  }
  return true;
}

bool isIPv4(std::string_view text) {
  for (int part = 0; part < 4; ++part) {
    std::size_t length = 0;
    int value = 0;
    while (length < text.size() && length < 3 && isDigit(text[length])) {
      value = value * 10 + (text[length++] - '0');
    }
    if (length == 0 || value > 255 || (length > 1 && text[0] == '0')) return false;
    text.remove_prefix(length);
    if (part == 3) break;
    if (!text.starts_with('.')) return false;
    text.remove_prefix(1);
  }
  return text.empty();
}

bool isIPv6(std::string_view text) {
  int groups = 0;
  bool elided = text.starts_with("::");
  if (elided) text.remove_prefix(2);
  while (!text.empty()) {
    std::size_t length = 0;
    while (length < text.size() && hexValue(text[length]) >= 0)
      ++length;
    if (length < text.size() && text[length] == '.') {  // the last 32 bits as an IPv4 address
      groups += 2;
      if (!isIPv4(text)) return false;
      break;
    }
    if (length == 0 || length > 4) return false;
    ++groups;
    text.remove_prefix(length);
    if (text.empty()) break;
    if (text.starts_with("::")) {
      if (elided) return false;
      elided = true;
      text.remove_prefix(2);
      continue;
    }
    if (!text.starts_with(':')) return false;
    text.remove_prefix(1);
    if (text.empty()) return false;  // a single ":" at the end
  }
  return elided ? groups <= 7 : groups == 8;
}

/// An IPv6 address, or an address of a future version: "v", digits, ".", characters.
bool isLiteralAddress(std::string_view text) {
  if (!text.starts_with('v') && !text.starts_with('V')) return isIPv6(text);
  std::size_t at = 1;
  while (at < text.size() && hexValue(text[at]) >= 0)
    ++at;
  if (at == 1 || at + 1 >= text.size() || text[at] != '.') return false;
  return text.find('%', at) == std::string_view::npos && isValid(text.substr(at + 1), inUserInfo);
}

/// The position of the first of `characters` in `text` from `begin` on, or its end.
std::size_t findAny(std::string_view text, std::string_view characters, std::size_t begin) {
  return std::min(text.find_first_of(characters, begin), text.size());
}

}  // namespace

URLQueryItem::URLQueryItem(std::string itemName, std::optional<std::string> itemValue)
    : name(std::move(itemName)), value(std::move(itemValue)) {}

std::optional<URL> URL::parse(std::string_view text) {
  if (text.empty() || text.size() >= Range::absent) return std::nullopt;
  URL url{std::string(text)};
  if (!url.split()) return std::nullopt;
  return url;
}

bool URL::split() {
  const std::string_view text = text_;
  const auto range = [](std::size_t begin, std::size_t end) {
    return Range{static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end)};
  };
  std::size_t at = 0;
  const std::size_t delimiter = findAny(text, ":/?#", 0);
  if (delimiter < text.size() && text[delimiter] == ':') {
    if (!isScheme(text.substr(0, delimiter))) return false;
    scheme_ = range(0, delimiter);
    at = delimiter + 1;
  }
  if (text.substr(at).starts_with("//")) {
    const std::size_t end = findAny(text, "/?#", at + 2);
    if (!splitAuthority(at + 2, end)) return false;
    at = end;
  }
  const std::size_t pathEnd = findAny(text, "?#", at);
  path_ = range(at, pathEnd);
  at = pathEnd;
  if (at < text.size() && text[at] == '?') {
    const std::size_t end = findAny(text, "#", at);
    query_ = range(at + 1, end);
    at = end;
  }
  if (at < text.size()) fragment_ = range(at + 1, text.size());
  return isValid(path(), inPath) && isValid(query().value_or(""), inQuery) &&
         isValid(fragment().value_or(""), inQuery);
}

bool URL::splitAuthority(std::size_t begin, std::size_t end) {
  const std::string_view text = std::string_view(text_).substr(0, end);
  const auto range = [](std::size_t from, std::size_t to) {
    return Range{static_cast<std::uint32_t>(from), static_cast<std::uint32_t>(to)};
  };
  // An unencoded "@" may stand nowhere else in an authority, so the first one ends the user.
  if (const std::size_t sign = text.find('@', begin); sign != std::string_view::npos) {
    userInfo_ = range(begin, sign);
    if (!isValid(*userInfo(), inUserInfo)) return false;
    begin = sign + 1;
  }
  std::size_t hostEnd = findAny(text, ":", begin);
  if (begin < end && text[begin] == '[') {
    const std::size_t bracket = text.find(']', begin);
    if (bracket == std::string_view::npos) return false;
    if (!isLiteralAddress(text.substr(begin + 1, bracket - begin - 1))) return false;
    host_ = range(begin + 1, bracket);
    hostEnd = bracket + 1;
    if (hostEnd < end && text[hostEnd] != ':') return false;
  } else {
    host_ = range(begin, hostEnd);
    if (!isValid(*host(), inHost)) return false;
  }
  if (hostEnd == end) return true;
  port_ = range(hostEnd + 1, end);
  return port()->find_first_not_of("0123456789") == std::string_view::npos;
}

std::optional<std::string_view> URL::part(Range range) const noexcept {
  if (range.begin == Range::absent || range.end > text_.size()) return std::nullopt;  // moved from
  return std::string_view(text_).substr(range.begin, range.end - range.begin);
}

std::optional<std::string_view> URL::scheme() const noexcept { return part(scheme_); }
std::optional<std::string_view> URL::userInfo() const noexcept { return part(userInfo_); }
std::optional<std::string_view> URL::host() const noexcept { return part(host_); }
std::optional<std::string_view> URL::port() const noexcept { return part(port_); }
std::string_view URL::path() const noexcept { return part(path_).value_or(std::string_view()); }
std::optional<std::string_view> URL::query() const noexcept { return part(query_); }
std::optional<std::string_view> URL::fragment() const noexcept { return part(fragment_); }

std::string URL::lowercasedScheme() const {
  std::string text(scheme().value_or(""));
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

std::optional<std::vector<URLQueryItem>> URL::queryItems() const {
  if (!query()) return std::nullopt;
  std::vector<URLQueryItem> items;
  forEachItem(*query(), [&](std::string_view item) {
    items.emplace_back(decodedName(item), decodedValue(item));
    return true;
  });
  return items;
}

std::optional<URLQueryItem> URL::firstQueryItem(std::string_view name) const {
  std::optional<URLQueryItem> found;
  forEachItem(query().value_or(""), [&](std::string_view item) {
    if (decodedName(item) == name) found.emplace(std::string(name), decodedValue(item));
    return !found;
  });
  return found;
}

URL URL::appendingPath(std::string_view added) const {
  std::string extended(path());
  if (extended.ends_with('/') && added.starts_with('/')) added.remove_prefix(1);
  if (!extended.ends_with('/') && !added.starts_with('/')) extended += '/';
  appendEncoded(added, inPath, extended);
  // Without an authority, two slashes at the start of the path would begin one.
  const std::size_t slashes = std::min(extended.find_first_not_of('/'), extended.size());
  if (!host() && slashes > 1) extended.erase(0, slashes - 1);
  std::string joined = text_;
  joined.replace(path_.begin, path_.end - path_.begin, extended);
  URL result(std::move(joined));
  result.split();
  return result;
}

URL URL::appendingQueryItems(std::span<const URLQueryItem> items) const {
  if (items.empty()) return *this;
  const std::size_t end = fragment() ? fragment_.begin - 1 : text_.size();
  std::string joined = text_.substr(0, end);
  std::string_view separator = !query() ? "?" : query()->empty() ? "" : "&";
  for (const URLQueryItem& item : items) {
    joined += separator;
    separator = "&";
    appendEncoded(item.name, inQueryItem, joined);
    if (!item.value) continue;
    joined += '=';
    appendEncoded(*item.value, inQueryItem, joined);
  }
  joined.append(text_, end);
  URL result(std::move(joined));
  result.split();
  return result;
}

URL URL::withoutUserInfo() const {
  if (!userInfo()) return *this;
  std::string rest = text_;
  rest.erase(userInfo_.begin, userInfo_.end - userInfo_.begin + 1);
  URL result(std::move(rest));
  result.split();
  return result;
}

}  // namespace idlewyn::platform
