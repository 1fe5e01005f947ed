// SPDX-License-Identifier: MIT
// What is decided before anything is sent and after everything has come.
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <IdlewynKit/platform/net/URLRequest.hpp>
#include <IdlewynKit/platform/net/internal/ConnectionSockets.hpp>
#include <IdlewynKit/platform/net/internal/PreparedRequest.hpp>
#include <IdlewynKit/platform/net/internal/ResponseReader.hpp>
#include <IdlewynKit/platform/net/internal/Verdict.hpp>

namespace idlewyn::platform {
namespace {

TEST(URLRequest, HoldsOneFieldOfEachNameWithoutRegardToCase) {
  URLRequest request(*URL::parse("https://relay.example"));
  EXPECT_EQ(request.method, "GET");
  EXPECT_EQ(request.timeoutInterval.count(), 60);
  EXPECT_EQ(request.header("Accept"), std::nullopt);
  request.headers = {{"ACCEPT", "1"}, {"X-A", "2"}, {"accept", "3"}};
  request.setHeader("Accept", "4");
  request.setHeader("X-B", "5");
  const std::vector<std::pair<std::string, std::string>> expected{
      {"ACCEPT", "4"}, {"X-A", "2"}, {"X-B", "5"}};
  EXPECT_EQ(request.headers, expected);
  EXPECT_EQ(request.header("x-a"), "2");
}

/// What is dialled, or the number of an error.
std::string originOf(const URLRequest& request) {
  const auto prepared = prepare(request);
  if (const auto* accepted = std::get_if<PreparedRequest>(&prepared)) return accepted->origin;
  return std::to_string(static_cast<int>(std::get<URLError>(prepared).code));
}

TEST(PreparedRequest, IsDialledAsItIsWritten) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"https://Relay.Example/x", "https://relay.example|443", "host without case"},
      {"HTTP://relay.example:/x", "http://relay.example|80", "an empty port is none"},
      {"http://relay.example:0080/x", "http://relay.example|80", "leading zeros"},
      {"https://u:p@relay.example:8443", "https://relay.example|8443", "no user information"},
      {"http://[::1]:81/x", "http://::1|81", "an IPv6 address"},
      {"http://a@b@c/", "no URL", "two at signs"},
      {"http://a%2eb/", "-1000", "a host that is read decoded"},
      {"http://@/", "-1000", "user information and no host"},
      {"http://2130706433/", "-1000", "a number that libcurl dials as an address"},
      {"http://relay.example:65536/", "-1000", "no such port"},
  };
  for (const auto& [address, origin, why] : rows) {
    const auto url = URL::parse(address);
    EXPECT_EQ(url ? originOf(URLRequest(*url)) : "no URL", origin) << address << ": " << why;
  }
}

TEST(PreparedRequest, IsRefusedWhenItIsMalformed) {
  const std::tuple<const char*, std::string, std::string, std::string> rows[] = {
      {"a line feed in a value starts a field", "GET", "X-A", "a\nX-B: b"},
      {"so does a carriage return", "GET", "X-A", "a\rb"},
      {"NUL cuts a value off", "GET", "X-A", std::string("a\0b", 3)},
      {"other control characters", "GET", "X-A", "a\x7f"},
      {"a name with a colon", "GET", "X-A:", "a"},
      {"no name", "GET", "", "a"},
      {"a method with a blank", "GET /x HTTP/1.1", "X-A", "a"},
      {"no method", "", "X-A", "a"},
      {"a body in a request for a head", "HEAD", "X-A", "a"},
  };
  for (const auto& [why, method, name, value] : rows) {
    URLRequest request(*URL::parse("http://relay.example/"));
    request.method = method;
    request.headers.emplace_back(name, value);
    if (method == "HEAD") request.body = Data::ofText("x");
    EXPECT_EQ(originOf(request), "-1000") << why;
  }
}

