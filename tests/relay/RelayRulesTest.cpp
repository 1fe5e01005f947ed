// SPDX-License-Identifier: MIT
// What is decided without a relay: links, errors and what answers are worth.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include <IdlewynKit/platform/tasks/Wait.hpp>
#include <IdlewynKit/relay/Connection.hpp>
#include <IdlewynKit/relay/PairingLink.hpp>
#include <IdlewynKit/relay/RelayClient.hpp>
#include <IdlewynKit/relay/RelayError.hpp>
#include <IdlewynKit/relay/internal/Validation.hpp>
#include <IdlewynKit/relay/internal/WireRecords.hpp>
#include <tests/support/ErrorText.hpp>

namespace idlewyn {
namespace {

using namespace platform;
using Outcome = URLSession::Outcome;

TEST(RelayError, SentencesAreVerbatim) {
  const std::vector<std::pair<RelayError, std::string>> rows{
      {RelayError::server(500), "The relay returned HTTP 500."},
      {RelayError::server(0), "The relay returned HTTP 0."},
      {RelayError::server(std::numeric_limits<std::int64_t>::min()),
       "The relay returned HTTP -9223372036854775808."},
      {RelayError::invalidResponse(),
       "The relay sent a response Vantor doesn\xE2\x80\x99t understand."},
      {RelayError::unauthorized(), "The relay rejected the pairing code or token. Pair again."},
      {RelayError::promptExpired(), "That permission prompt was already answered or has expired."},
      {RelayError::certificateMismatch(),
       "The relay\xE2\x80\x99s security certificate isn\xE2\x80\x99t the one Vantor paired with. "
       "If you reset the relay, pair again."},
      {RelayError::tooManyAttempts(), "Too many wrong pairing codes. Wait a minute and try again."},
  };
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].first.errorDescription(), rows[i].second);
    EXPECT_EQ(rows[i].first.what(), rows[i].second);
    EXPECT_EQ(errorDescription(std::make_exception_ptr(rows[i].first)), rows[i].second);
    for (std::size_t j = 0; j < rows.size(); ++j) {
      EXPECT_EQ(rows[i].first == rows[j].first, i == j);
    }
  }
  RelayError changed = RelayError::unauthorized();
  changed = RelayError::server(502);
  EXPECT_STREQ(changed.what(), "The relay returned HTTP 502.");
  EXPECT_EQ(errorDescription(std::make_exception_ptr(std::runtime_error("x"))), "x");
  EXPECT_EQ(errorDescription(nullptr), "");
}

std::string judged(Outcome outcome, const char* url, bool pinned) {
  try {
    idlewyn::internal::decodedAnswer<idlewyn::internal::OKResponse>(
        idlewyn::internal::acceptedBody(std::move(outcome), *URL::parse(url), pinned));
  } catch (...) {
    return testing::errorText(std::current_exception());
  }
  return "ok";
}

Outcome answer(int status, const char* body = R"({"ok":false})") {
  return HTTPResponse(status, {}, Data::ofText(body));
}

TEST(Validation, EveryStatusHasOneMeaning) {
  const std::string unauthorized = RelayError::unauthorized().errorDescription();
  for (int status = 100; status <= 999; ++status) {
    std::string expected = RelayError::server(status).errorDescription();
    if (status >= 200 && status <= 299) expected = "ok";
    if (status == 401 || status == 403) expected = unauthorized;
    if (status == 429) expected = RelayError::tooManyAttempts().errorDescription();
    EXPECT_EQ(judged(answer(status), "http://r/v1/sessions", status % 2 == 0), expected);
    if (status == 404) expected = RelayError::promptExpired().errorDescription();
    EXPECT_EQ(judged(answer(status), "http://r/p/v1/permissions/x", false), expected);
  }
}

