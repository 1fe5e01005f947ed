// SPDX-License-Identifier: MIT
// The parts of a URL make up its text again; what is put behind it can be read back.
#include <algorithm>
#include <vector>

#include <IdlewynKit/platform/base/URL.hpp>
#include <IdlewynKit/platform/base/UTF8.hpp>

#include "support/Require.hpp"

using namespace idlewyn;
using platform::URL;

namespace {

std::string joined(const URL& url) {
  std::string text;
  if (url.scheme()) text.append(*url.scheme()).append(":");
  if (url.host()) {
    text += "//";
    if (url.userInfo()) text.append(*url.userInfo()).append("@");
    // A colon can stand in an address only.
    const bool isAddress = url.host()->find(':') != std::string_view::npos ||
                           url.text().find("[") != std::string::npos;
    text.append(isAddress ? "[" : "").append(*url.host()).append(isAddress ? "]" : "");
    if (url.port()) text.append(":").append(*url.port());
  }
  text += url.path();
  if (url.query()) text.append("?").append(*url.query());
  if (url.fragment()) text.append("#").append(*url.fragment());
  return text;
}

void requireSameParts(const URL& made) {
  const auto parsed = URL::parse(made.text());
  fuzz::require(parsed.has_value());
  fuzz::require(parsed->scheme() == made.scheme() && parsed->host() == made.host());
  fuzz::require(parsed->userInfo() == made.userInfo() && parsed->port() == made.port());
  fuzz::require(parsed->path() == made.path() && parsed->query() == made.query());
  fuzz::require(parsed->fragment() == made.fragment());
}

void checkAdditions(const URL& url, std::string_view added) {
  const URL longer = url.appendingPath(added);
  requireSameParts(longer);
  fuzz::require(longer.scheme() == url.scheme() && longer.host() == url.host());
  fuzz::require(longer.query() == url.query() && longer.fragment() == url.fragment());

  const std::vector<platform::URLQueryItem> items{{std::string(added), std::string(added)}};
  const URL asked = url.appendingQueryItems(items);
  requireSameParts(asked);
  fuzz::require(asked.path() == url.path() && asked.fragment() == url.fragment());
  const auto back = asked.queryItems();
  fuzz::require(back.has_value() && asked.firstQueryItem(back->back().name).has_value());
  if (platform::isValidUTF8(added)) fuzz::require(back->back() == items.front());

  const URL anonymous = url.withoutUserInfo();
  requireSameParts(anonymous);
  fuzz::require(!anonymous.userInfo() && anonymous.host() == url.host());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The text up to the first line break is a URL, the rest is put behind it.
  const auto input = fuzz::asText(data, size);
  const std::size_t end = std::min(input.find('\n'), input.size());
  const auto url = URL::parse(input.substr(0, end));
  if (!url) return 0;
  fuzz::require(url->text() == input.substr(0, end) && joined(*url) == url->text());
  fuzz::require(std::ranges::all_of(url->text(), [](char c) {
    return c > ' ' && c < 0x7F && std::string_view("\"<>\\^`{|}").find(c) == std::string_view::npos;
  }));
  checkAdditions(*url, input.substr(std::min(end + 1, input.size())));
  return 0;
}
