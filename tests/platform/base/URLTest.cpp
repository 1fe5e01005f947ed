// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <IdlewynKit/platform/base/URL.hpp>

namespace idlewyn::platform {
namespace {

using Part = std::optional<std::string_view>;

URL url(std::string_view text) {
  const auto parsed = URL::parse(text);
  EXPECT_TRUE(parsed) << text;
  return parsed.value();
}

TEST(URL, splitsByTheGenericSyntax) {
  struct Case {
    std::string_view text;
    Part scheme, userInfo, host, port;
    std::string_view path;
    Part query, fragment;
  };
  constexpr Part none;
  const Case cases[] = {
      {"https://relay.example:8443/a/b?x=1&y#z", "https", none, "relay.example", "8443", "/a/b",
       "x=1&y", "z"},
      {"https://h?", "https", none, "h", none, "", "", none},
      {"http://", "http", none, "", none, "", none, none},
      {"http://u:p%40@h:1", "http", "u:p%40", "h", "1", "", none, none},
      {"http://[2001:db8::1]:80/", "http", none, "2001:db8::1", "80", "/", none, none},
      {"http://[::ffff:1.2.3.4]", "http", none, "::ffff:1.2.3.4", none, "", none, none},
      {"HTTP://Host/%7e", "HTTP", none, "Host", none, "/%7e", none, none},
      {"mailto:a@b", "mailto", none, none, none, "a@b", none, none},
      {"idlewyn://pair?url=a:b/c?d&code=1", "idlewyn", none, "pair", none, "", "url=a:b/c?d&code=1",
       none},
      {"//h/p", none, none, "h", none, "/p", none, none},
      {"/p:q", none, none, none, none, "/p:q", none, none},
      {"./a:b", none, none, none, none, "./a:b", none, none},
      {"p?q", none, none, none, none, "p", "q", none},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const URL u = url(c.text);
    EXPECT_EQ(u.text(), c.text);
    EXPECT_EQ(u.scheme(), c.scheme);
    EXPECT_EQ(u.userInfo(), c.userInfo);
    EXPECT_EQ(u.host(), c.host);
    EXPECT_EQ(u.port(), c.port);
    EXPECT_EQ(u.path(), c.path);
    EXPECT_EQ(u.query(), c.query);
    EXPECT_EQ(u.fragment(), c.fragment);
  }
}

TEST(URL, refusesWhatTheSyntaxDoesNotAllow) {
  const std::pair<std::string_view, const char*> cases[] = {
      {"", "nothing"},
      {"http://h/a b", "a space"},
      {"http://h/\n", "a control character"},
      {std::string_view("http://h/\0", 10), "a zero byte"},
      {"http://\xC3\xA9/", "no ASCII"},
      {"http://h/%", "a percent sign alone"},
      {"http://h%zz/", "a bad escape in the host"},
      {"1a:b", "a scheme that begins with a digit"},
      {":b", "an empty scheme"},
      {"http://h:8a", "a port with a letter"},
      {"http://h:1:2", "two ports"},
      {"http://[::1", "an open bracket"},
      {"http://::1/", "an address without brackets"},
      {"http://[1::2::3]", "two elisions"},
      {"http://[1:2:3:4:5:6:7:8:9]", "too many groups"},
      {"http://[1:2:3:4:5:6:7::8]", "nothing is elided"},
      {"http://[1:]", "an end in a colon"},
      {"http://[::1.2.3.256]", "no IPv4 address"},
      {"http://[::1.2.3.04]", "a zero before"},
      {"http://[::1.2.3.4:1]", "an IPv4 address not at the end"},
      {"http://[fe80::1%25eth0]", "a zone"},
      {"http://[1::2 3]", "groups of an address parted by a space"},
      {"http://@[2::1@E]", "groups of an address parted by a sign that ends a user"},
      {"http://[vg.a]", "no version"},
      {"http://h/[", "a bracket in the path"},
      {"http://h/^`{|}", "characters of no URL"},
  };
  for (const auto& [text, reason] : cases)
    EXPECT_FALSE(URL::parse(text)) << text << ": " << reason;
}

TEST(URL, thatWasMovedFromStillHasParts) {
  URL from = url("http://h/path?q#f");
  const URL to = std::move(from);
  EXPECT_EQ(to.path(), "/path");
  EXPECT_TRUE(from.path().empty() && from.query().value_or("").empty());  // NOLINT: on purpose
}

TEST(URL, readsQueryItemsDecoded) {
  using Items = std::vector<URLQueryItem>;
  const std::pair<std::string_view, Items> cases[] = {
      {"x:a?k", Items{{"k", std::nullopt}}},
      {"x:a?=v", Items{{"", "v"}}},
      {"x:a?a=1&b=2=3&a=4", Items{{"a", "1"}, {"b", "2=3"}, {"a", "4"}}},
      {"x:a?a&&b", Items{{"a", std::nullopt}, {"", std::nullopt}, {"b", std::nullopt}}},
      {"x:a?%6B%3d=a%26b+c%C3%a9", Items{{"k=", "a&b+c\u00E9"}}},
      {"x:a?k=%FF&l=1", Items{{"k", std::nullopt}, {"l", "1"}}},
      {"x:a?%C3=v", Items{{"%C3", "v"}}},
  };
  for (const auto& [text, items] : cases)
    EXPECT_EQ(url(text).queryItems(), items) << text;
  EXPECT_EQ(url("x:a").queryItems(), std::nullopt);
}

TEST(URL, appendsAPathWithOneSlashBetween) {
  struct Case {
    std::string_view base, path, expected;
  };
  const Case cases[] = {
      {"https://h", "v1/sessions", "https://h/v1/sessions"},
      {"https://h/", "/v1", "https://h/v1"},
      {"https://h/prefix", "/v1/", "https://h/prefix/v1/"},
      {"https://h/p?q#f", "v1", "https://h/p/v1?q#f"},
      {"https://h", "", "https://h/"},
      {"https://h", "a b?c#d%41/../e", "https://h/a%20b%3Fc%23d%2541/../e"},
      {"https://h", "[\u00E9]\\", "https://h/%5B%C3%A9%5D%5C"},
      {"https://h", "!$&'()*+,;=:@-._~", "https://h/!$&'()*+,;=:@-._~"},
      {"foo:", "//x", "foo:/x"},
      {"/", "//x", "/x"},
      {"?q", "a:b", "/a:b?q"},
  };
  for (const Case& c : cases) {
    const URL joined = url(c.base).appendingPath(c.path);
    EXPECT_EQ(joined.text(), c.expected);
    const URL again = url(joined.text());
    EXPECT_EQ(joined.path(), again.path());
    EXPECT_EQ(joined.query(), again.query());
    EXPECT_EQ(joined.host(), url(c.base).host());
  }
}

TEST(URL, appendsQueryItemsThatReadBackTheSame) {
  const std::vector<URLQueryItem> items{
      {"provider", "claude"}, {"a&b=c", "1+2;3#4"}, {"\u00E9", std::nullopt}, {"", ""}};
  const std::string written = "provider=claude&a%26b%3Dc=1%2B2%3B3%234&%C3%A9&=";
  const std::pair<std::string_view, std::string> cases[] = {
      {"https://h/p", "https://h/p?" + written},
      {"https://h/p?x=y#f", "https://h/p?x=y&" + written + "#f"},
  };
  for (const auto& [base, expected] : cases) {
    const URL joined = url(base).appendingQueryItems(items);
    EXPECT_EQ(joined.text(), expected);
    const auto back = joined.queryItems().value();
    ASSERT_GE(back.size(), items.size());
    EXPECT_TRUE(std::equal(items.rbegin(), items.rend(), back.rbegin())) << base;
  }
  EXPECT_EQ(url("https://h").appendingQueryItems({}).text(), "https://h");
}

TEST(URL, leavesUserAndPasswordOut) {
  EXPECT_EQ(url("https://u:p@h:1/x@y").withoutUserInfo().text(), "https://h:1/x@y");
  EXPECT_EQ(url("https://@h").withoutUserInfo().host(), "h");
}

}  // namespace
}  // namespace idlewyn::platform
