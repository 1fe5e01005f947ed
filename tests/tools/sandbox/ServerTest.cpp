// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "RawClient.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tools/sandbox-relay/SandboxRelay.hpp"

namespace idlewyn::sandbox {
namespace {

Options plainOptions() {
  Options options;
  options.tls = false;
  return options;
}

TEST(Server, SpeaksTLSWithEitherKeyAndOnlyHTTP11) {
  struct Row {
    std::string_view offered, agreed;
    bool connects;
  };
  const Row rows[] = {{"\x08http/1.1", "http/1.1", true},
                      {"\x02h2\x08http/1.1", "http/1.1", true},
                      {"", "", true},
                      {"\x02h2", "", false}};
  for (const KeyType key : {KeyType::ecdsa, KeyType::rsa}) {
    Options options;
    options.certificate.key = key;
    SandboxRelay relay(options);
    for (const Row& row : rows) {
      RawClient client(relay.address(), row.offered);
      ASSERT_EQ(client.connected(), row.connects) << row.offered;
      EXPECT_EQ(client.protocol(), row.agreed);
      if (!row.connects) continue;
      EXPECT_EQ(client.peerFingerprint(), relay.fingerprint());
      EXPECT_EQ(client.exchange(requestText("GET /v1/none")).status, 404);
    }
  }
}

TEST(Server, TakesCertificatesFromFilesAndRefusesThoseThatDoNotFit) {
  const idlewyn::testing::TemporaryFolder folder;
  const std::string certificateFile = folder.path() / "relay.pem";
  const std::string keyFile = folder.path() / "relay.key";
  const std::string otherKey = folder.path() / "other.key";
  const ServerCertificate certificate = ServerCertificate::make();
  certificate.write(certificateFile, keyFile);
  ServerCertificate::make().write(folder.path() / "other.pem", otherKey);
  struct stat facts {};
  ASSERT_EQ(stat(keyFile.c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777, 0600u);

  Options options;
  options.certificateFile = certificateFile;
  options.keyFile = keyFile;
  const SandboxRelay relay(options);
  EXPECT_EQ(RawClient(relay.address()).peerFingerprint(), certificate.fingerprint);
  for (const std::string& wrong :
       {otherKey, certificateFile, std::string(folder.path() / "none"), std::string()}) {
    options.keyFile = wrong;
    EXPECT_THROW(SandboxRelay{options}, std::runtime_error) << wrong;
  }
  CertificateOptions unknownName;
  unknownName.alternativeNames = {"COLOUR:red"};
  EXPECT_THROW(ServerCertificate::make(unknownName), std::runtime_error);
}

TEST(Server, AnswersBadBytesAndThenCloses) {
  SandboxRelay relay(plainOptions()), secure;
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
    EXPECT_TRUE(client.closedWithin(1500));
  }
  RawClient plain(*URL::parse("http" + secure.address().text().substr(5)));
  plain.send("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
  EXPECT_TRUE(plain.closedWithin(1000)) << "plain HTTP where TLS is spoken";
}

TEST(Server, KeepsToTheProtocolAtItsEdges) {
  SandboxRelay relay(plainOptions());
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
  EXPECT_TRUE(client.closedWithin(1500));
}

TEST(Server, EndsConnectionsWhenItStopsAndStillTellsWhatItSaw) {
  SandboxRelay relay;
  const std::string request = requestText("GET /v1/none");
  RawClient idle(relay.address());
  EXPECT_EQ(idle.exchange(request).status, 404);
  const URL address = relay.address();
  relay.stop();
  relay.stop();
  EXPECT_TRUE(idle.closedWithin(0));
  EXPECT_FALSE(RawClient(address).connected());
  EXPECT_EQ(relay.connectionsOpen(), 0u);
  EXPECT_EQ(relay.requests().size(), 1u);
}

TEST(Server, ReportsAnAddressThatCannotBeUsed) {
  SandboxRelay relay(plainOptions());
  Options taken = plainOptions();
  taken.port = static_cast<std::uint16_t>(std::stoi(std::string(*relay.address().port())));
  EXPECT_THROW(SandboxRelay{taken}, std::runtime_error);
}

}  // namespace
}  // namespace idlewyn::sandbox
