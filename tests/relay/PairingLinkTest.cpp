// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/relay/Connection.hpp>
#include <IdlewynKit/relay/PairingLink.hpp>

namespace idlewyn {
namespace {

std::string pairs(const std::string& pair, int count = 32) {
  std::string text;
  for (int i = 0; i < count; ++i)
    text += pair;
  return text;
}

std::optional<PairingLink> parse(const std::string& text) {
  const auto url = URL::parse(text);
  return url ? PairingLink::parse(*url) : std::nullopt;
}

TEST(PairingLink, CompleteLinksInTheirManyForms) {
  struct Row {
    const char* reason;
    std::string link, code = "1", server = "http://r";
    std::optional<std::string> pin = std::nullopt;
  };
  const std::string pin = pairs("ab"), wide = std::string(63, '0');
  const std::vector<Row> rows{
      {"an encoded address", "idlewyn://pair?url=http%3A%2F%2Fr&code=123", "123"},
      {"capitals", "IDLEWYN://PAIR?url=http://r&code=1"},
      {"any order, others ignored", "idlewyn://pair?x&code=1&pin=" + pin + "&y=2&url=https://r",
       "1", "https://r", pin},
      {"nothing else matters", "idlewyn://me@pair:99/some/path?url=http://r&code=1#end"},
      {"the address stays as written",
       "idlewyn://pair?url=HTTPS://Relay:8443/a%2520b/&code=1&pin=" + pin, "1",
       "HTTPS://Relay:8443/a%20b/", pin},
      {"outer blanks go", "idlewyn://pair?url=http://r&code=%20%09a%20b%C2%A0%E3%80%80", "a b"},
      {"line breaks are no blanks", "idlewyn://pair?url=http://r&code=%0A1%0D", "\n1\r"},
      {"a plus stays a plus", "idlewyn://pair?url=http://r&code=1+2", "1+2"},
      {"the first of each name", "idlewyn://pair?url=http://r&url=ftp://s&code=1&code=2"},
      {"names are decoded", "idlewyn://pair?%75rl=http://r&c%6Fde=1"},
      {"others may be no text", "idlewyn://pair?url=http://r&code=1&pin=%FF&%FF=%FF"},
      {"http drops any pin", "idlewyn://pair?url=http://r&code=1&pin=zz"},
      {"pairs with colons in capitals", "idlewyn://pair?url=https://r&code=1&pin=" + pairs("AB:"),
       "1", "https://r", pin},
      {"characters count, not bytes", "idlewyn://pair?url=https://r&code=1&pin=%EF%BC%A1" + wide,
       "1", "https://r", "ａ" + wide},
      {"IPv6", "idlewyn://pair?url=http://%5B::1%5D:8080&code=1", "1", "http://[::1]:8080"},
  };
  for (const Row& row : rows) {
    const auto link = parse(row.link);
    ASSERT_TRUE(link.has_value()) << row.reason;
    EXPECT_EQ(*link, PairingLink(*URL::parse(row.server), row.code, row.pin)) << row.reason;
  }
}

TEST(PairingLink, AnythingLessGivesNoValue) {
  const std::string pin = pairs("ab");
  const std::vector<std::pair<const char*, std::string>> rows{
      {"another scheme", "https://pair?url=http://r&code=1"},
      {"no scheme", "//pair?url=http://r&code=1"},
      {"another host", "idlewyn://pairs?url=http://r&code=1"},
      {"the host as a path", "idlewyn:/pair?url=http://r&code=1"},
      {"no host", "idlewyn://?url=http://r&code=1"},
      {"a host in percent encoding is another one", "idlewyn://p%61ir?url=http://r&code=1"},
      {"no query", "idlewyn://pair"},
      {"an empty address", "idlewyn://pair?url=&code=1"},
      {"names count with their case", "idlewyn://pair?URL=http://r&code=1"},
      {"the first address counts", "idlewyn://pair?url=ftp://r&url=http://r&code=1"},
      {"an address without a scheme", "idlewyn://pair?url=relay:8080&code=1"},
      {"an address without a host", "idlewyn://pair?url=http:///x&code=1"},
      {"an address that is none", "idlewyn://pair?url=http://r%5Cx&code=1"},
      {"no code", "idlewyn://pair?url=http://r"},
      {"only blanks", "idlewyn://pair?url=http://r&code=%20%09%20"},
      {"the first code counts", "idlewyn://pair?url=http://r&code=&code=1"},
      {"Code is no code", "idlewyn://pair?url=http://r&Code=1"},
      {"https without a pin", "idlewyn://pair?url=https://r&code=1"},
      {"a pin without a value", "idlewyn://pair?url=https://r&code=1&pin"},
      {"63 digits", "idlewyn://pair?url=https://r&code=1&pin=" + pin.substr(1)},
      {"65 digits", "idlewyn://pair?url=https://r&code=1&pin=0" + pin},
      {"the first pin counts", "idlewyn://pair?url=https://r&code=1&pin=1&pin=" + pin},
      {"bytes that are no text", "idlewyn://pair?url=http://r&code=%FF"},
  };
  for (const auto& [reason, link] : rows)
    EXPECT_EQ(parse(link), std::nullopt) << reason;
}

TEST(Connection, IsADemoExactlyWithoutAnAddress) {
  for (const AgentProvider provider : allCases<AgentProvider>()) {
    Connection connection = Connection::demo(provider);
    EXPECT_EQ(connection.id(), provider);
    EXPECT_EQ(connection, Connection(provider, std::nullopt, "mock", "Demo", connection.connectedAt,
                                     std::nullopt));
    EXPECT_NEAR((DateClock::now() - connection.connectedAt).count(), 0, 60);
    EXPECT_TRUE(connection.isDemo());
    connection.serverURL = URL::parse("http://relay");
    EXPECT_FALSE(connection.isDemo());
  }
}

}  // namespace
}  // namespace idlewyn