std::string verdict(Ending ending, TrustResult trust, int code, bool isHeadComplete = true) {
  TransferFacts facts;
  facts.ending = ending;
  facts.trust = trust;
  facts.curlCode = code;
  facts.isHeadComplete = isHeadComplete;
  facts.hasStatus = true;
  const Verdict verdict = verdictOf(facts);
  if (verdict.kind == Verdict::Kind::answer) return "answer";
  return std::to_string(static_cast<int>(verdict.code));
}

// What sockets can show is tested with sockets.
TEST(Verdict, PutsOurOwnEndingFirstThenTrustThenLibcurl) {
  using E = Ending;
  using T = TrustResult;
  const std::tuple<const char*, std::string, const char*> rows[] = {
      {"ours first", verdict(E::deadline, T::cancelled, CURLE_PEER_FAILED_VERIFICATION), "-1001"},
      {"a refusal stands, whatever libcurl did", verdict(E::none, T::cancelled, CURLE_OK), "-999"},
      {"recorded by us", verdict(E::none, T::untrusted, CURLE_SSL_CONNECT_ERROR), "-1202"},
      {"libcurl's word", verdict(E::none, T::notAsked, CURLE_PEER_FAILED_VERIFICATION), "-1202"},
      {"broken off later", verdict(E::none, T::accepted, CURLE_SSL_CONNECT_ERROR), "-1200"},
      {"nothing is sent twice", verdict(E::none, T::notAsked, CURLE_SEND_FAIL_REWIND), "-1005"},
      {"an answer", verdict(E::none, T::notAsked, CURLE_OK), "answer"},
      {"refused in the midst of a head",
       verdict(E::none, T::notAsked, CURLE_BAD_CONTENT_ENCODING, false), "answer"},
      {"a head cut off", verdict(E::none, T::notAsked, CURLE_OK, false), "-1005"},
  };
  for (const auto& [why, found, expected] : rows)
    EXPECT_EQ(found, expected) << why;
}

TEST(ResponseReader, TakesHeadAndBodyUpToTheirLimits) {
  ResponseReader reader;
  reader.expectBody(std::size_t{1} << 40);  // a server's word, not worth that much memory
  EXPECT_TRUE(reader.takeBody(std::string(ResponseReader::maximumBodySize - 1, 'x')));
  EXPECT_TRUE(reader.takeBody("x"));
  EXPECT_FALSE(reader.takeBody("x"));
  EXPECT_EQ(reader.takeHeadLine(std::string(ResponseReader::maximumHeadSize, 'x')),
            HeadFault::none);
  EXPECT_EQ(reader.takeHeadLine("x"), HeadFault::tooLarge);
}

TEST(ConnectionSockets, TellASpoiltConnectionOnceItsPortIsNoLongerAmbiguous) {
  sockaddr_in name{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
  auto* const address = reinterpret_cast<sockaddr*>(&name);
  socklen_t size = sizeof name;
  // Datagrams show as readiness, too.
  const int kept = socket(AF_INET, SOCK_DGRAM, 0), other = socket(AF_INET, SOCK_DGRAM, 0);
  const int on = 1;
  for (const int one : {kept, other}) {
    setsockopt(one, SOL_SOCKET, SO_REUSEPORT, &on, sizeof on);
    ASSERT_EQ(bind(one, address, size), 0);
    ASSERT_EQ(getsockname(one, address, &size), 0);
  }
  const int port = ntohs(name.sin_port);
  ConnectionSockets sockets;
  const ConnectionSockets::Connection plain{"http://127.0.0.1|80", nullptr};
  sockets.add(port, {other}, plain);
  sockets.add(port, {kept}, plain);
  close(other);
  ASSERT_EQ(sendto(kept, "x", 1, 0, address, size), 1);
  EXPECT_FALSE(sockets.isSpoilt(port)) << "either may be meant";
  sockets.remove(other);
  EXPECT_TRUE(sockets.isSpoilt(port));
  sockets.remove(kept);
  EXPECT_FALSE(sockets.isSpoilt(port));
  close(kept);
}

}  // namespace
}  // namespace idlewyn::platform
