// SPDX-License-Identifier: MIT
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/relay/RelayError.hpp>
#include <IdlewynKit/relay/internal/Validation.hpp>
#include <IdlewynKit/relay/internal/WireRecords.hpp>

namespace idlewyn {
namespace {

using platform::Data;
using platform::HTTPResponse;
using platform::URL;
using platform::URLError;
using platform::URLErrorCode;
using Outcome = platform::URLSession::Outcome;

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
  EXPECT_EQ(errorDescription(std::make_exception_ptr(std::runtime_error("x"))), "x");
  EXPECT_EQ(errorDescription(nullptr), "");
}

std::string judged(Outcome outcome, const char* url, bool pinned) {
  try {
    internal::decodedAnswer<internal::OKResponse>(
        internal::acceptedBody(std::move(outcome), *URL::parse(url), pinned));
    return "ok";
  } catch (const RelayError& error) {
    return error.errorDescription();
  } catch (const URLError& error) {
    return std::to_string(static_cast<int>(error.code));
  }
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

}  // namespace
}  // namespace idlewyn