TEST(Validation, ExpiryIsJudgedByThePathAlone) {
  const std::string expired = RelayError::promptExpired().errorDescription();
  const std::string notFound = RelayError::server(404).errorDescription();
  const std::vector<std::pair<const char*, std::string>> rows{
      {"http://r/v1/permissions/", expired},     {"http://r/relay/v1/permissions/a/b", expired},
      {"http://r/v1/permissions", notFound},     {"http://r/v1/permission%73/x", notFound},
      {"http://r/V1/permissions/x", notFound},   {"http://r/x?/v1/permissions/", notFound},
      {"http://r/x#/v1/permissions/", notFound}, {"http://v1/permissions/x", notFound},
  };
  for (const auto& [url, expected] : rows)
    EXPECT_EQ(judged(answer(404), url, false), expected);
}

TEST(Validation, AnswersThatCanNotBeReadAreInvalid) {
  const std::string invalid = RelayError::invalidResponse().errorDescription();
  for (const char* body :
       {"", "{}", "[]", "null", "{\"ok\":null}", "{\"ok\":1}", "{\"ok\":\"true\"}", "{\"ok\":true",
        "{\"ok\":true} x", "<html>", "\xEF\xBB\xBF{\"ok\":true}"}) {
    EXPECT_EQ(judged(answer(200, body), "http://r/", false), invalid) << body;
  }
  EXPECT_EQ(judged(answer(204, ""), "http://r/", true), invalid);
  EXPECT_EQ(judged(HTTPResponse(), "http://r/", true), invalid) << "not HTTP";
  EXPECT_EQ(judged(answer(299, R"({"x":[],"ok":true})"), "http://r/", true), "ok");
}

TEST(Validation, OnlyAPinnedExchangeCanMismatch) {
  const std::string mismatch = RelayError::certificateMismatch().errorDescription();
  const std::vector<std::pair<URLErrorCode, bool>> rows{
      {URLErrorCode::cancelled, true},
      {URLErrorCode::serverCertificateUntrusted, true},
      {URLErrorCode::secureConnectionFailed, true},
      {URLErrorCode::serverCertificateHasBadDate, false},
      {URLErrorCode::timedOut, false},
      {URLErrorCode::cannotConnectToHost, false},
      {URLErrorCode::networkConnectionLost, false},
  };
  for (const auto& [code, looksLikeMismatch] : rows) {
    const URLError error(code, URL::parse("http://r"), "reason");
    const std::string number = std::to_string(static_cast<int>(code));
    EXPECT_EQ(judged(error, "http://r", false), number);
    EXPECT_EQ(judged(error, "http://r", true), looksLikeMismatch ? mismatch : number);
  }
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
  std::string pairs;
  for (int i = 0; i < 32; ++i)
    pairs += "AA:";
  const std::string pin(64, 'a'), wide(63, '0');
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
      {"pairs with colons in capitals", "idlewyn://pair?url=https://r&code=1&pin=" + pairs, "1",
       "https://r", pin},
      {"characters count, not bytes", "idlewyn://pair?url=https://r&code=1&pin=%EF%BC%A1" + wide,
       "1", "https://r", "ａ" + wide},
  };
  for (const Row& row : rows) {
    const auto link = parse(row.link);
    ASSERT_TRUE(link.has_value()) << row.reason;
    EXPECT_EQ(*link, PairingLink(*URL::parse(row.server), row.code, row.pin)) << row.reason;
  }
}

TEST(PairingLink, AnythingLessGivesNoValue) {
  const std::string pin(64, 'a');
  const std::vector<std::pair<const char*, std::string>> rows{
      {"another scheme", "https://pair?url=http://r&code=1"},
      {"another host", "idlewyn://pairs?url=http://r&code=1"},
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

TEST(Connection, IsNoDemoWhenDefaultMadeAndSendsNothing) {
  const Connection unfilled;
  EXPECT_FALSE(unfilled.isDemo());
  const RelayClient client(platform::URLSession::shared());
  try {
    platform::wait(client.sessions(unfilled));
    ADD_FAILURE() << "an answer without an address";
  } catch (const platform::URLError& error) {
    EXPECT_EQ(error.code, platform::URLErrorCode::unsupportedURL);
  }
}

TEST(RelayClient, RefusesNullSessions) {
  EXPECT_THROW(RelayClient(nullptr), std::invalid_argument);
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
