// SPDX-License-Identifier: MIT
// Connections that the server closes while nobody uses them, refused streams, and what a
// connection may not leave behind.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include <set>

#include "tests/platform/net/NetSupport.hpp"

namespace idlewyn::testing {
namespace {

using Connection = RawServer::Connection;

/// As much of HTTP/2 (RFC 9113) as a server needs that understands no field.
std::string frame(char type, char flags, char stream, std::string_view payload) {
  const char head[] = {0, 0, static_cast<char>(payload.size()), type, flags, 0, 0, 0, stream};
  return std::string(head, sizeof head).append(payload);
}

const std::string settings = frame(4, 0, 0, "");

struct FrameHead {
  char type, flags, stream;
};

/// Reads a frame; its payload is of no interest. All zero when the peer has gone.
FrameHead readFrame(Connection& connection) {
  const std::string head = connection.readBytes(9);
  if (head.size() < 9) return {};
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(head[i]); };
  connection.readBytes(std::size_t{byte(1)} << 8 | byte(2));
  return {head[3], head[4], head[8]};
}

/// Reads to the end of the next request and records it; gives its stream, 0 when the peer has
/// gone. The first time it also waits until our settings are acknowledged: closing with bytes
/// unread would reset the connection and destroy the answer.
char readStream(Connection& connection, bool isAcknowledged) {
  char stream = 0;
  while (stream == 0 || !isAcknowledged) {
    const FrameHead head = readFrame(connection);
    if (head.stream == 0 && head.type == 0) return 0;
    if (head.type == 4 && head.flags == 1) isAcknowledged = true;
    if (head.type <= 1 && (head.flags & 1) != 0) stream = head.stream;
  }
  connection.record("stream");
  return stream;
}

std::string status200(char stream) { return frame(1, 5, stream, "\x88"); }

/// Answers one request and then ends the connection though the client would keep it.
void answerOnce(Connection& connection) {
  connection.readRequest();
  connection.write(RawServer::answer("ok"));
}

void answerOnceOverHTTP2(Connection& connection) {
  connection.readBytes(24);  // the preface
  connection.write(settings);
  if (const char stream = readStream(connection, false)) connection.write(status200(stream));
}

struct Transport {
  const char* name;
  RawServer::Script script;
  std::optional<RawServer::TLS> tls;
  const char* outcome;
};

std::vector<Transport> transports() {
  RawServer::TLS tls13{TestCertificate()}, tls12 = tls13, http2 = tls13;
  tls12.version = TLS1_2_VERSION;
  http2.choosesHTTP2 = true;
  return {{"plain", answerOnce, std::nullopt, "200 ok"},
          {"TLS 1.3", answerOnce, tls13, "200 ok"},
          {"TLS 1.2", answerOnce, tls12, "200 ok"},
          {"HTTP/2", answerOnceOverHTTP2, http2, "200 "}};
}

TEST(URLSession, ReplacesKeptConnectionsThatTheServerClosed) {
  for (const Transport& transport : transports()) {
    SCOPED_TRACE(transport.name);
    RawServer server(transport.script, transport.tls);
    const auto session = trustingSession();
    for (int round = 1; round <= 5; ++round) {
      URLRequest request =
          round % 2 == 0 ? requestFor(server.url("/")) : post(server.url("/"), "{}");
      EXPECT_EQ(describe(exchange(session, request)), transport.outcome) << round;
      ASSERT_TRUE(server.waitForClosed(round));
    }
    EXPECT_EQ(server.requests().size(), 5u) << "each was sent once";
  }
}

TEST(URLSession, ReplacesAWholeBurstOfClosedConnections) {
  constexpr int size = 60;
  for (const Transport& transport : transports()) {
    if (transport.outcome != std::string("200 ok")) continue;
    SCOPED_TRACE(transport.name);
    // Nobody is answered before all have asked: one who came late could else be given a kept
    // connection that is about to be closed.
    std::atomic<int> asked = 0, expected = 0;
    RawServer server(
        [&](Connection& connection) {
          connection.readRequest();
          ++asked;
          waitUntil([&] { return asked >= expected; });
          connection.write(RawServer::answer("ok"));
        },
        transport.tls);
    const auto session = trustingSession();
    for (int round = 1; round <= 3; ++round) {
      expected = size * round;
      EXPECT_EQ(answersOf(session, post(server.url("/"), "{}"), size), size) << round;
      ASSERT_TRUE(server.waitForClosed(size * round));
    }
    EXPECT_EQ(server.requests().size(), std::size_t{3 * size});
  }
}

TEST(URLSessionOverHTTP2, SendsRefusedStreamsOnce) {
  RawServer::TLS tls{TestCertificate()};
  tls.choosesHTTP2 = true;
  RawServer server(
      [](Connection& connection) {
        connection.readBytes(24);
        connection.write(settings);
        bool isFirst = true;
        while (const char stream = readStream(connection, !isFirst)) {
          constexpr std::string_view refusedStream("\0\0\0\7", 4);
          connection.write(isFirst && connection.number() == 0
                               ? status200(stream)
                               : frame(3, 0, stream, refusedStream));
          isFirst = false;
        }
      },
      tls);
  const auto session = trustingSession();
  EXPECT_EQ(fetch(session, server.url("/")), "200 ");
  EXPECT_EQ(fetch(session, server.url("/")), "-1005");
  EXPECT_EQ(describe(exchange(session, post(server.url("/"), "{}"))), "-1005");
  EXPECT_EQ(server.requests().size(), 3u);
}

/// Descriptors that a program started now would inherit.
std::set<int> inheritedDescriptors() {
  std::set<int> found;
  for (int i = 0; i < 4096; ++i) {
    if (fcntl(i, F_GETFD) == 0) found.insert(i);
  }
  return found;
}

TEST(URLSession, OpensNothingThatOtherProgramsInherit) {
  const std::set<int> before = inheritedDescriptors();
  RawServer server(RawServer::answering(RawServer::answer("ok")),
                   RawServer::TLS(TestCertificate()));
  const auto first = trustingSession();
  const auto second = trustingSession();
  EXPECT_EQ(fetch(first, server.url("/")), "200 ok");
  EXPECT_EQ(fetch(second, server.url("/")), "200 ok");
  EXPECT_EQ(inheritedDescriptors(), before);
}

}  // namespace
}  // namespace idlewyn::testing
