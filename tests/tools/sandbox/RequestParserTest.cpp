// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tools/sandbox-relay/HTTP.hpp"

namespace idlewyn::sandbox {
namespace {

using State = RequestParser::State;

State feed(RequestParser& parser, std::string_view text, std::size_t step) {
  State state = State::needsMore;
  for (std::size_t at = 0; at < text.size() && state == State::needsMore; at += step) {
    std::string_view part = text.substr(at, step);
    state = parser.consume(part);
  }
  return state;
}

TEST(RequestParser, RefusesWhatIsMalformedAmbiguousOrTooLarge) {
  const std::string host = "Host: a\r\n";
  const std::string get = "GET / HTTP/1.1\r\n";
  const std::string post = "POST / HTTP/1.1\r\n" + host;
  const std::string chunked = post + "Transfer-Encoding: chunked\r\n";
  std::string many;
  for (int i = 0; i < 3000; ++i)
    many += "A: bcdefghi\r\n";
  struct Row {
    const char* why;
    std::string text;
    int status;
  };
  const std::vector<Row> rows{
      {"no target", "GET HTTP/1.1\r\n", 400},
      {"a blank in the target", "GET /a b HTTP/1.1\r\n", 400},
      {"a method that is no token", "G(T / HTTP/1.1\r\n", 400},
      {"a target that is no path", "GET a HTTP/1.1\r\n", 400},
      {"another protocol", "GET / SIP/2.0\r\n", 400},
      {"another version", "GET / HTTP/2.0\r\n", 505},
      {"a bare line feed", "GET / HTTP/1.1\n", 400},
      {"a target without end", "GET /" + std::string(9000, 'a'), 414},
      {"no host", get + "\r\n", 400},
      {"two hosts", get + host + host + "\r\n", 400},
      {"no colon", get + "Host\r\n", 400},
      {"a blank before the colon", get + "Host : a\r\n", 400},
      {"a folded header", get + host + " more\r\n", 400},
      {"a control character in a value", get + "Host: a\x01\r\n", 400},
      {"a header without end", get + host + "A: " + std::string(9000, 'a'), 431},
      {"too many headers", get + many, 431},
      {"a length that is no number", post + "Content-Length: 1x\r\n\r\n", 400},
      {"a length beyond 64 bits", post + "Content-Length: 99999999999999999999\r\n\r\n", 400},
      {"two lengths that differ", post + "Content-Length: 1\r\nContent-Length: 2\r\n\r\n", 400},
      {"a length beside chunks", chunked + "Content-Length: 2\r\n\r\n", 400},
      {"an unknown coding", post + "Transfer-Encoding: gzip\r\n\r\n", 501},
      {"a body too large", post + "Content-Length: 1048577\r\n\r\n", 413},
      {"a chunk size that is no number", chunked + "\r\nzz\r\n", 400},
      {"a chunk longer than it says", chunked + "\r\n2\r\nabc\r\n", 400},
      {"chunks too large together", chunked + "\r\n1\r\na\r\n100000\r\n", 413},
      {"a chunk size beyond 64 bits", chunked + "\r\n11111111111111111\r\n", 400},
  };
  for (const Row& row : rows) {
    for (const std::size_t step : {row.text.size(), std::size_t{1}}) {
      RequestParser parser;
      EXPECT_EQ(feed(parser, row.text, step), State::failed) << row.why;
      EXPECT_EQ(parser.failure(), row.status) << row.why;
    }
  }
}

TEST(RequestParser, ReadsRequestsHoweverTheirBytesAreCut) {
  const std::string text =
      "\r\nPOST http://relay:80/v1/pair?a=b%20c HTTP/1.1\r\nHost: relay\r\nX-Empty:\r\n"
      "x-b:  two words \t\r\nTransfer-Encoding: Chunked\r\n\r\n"
      "5;ext=1\r\n{\"a\":\r\n2\r\n1}\r\n0\r\nTrailer: t\r\n\r\n";
  const std::vector<Header> headers{
      {"Host", "relay"}, {"X-Empty", ""}, {"x-b", "two words"}, {"Transfer-Encoding", "Chunked"}};
  for (const std::size_t step : {std::size_t{1}, std::size_t{7}, text.size()}) {
    RequestParser parser;
    ASSERT_EQ(feed(parser, text, step), State::complete) << step;
    const HTTPRequest request = parser.take();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/v1/pair?a=b%20c");
    EXPECT_EQ(request.headers, headers);
    EXPECT_EQ(request.header("X-B"), "two words");
    EXPECT_EQ(request.body, "{\"a\":1}");
    EXPECT_TRUE(request.hasLength && request.keepAlive);
    EXPECT_TRUE(parser.idle());
  }
}

TEST(RequestParser, KnowsWhetherTheConnectionStays) {
  const std::pair<std::string, bool> rows[] = {
      {"GET / HTTP/1.0\r\n\r\n", false},
      {"GET / HTTP/1.1\r\nHost: a\r\n\r\n", true},
      {"GET / HTTP/1.1\r\nHost: a\r\nConnection: x, Close\r\n\r\n", false}};
  RequestParser parser;
  for (const auto& [text, stays] : rows) {
    ASSERT_EQ(feed(parser, text, text.size()), State::complete) << text;
    const HTTPRequest request = parser.take();
    EXPECT_EQ(request.keepAlive, stays) << text;
    EXPECT_FALSE(request.hasLength) << text;
  }
}

TEST(PercentCoding, DecodesOnceAndRefusesBrokenEscapes) {
  EXPECT_EQ(percentDecoded("a%2Fb%2520c+d"), "a/b%20c+d");
  for (const char* broken : {"%", "%4", "%4g", "a%zz", "%-1", "% 1"}) {
    EXPECT_EQ(percentDecoded(broken), std::nullopt) << broken;
  }
  EXPECT_EQ(percentEncoded("a b/\xC3\xA9~"), "a%20b%2F%C3%A9~");
}

}  // namespace
}  // namespace idlewyn::sandbox
