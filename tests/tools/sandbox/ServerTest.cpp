// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include <tools/sandbox-relay/HTTP.hpp>
#include "RawClient.hpp"
#include "tests/support/RelayFixture.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace idlewyn::sandbox {
namespace {

using testing::plainHTTP;

// That certificates of files are shown, and those of either key, is seen by clients that pin them.
TEST(Server, TakesCertificatesFromFilesAndRefusesThoseThatDoNotFit) {
  const testing::TemporaryFolder folder;
  const auto file = [&](const char* name) { return (folder.path() / name).string(); };
  const ServerCertificate certificate = ServerCertificate::make();
  certificate.write(file("relay.pem"), file("relay.key"));
  ServerCertificate::make().write(file("other.pem"), file("other.key"));
  struct stat facts {};
  ASSERT_EQ(stat(file("relay.key").c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777, 0600u);

  Options options;
  options.certificateFile = file("relay.pem");
  options.keyFile = file("relay.key");
  EXPECT_EQ(SandboxRelay(options).fingerprint(), certificate.fingerprint);
  for (const std::string& wrong :
       {file("other.key"), file("relay.pem"), file("none"), std::string()}) {
    options.keyFile = wrong;
    EXPECT_THROW(SandboxRelay{options}, std::runtime_error) << wrong;
  }
  CertificateOptions unknownName;
  unknownName.alternativeNames = {"COLOUR:red"};
  EXPECT_THROW(ServerCertificate::make(unknownName), std::runtime_error);
}

TEST(Server, AnswersBadBytesAndThenCloses) {
  SandboxRelay relay(plainHTTP()), secure;
  const std::pair<std::string, int> rows[] = {
      {"nonsense\r\n", 400},
      {"POST /v1/pair HTTP/1.1\r\nHost: a\r\nContent-Length: 2000000\r\n\r\n" +
           std::string(100'000, 'x'),
       413},
  };
  for (const auto& [bytes, status] : rows) {
    RawClient client(relay.address());
    const RawReply reply = client.exchange(bytes);
    EXPECT_EQ(reply.status, status);
    EXPECT_NE(reply.head.find("Connection: close\r\n"), std::string::npos);
    EXPECT_TRUE(client.isClosed());
  }
  RawClient plain(secure.address());
  plain.send("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
  EXPECT_TRUE(plain.isClosed()) << "plain HTTP where TLS is spoken";
}

TEST(Server, KeepsToTheProtocolAtItsEdges) {
  SandboxRelay relay(plainHTTP());
  const std::string token = relay.issueToken(AgentProvider::claude);
  RawClient client(relay.address());
  client.send(requestText("GET /v1/settings", token) + requestText("GET /v1/none"));
  EXPECT_EQ(client.receive().status, 200);
  EXPECT_EQ(client.receive().status, 404) << "requests may follow without waiting";

  client.send(requestText("HEAD /v1/settings", token));
  EXPECT_EQ(client.receive(true).status, 405);
  client.send(requestText("POST /v1/settings", token, {},
                          "Expect: 100-continue\r\nContent-Length: 24\r\n"));
  EXPECT_EQ(client.receive().status, 100);
  EXPECT_EQ(client.exchange(R"({"remoteApprovals":true})").status, 200)
      << "and a HEAD left no body behind";
  client.send(requestText("GET /v1/settings", token, {}, "Connection: close\r\n"));
  EXPECT_EQ(client.receive().body, R"({"remoteApprovals":true})");
  EXPECT_TRUE(client.isClosed());
}

TEST(Server, TakesNoPortOfAnotherAndWhenItStopsEndsConnectionsAndStillTellsWhatItSaw) {
  SandboxRelay relay(plainHTTP());
  Options taken = plainHTTP();
  taken.port = static_cast<std::uint16_t>(std::stoi(std::string(*relay.address().port())));
  EXPECT_THROW(SandboxRelay{taken}, std::runtime_error);
  RawClient idle(relay.address());
  EXPECT_EQ(idle.exchange(requestText("GET /v1/none")).status, 404);
  relay.stop();
  relay.stop();
  EXPECT_TRUE(idle.isClosed());
  EXPECT_FALSE(RawClient(relay.address()).connected());
  EXPECT_EQ(relay.connectionsOpen(), 0u);
  EXPECT_EQ(relay.requests().size(), 1u);
}

// What clients make of each fault, over http and over https, is tested with them.
TEST(Faults, CountDownMatchEndpointsAndCanBeForgotten) {
  SandboxRelay relay(plainHTTP());
  const std::string token = relay.issueToken(AgentProvider::codex);
  RawClient client(relay.address()), stalled(relay.address());
  const auto request = [&](std::string_view header = {}) {
    return requestText("GET /v1/settings", token, {}, header);
  };
  const auto expectStatuses = [&](std::initializer_list<int> statuses) {
    for (const int status : statuses)
      EXPECT_EQ(client.exchange(request()).status, status);
  };
  relay.setFault("POST v1/settings", Fault::status(500));
  expectStatuses({200});
  relay.setFault("/v1/sett*", Fault::status(502), 2);
  expectStatuses({502, 502, 200});
  relay.respondWith("v1/settings", 302, "moved", {{"Location", "/elsewhere"}});
  const RawReply moved = client.exchange(request());
  EXPECT_NE(moved.head.find("Location: /elsewhere\r\n"), std::string::npos);
  EXPECT_EQ(moved.body, "moved");
  relay.setFault("*", Fault::closeMidBody());
  relay.clearFaults();
  stalled.send(request("X-Sandbox-Fault: stall\r\n"));
  expectStatuses({200});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(client.exchange(request("X-Sandbox-Fault: status=500, delay=0.2\r\n")).status, 500);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(195));
}

TEST(Fault, IsReadFromItsNameAndNothingElse) {
  EXPECT_EQ(Fault::parseList("status=429, delay=1.5, stall-mid-body"),
            (std::vector{Fault::status(429), Fault::delay(1.5), Fault::stallMidBody()}));
  for (const char* text : {"", "stal", "Stall", "status", "status=", "status=99", "status=1000",
                           "status=50x", "delay=-1", "delay=nan", "delay=inf", "delay=3601"}) {
    EXPECT_EQ(Fault::parse(text), std::nullopt) << text;
  }
  EXPECT_EQ(Fault::parseList("stall,,close"), std::nullopt);
}

using State = RequestParser::State;

// Byte by byte: that it doesn't matter how a text is cut is fuzzed.
State feed(RequestParser& parser, std::string_view text) {
  State state = State::needsMore;
  for (std::size_t at = 0; at < text.size() && state == State::needsMore; ++at) {
    std::string_view part = text.substr(at, 1);
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
  const std::vector<std::tuple<const char*, std::string, int>> rows{
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
  for (const auto& [why, text, status] : rows) {
    RequestParser parser;
    EXPECT_EQ(feed(parser, text), State::failed) << why;
    EXPECT_EQ(parser.failure(), status) << why;
  }
}

TEST(RequestParser, ReadsWhatRequestsMayConsistOf) {
  const std::string text =
      "\r\nPOST http://relay:80/v1/pair?a=b%20c HTTP/1.1\r\nHost: relay\r\nX-Empty:\r\n"
      "x-b:  two words \t\r\nTransfer-Encoding: Chunked\r\n\r\n"
      "5;ext=1\r\n{\"a\":\r\n2\r\n1}\r\n0\r\nTrailer: t\r\n\r\n";
  const std::vector<Header> headers{
      {"Host", "relay"}, {"X-Empty", ""}, {"x-b", "two words"}, {"Transfer-Encoding", "Chunked"}};
  RequestParser parser;
  ASSERT_EQ(feed(parser, text), State::complete);
  const HTTPRequest request = parser.take();
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.target, "/v1/pair?a=b%20c");
  EXPECT_EQ(request.headers, headers);
  EXPECT_EQ(request.header("X-B"), "two words");
  EXPECT_EQ(request.body, "{\"a\":1}");
  EXPECT_TRUE(request.hasLength && request.keepAlive);
  EXPECT_TRUE(parser.idle());
}

TEST(RequestParser, KnowsWhetherTheConnectionStays) {
  const std::pair<std::string, bool> rows[] = {
      {"GET / HTTP/1.0\r\n\r\n", false},
      {"GET / HTTP/1.1\r\nHost: a\r\n\r\n", true},
      {"GET / HTTP/1.1\r\nHost: a\r\nConnection: x, Close\r\n\r\n", false}};
  RequestParser parser;
  for (const auto& [text, stays] : rows) {
    ASSERT_EQ(feed(parser, text), State::complete) << text;
    const HTTPRequest request = parser.take();
    EXPECT_EQ(request.keepAlive, stays) << text;
    EXPECT_FALSE(request.hasLength) << text;
  }
}

TEST(PercentCoding, DecodesOnceAndRefusesBrokenEscapes) {
  EXPECT_EQ(relay::percentDecoded("a%2Fb%2520c+d"), "a/b%20c+d");
  for (const char* broken : {"%", "%4", "%4g", "a%zz", "%-1", "% 1"}) {
    EXPECT_EQ(relay::percentDecoded(broken), std::nullopt) << broken;
  }
  EXPECT_EQ(relay::percentEncoded("a b/\xC3\xA9~"), "a%20b%2F%C3%A9~");
}

}  // namespace
}  // namespace idlewyn::sandbox
