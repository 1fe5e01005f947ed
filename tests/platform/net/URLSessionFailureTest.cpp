// SPDX-License-Identifier: MIT
// Every way in which an exchange ends without an answer, and what the caller is told.
#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include <cmath>
#include <thread>

#include "tests/platform/net/NetSupport.hpp"

namespace idlewyn::testing {
namespace {

using Connection = RawServer::Connection;
using namespace std::chrono_literals;

RawServer::Script afterRequest(std::string text) {
  return [text](Connection& connection) {
    connection.readRequest();
    connection.write(text);
  };
}

RawServer::Script endless(std::string start, std::string piece) {
  return [start, piece](Connection& connection) {
    connection.readRequest();
    connection.write(start);
    while (connection.write(piece))
      continue;
  };
}

TEST(URLSession, TellsFailuresOfPlainConnectionsApart) {
  const std::tuple<const char*, RawServer::Script, const char*> rows[] = {
      {"closed without a word", afterRequest(""), "-1005"},
      {"reset in the midst",
       [](Connection& connection) {
         afterRequest("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc")(connection);
         connection.reset();
       },
       "-1005"},
      {"chunked body cut off",
       afterRequest("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nab"), "-1005"},
      {"a chunk size that is no number",
       afterRequest("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\nab"), "-1005"},
      {"garbage", afterRequest("SSH-2.0-OpenSSH_9.2\r\n"), "not HTTP"},
      {"a protocol of a like name", afterRequest("http/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"),
       "not HTTP"},
      {"a version to come", afterRequest("HTTP/4.0 200 OK\r\n\r\n"), "not HTTP"},
      {"a length that is no number", afterRequest("HTTP/1.1 200 OK\r\nContent-Length: x\r\n\r\nab"),
       "-1011"},
      {"a header line of 200 KB",
       afterRequest("HTTP/1.1 200 OK\r\nX-Filler: " + std::string(200'000, 'x') + "\r\n\r\n"),
       "-1011"},
      {"content that is not packed as announced",
       afterRequest(RawServer::answer("plain", "200 OK", "Content-Encoding: gzip\r\n")), "200 "},
      {"content that is coded as nobody knows",
       afterRequest(RawServer::answer("{}", "401 Unauthorized", "Content-Encoding: foo\r\n")),
       "401 "},
      {"lengths that contradict each other",
       afterRequest("HTTP/1.1 200 OK\r\nContent-Length: 5\r\nContent-Length: 2\r\n\r\nhello"),
       "-1011"},
      {"a list of lengths that contradict each other",
       afterRequest("HTTP/1.1 200 OK\r\nContent-Length: 2, 5\r\n\r\nhello"), "-1011"},
      {"the same length twice",
       afterRequest("HTTP/1.1 200 OK\r\nContent-Length: 2\r\ncontent-length: 2 , 2\r\n\r\nok"),
       "200 ok"},
      {"a head without end",
       endless("HTTP/1.1 200 OK\r\n", "X-Filler: " + std::string(1000, 'x') + "\r\n"), "-1011"},
      {"a body without end",
       endless("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n",
               "80000\r\n" + std::string(0x80000, 'x') + "\r\n"),
       "-1103"},
  };
  for (const auto& [why, script, outcome] : rows) {
    RawServer server(script);
    EXPECT_EQ(fetch(URLSession::ephemeral(), server.url("/")), outcome) << why;
  }
}

TEST(URLSession, TellsFailuresBeforeAnyConnectionApart) {
  const std::string refused = "127.0.0.1:" + std::to_string(refusedPort());
  const std::pair<std::string, const char*> rows[] = {
      {"http://" + refused + "/", "-1004"},
      {"http://no-such-host.invalid/", "-1003"},
      {"ftp://127.0.0.1/", "-1002"},
      {"/v1/sessions", "-1002"},
      {"http:///v1", "-1000"},
  };
  const auto session = URLSession::ephemeral();
  for (const auto& [address, outcome] : rows)
    EXPECT_EQ(fetch(session, address), outcome) << address;
  // "data" throws what "exchange" gives.
  const URLRequest request = requestFor("http://" + refused + "/x");
  try {
    wait(session->data(request));
    FAIL() << "nothing thrown";
  } catch (const URLError& error) {
    EXPECT_EQ(error, std::get<URLError>(exchange(session, request)));
    EXPECT_EQ(error.failingURL, request.url);
  }
}

TEST(URLSession, TellsFailuresOfSecureConnectionsApart) {
  RawServer plain([](Connection& connection) {
    connection.write(RawServer::answer("", "400 Bad Request"));
    connection.hang();
  });
  RawServer secureServer{RawServer::TLS()}, oldServer{RawServer::TLS{.version = TLS1_VERSION}},
      demandingServer{RawServer::TLS{.demandsClientCertificate = true}};
  const auto at = [](const char* scheme, const RawServer& server) {
    return fetch(trustingSession(),
                 scheme + std::string("://127.0.0.1:") + std::to_string(server.port()));
  };
  EXPECT_EQ(at("https", secureServer), "200 ok");
  EXPECT_EQ(at("https", plain), "-1200");
  EXPECT_EQ(at("https", oldServer), "-1200");
  EXPECT_EQ(at("https", demandingServer), "-1200");
  // Spoken to in plain text, a TLS server breaks off or answers with an alert record.
  const std::string spoken = at("http", secureServer);
  EXPECT_TRUE(spoken == "not HTTP" || spoken == "-1005") << spoken;
}

TEST(URLSession, EndsAtTheDeadlineWhereverTheExchangeStands) {
  const auto drip = [](Connection& connection) {
    connection.readRequest();
    connection.write("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n");
    while (connection.write("x"))
      std::this_thread::sleep_for(20ms);
  };
  const auto silent = [](Connection& connection) { connection.hang(); };
  RawServer answerless(silent), dripping(drip),
      handshakeless{RawServer::TLS{.silentConnections = 1}};
  // In all, however busy the connection.
  for (const RawServer* server : {&answerless, &dripping, &handshakeless}) {
    URLRequest request = requestFor(server->url("/"));
    request.timeoutInterval = 200ms;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(describe(exchange(trustingSession(), request)), "-1001") << request.url.text();
    const auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(took, 200ms);
    EXPECT_LT(took, 2s);
  }
}

TEST(URLSession, TakesOddTimeoutsForTheNearestSensibleOne) {
  RawServer server;
  const std::pair<double, const char*> rows[] = {
      {-5, "-1001"}, {std::nan(""), "-1001"}, {1e300, "200 ok"}, {HUGE_VAL, "200 ok"}};
  for (const auto& [seconds, outcome] : rows) {
    URLRequest request = requestFor(server.url("/"));
    request.timeoutInterval = std::chrono::duration<double>(seconds);
    EXPECT_EQ(describe(exchange(URLSession::ephemeral(), request)), outcome) << seconds;
  }
}

}  // namespace
}  // namespace idlewyn::testing
