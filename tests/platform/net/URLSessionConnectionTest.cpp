// SPDX-License-Identifier: MIT
// Whom connections are made to, where a delegate decides; what becomes of those that the server
// closes while nobody uses them; what a connection may not leave behind.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <unistd.h>

#include <set>
#include <stdexcept>
#include <thread>

#include "tests/platform/net/NetSupport.hpp"
#include "tests/support/HTTP2Frames.hpp"

namespace idlewyn::testing {
namespace {

using Connection = RawServer::Connection;

/// Nobody is answered before all have asked: one who came late could else be given a kept
/// connection that is about to be closed.
std::atomic<int> asked = 0, expected = 0;

bool answerOnce(Connection& connection) {
  if (connection.readRequest().empty()) return false;
  ++asked;
  waitUntil([] { return asked >= expected; });
  return connection.write(RawServer::answer("ok"));
}

void answerAlways(Connection& connection) {
  while (answerOnce(connection))
    continue;
}

void answerAndReset(Connection& connection) {
  answerOnce(connection);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  connection.reset();
}

void answerOnceOverHTTP2(Connection& connection) {
  http2::begin(connection);
  if (const char stream = http2::readStream(connection, true)) connection.write(http2::ok(stream));
}

TEST(URLSession, KeepsConnectionsAndReplacesThoseThatTheServerClosed) {
  struct Row {
    const char* why;
    int size;
    RawServer::Script script;
    std::optional<RawServer::TLS> tls;
    bool isKept = false;
  };
  const RawServer::TLS tls, tls12{.version = TLS1_2_VERSION}, http2{.choosesHTTP2 = true};
  const Row rows[] = {
      {"nothing is closed", 60, answerAlways, std::nullopt, true},
      {"plain", 60, answerOnce, std::nullopt},
      {"TLS 1.3", 60, answerOnce, tls},
      {"TLS 1.2", 60, answerOnce, tls12},
      {"HTTP/2", 1, answerOnceOverHTTP2, http2},
      {"a reset", 1, answerAndReset, tls},
  };
  for (const auto& [why, size, script, transport, isKept] : rows) {
    SCOPED_TRACE(why);
    RawServer server(script, transport);
    const auto session = trustingSession();
    asked = 0;
    for (int round = 1; round <= 4; ++round) {
      expected = size * round;
      const URLRequest request =
          round % 2 == 0 ? requestFor(server.url("/")) : post(server.url("/"), "{}");
      ASSERT_EQ(answersOf(session, request, size), size) << round;
      ASSERT_TRUE(isKept || server.waitForClosed(size * round));
    }
    EXPECT_EQ(server.requests().size(), static_cast<std::size_t>(expected)) << "each sent once";
    EXPECT_EQ(server.connectionCount(), isKept ? size : size * 4);
  }
}

TEST(URLSession, TakesWhatNobodyAskedForForNoAnswer) {
  const std::string forged = RawServer::answer("forged", "403 Forbidden");
  const std::pair<const char*, std::vector<std::string>> rows[] = {
      {"said later", {RawServer::answer("ok"), forged}},
      {"behind a trailer",
       {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nok\r\n0\r\nX-Check: 1\r\n\r\n" +
        forged}},
      {"in the record of the content's end",
       {"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n", "ok" + forged}}};
  for (const auto& [why, pieces] : rows) {
    const RawServer::Script talkative = [&pieces = pieces](Connection& connection) {
      while (!connection.readRequest().empty()) {
        for (const std::string& piece : pieces) {
          connection.write(piece);
          std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        connection.record("said");
      }
    };
    RawServer plain(talkative), secure(talkative, RawServer::TLS());
    for (const RawServer* server : {&plain, &secure}) {
      const auto session = trustingSession();
      for (int round = 1; round <= 3; ++round) {
        ASSERT_EQ(fetch(session, server->url("/")), "200 ok") << why << " " << server->url("/");
        server->waitForRequests(2 * static_cast<std::size_t>(round));
      }
    }
  }
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
  std::set<int> before = inheritedDescriptors();
  RawServer server{RawServer::TLS()};
  const auto first = trustingSession(), second = trustingSession();
  EXPECT_EQ(fetch(first, server.url("/")), "200 ok");
  EXPECT_EQ(inheritedDescriptors(), before);
  std::vector<int> filling(100);
  for (int& descriptor : filling)
    descriptor = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  close(STDIN_FILENO);
  before.erase(STDIN_FILENO);
  EXPECT_EQ(fetch(second, server.url("/")), "200 ok");
  EXPECT_EQ(inheritedDescriptors(), before) << "of two numbers that lie far apart";
  for (const int descriptor : filling)
    close(descriptor);
}

ScriptedDelegate::Script pinnedTo(Data leaf) {
  return [leaf = std::move(leaf)](const ServerTrust& trust) {
    return trust.certificateChain.at(0).der == leaf ? accept(trust) : refuse(trust);
  };
}

TEST(URLSessionDelegate, AloneDecidesWhomToTrust) {
  const std::pair<const char*, TestCertificate::Shape> rows[] = {
      {"expired", {"127.0.0.1", -2, 0}},
      {"other host, not valid yet", {"elsewhere.example", 1, 2}}};
  for (const auto& [why, shape] : rows) {
    SCOPED_TRACE(why);
    const TestCertificate certificate(shape);
    RawServer server{RawServer::TLS{certificate}};
    const auto right = std::make_shared<ScriptedDelegate>(pinnedTo(certificate.der()));
    const auto session = URLSession::ephemeral(right);
    EXPECT_EQ(fetch(session, server.url("/")), "200 ok");
    EXPECT_EQ(fetch(session, server.url("/")), "200 ok");
    EXPECT_EQ(right->challenges, 1) << "the second exchange used the same connection";
    EXPECT_EQ(server.connectionCount(), 1);

    const auto wrong = std::make_shared<ScriptedDelegate>(pinnedTo(TestCertificate().der()));
    EXPECT_EQ(fetch(URLSession::ephemeral(wrong), server.url("/")), "-999");
    EXPECT_EQ(wrong->challenges, 1);
    EXPECT_EQ(server.requests().size(), 2u) << "nothing is sent to a refused server";
  }
}

TEST(URLSessionDelegate, SeesTheChainAsItWasSent) {
  const TestCertificate authority(TestCertificate::Shape{"Authority", -1, 1, nullptr, true});
  const TestCertificate leaf(TestCertificate::Shape{"127.0.0.1", -1, 1, &authority});
  RawServer server{RawServer::TLS{leaf, {authority}}};
  std::vector<Certificate> seen;
  const auto session = sessionThat([&](const ServerTrust& trust) {
    seen = trust.certificateChain;
    return accept(trust);
  });
  EXPECT_EQ(fetch(session, server.url("/")), "200 ok");
  const std::vector<Certificate> asSent{Certificate(leaf.der()), Certificate(authority.der())};
  EXPECT_EQ(seen, asSent);
}

TEST(URLSessionDelegate, AnythingButAClearPermissionCancels) {
  const std::pair<const char*, ScriptedDelegate::Script> rows[] = {
      {"cancels", refuse},
      {"throws", [](const ServerTrust&) -> ChallengeAnswer { throw std::runtime_error("no"); }},
      {"gives no credential",
       [](const ServerTrust&) {
         return ChallengeAnswer(ChallengeDisposition::useCredential, std::nullopt);
       }},
      {"gives a credential for another server",
       [](const ServerTrust&) {
         const ServerTrust other({Certificate(TestCertificate().der())});
         return ChallengeAnswer(ChallengeDisposition::useCredential, URLCredential(other));
       }},
      {"gives an answer that is none", [](const ServerTrust& trust) {
         return ChallengeAnswer(static_cast<ChallengeDisposition>(3), URLCredential(trust));
       }}};
  RawServer server{RawServer::TLS()};
  for (const auto& [what, script] : rows)
    EXPECT_EQ(fetch(sessionThat(script), server.url("/")), "-999") << what;
  EXPECT_TRUE(server.requests().empty());
}

TEST(URLSessionDelegate, IsAskedBySessionAndConnection) {
  // Neither another session's kept connection nor its TLS session may serve; nor may a ticket
  // that invites resuming when the server has closed the connection.
  for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
    const RawServer::TLS tls{.version = version};
    RawServer keeping(tls);
    const auto trusting = trustingSession();
    EXPECT_EQ(fetch(trusting, keeping.url("/")), "200 ok");
    const auto refusing = std::make_shared<ScriptedDelegate>(refuse);
    EXPECT_EQ(fetch(URLSession::ephemeral(refusing), keeping.url("/")), "-999");
    EXPECT_EQ(refusing->challenges, 1);
    EXPECT_EQ(fetch(trusting, keeping.url("/")), "200 ok");

    RawServer closing(
        RawServer::answering(RawServer::answer("ok", "200 OK", "Connection: close\r\n")), tls);
    int count = 0;
    const auto session = sessionThat(
        [&](const ServerTrust& trust) { return ++count == 1 ? accept(trust) : refuse(trust); });
    EXPECT_EQ(fetch(session, closing.url("/")), "200 ok");
    EXPECT_EQ(fetch(session, closing.url("/")), "-999") << "the certificate may have changed";
    EXPECT_EQ(count, 2);
  }
}

}  // namespace
}  // namespace idlewyn::testing
