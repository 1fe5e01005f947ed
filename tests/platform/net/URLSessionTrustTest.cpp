// SPDX-License-Identifier: MIT
// A delegate decides about servers; what the system's authorities think is tested elsewhere.
#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include <stdexcept>

#include "tests/platform/net/NetSupport.hpp"

namespace idlewyn::testing {
namespace {

const RawServer::Script ok = RawServer::answering(RawServer::answer("ok"));

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
    RawServer server(ok, RawServer::TLS(certificate));
    const auto right = std::make_shared<ScriptedDelegate>(pinnedTo(certificate.der()));
    const auto session = URLSession::ephemeral(right);
    EXPECT_EQ(fetch(session, server.url("/")), "200 ok");
    EXPECT_EQ(fetch(session, server.url("/")), "200 ok");
    EXPECT_EQ(right->challenges, 1) << "the second exchange used the same connection";
    EXPECT_EQ(right->lastMethod, AuthenticationMethod::serverTrust);
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
  RawServer::TLS tls(leaf);
  tls.chain.push_back(authority);
  RawServer server(ok, tls);
  std::vector<Certificate> seen;
  const auto session =
      URLSession::ephemeral(std::make_shared<ScriptedDelegate>([&](const ServerTrust& trust) {
        seen = trust.certificateChain;
        return accept(trust);
      }));
  EXPECT_EQ(fetch(session, server.url("/")), "200 ok");
  const std::vector<Certificate> expected{Certificate(leaf.der()), Certificate(authority.der())};
  EXPECT_EQ(seen, expected);
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
  RawServer server(ok, RawServer::TLS(TestCertificate()));
  for (const auto& [what, script] : rows) {
    const auto session = URLSession::ephemeral(std::make_shared<ScriptedDelegate>(script));
    EXPECT_EQ(fetch(session, server.url("/")), "-999") << what;
  }
  EXPECT_TRUE(server.requests().empty());
}

TEST(URLSessionDelegate, IsAskedBySessionAndConnection) {
  // Neither another session's kept connection nor its TLS session may serve; nor may a ticket
  // that invites resuming when the server has closed the connection.
  for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
    RawServer::TLS tls{TestCertificate()};
    tls.version = version;
    RawServer keeping(ok, tls);
    const auto trusting = trustingSession();
    EXPECT_EQ(fetch(trusting, keeping.url("/")), "200 ok");
    const auto refusing = std::make_shared<ScriptedDelegate>(refuse);
    EXPECT_EQ(fetch(URLSession::ephemeral(refusing), keeping.url("/")), "-999");
    EXPECT_EQ(refusing->challenges, 1);
    EXPECT_EQ(fetch(trusting, keeping.url("/")), "200 ok");

    RawServer closing(
        [](RawServer::Connection& connection) {
          connection.readRequest();
          connection.write(RawServer::answer("ok", "200 OK", "Connection: close\r\n"));
        },
        tls);
    int count = 0;
    const auto session = URLSession::ephemeral(std::make_shared<ScriptedDelegate>(
        [&](const ServerTrust& trust) { return ++count == 1 ? accept(trust) : refuse(trust); }));
    EXPECT_EQ(fetch(session, closing.url("/")), "200 ok");
    EXPECT_EQ(fetch(session, closing.url("/")), "-999") << "the certificate may have changed";
    EXPECT_EQ(count, 2);
  }
}

}  // namespace
}  // namespace idlewyn::testing
