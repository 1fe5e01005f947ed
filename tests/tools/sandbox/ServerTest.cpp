// SPDX-License-Identifier: MIT
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "RawClient.hpp"
#include "tools/sandbox-relay/SandboxRelay.hpp"

namespace idlewyn::sandbox {
namespace {

Options optionsFor(bool tls) {
  Options options;
  options.tls = tls;
  return options;
}

TEST(Server, SpeaksTLSWithEitherKeyAndOnlyHTTP11) {
  for (const KeyType key : {KeyType::ecdsa, KeyType::rsa}) {
    Options options;
    options.certificate.key = key;
    SandboxRelay relay(options);
    const std::string token = relay.issueToken(AgentProvider::claude);
    struct Row {
      std::string_view offered;
      std::string_view agreed;
      bool connects;
    };
    const std::vector<Row> rows{
        {"\x08http/1.1", "http/1.1", true},
        {"\x02h2\x08http/1.1", "http/1.1", true},
        {"", "", true},
        {"\x02h2", "", false},
    };
    for (const Row& row : rows) {
      RawClient client(relay.address(), row.offered);
      ASSERT_EQ(client.connected(), row.connects) << row.offered;
      EXPECT_EQ(client.protocol(), row.agreed);
      if (!row.connects) continue;
      EXPECT_EQ(client.peerFingerprint(), relay.fingerprint());
      EXPECT_EQ(client.exchange(requestText("GET /v1/settings", token)).status, 200);
    }
  }
}

TEST(Server, TakesCertificatesFromFilesAndRefusesThoseThatDoNotFit) {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("sandbox-" + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  const std::string certificateFile = folder / "relay.pem";
  const std::string keyFile = folder / "relay.key";
  const std::string otherKey = folder / "other.key";
  CertificateOptions expired;
  expired.validFrom = -std::chrono::hours(48);
  expired.validTo = -std::chrono::hours(24);
  const ServerCertificate certificate = ServerCertificate::make(expired);
  certificate.write(certificateFile, keyFile);
  ServerCertificate::make().write(folder / "other.pem", otherKey);
  struct stat facts {};
  ASSERT_EQ(stat(keyFile.c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777, 0600u);

  Options options;
  options.certificateFile = certificateFile;
  options.keyFile = keyFile;
  {
    SandboxRelay relay(options);
    EXPECT_EQ(relay.fingerprint(), certificate.fingerprint);
    EXPECT_EQ(RawClient(relay.address()).peerFingerprint(), certificate.fingerprint);
  }
  for (const std::string& wrong :
       {otherKey, certificateFile, std::string(folder / "none"), std::string()}) {
    options.keyFile = wrong;
    EXPECT_THROW(SandboxRelay{options}, std::runtime_error) << wrong;
  }
  CertificateOptions unknownName;
  unknownName.alternativeNames = {"COLOUR:red"};
  EXPECT_THROW(ServerCertificate::make(unknownName), std::runtime_error);
  std::filesystem::remove_all(folder);
}

TEST(Server, AnswersBadBytesAndThenCloses) {
  SandboxRelay relay(optionsFor(false));
  struct Row {
    std::string bytes;
    int status;
  };
  const std::vector<Row> rows{
      {"nonsense\r\n", 400},
      {"GET / HTTP/3.0\r\n", 505},
      {"POST /v1/pair HTTP/1.1\r\nHost: a\r\nContent-Length: 2000000\r\n\r\n" +
           std::string(100'000, 'x'),
       413},
  };
  for (const Row& row : rows) {
    RawClient client(relay.address());
    const RawReply reply = client.exchange(row.bytes);
    EXPECT_EQ(reply.status, row.status);
    EXPECT_NE(reply.head.find("Connection: close\r\n"), std::string::npos);
    EXPECT_TRUE(client.closedWithin(1500));
  }
  SandboxRelay secure;
  RawClient plain(*URL::parse("http" + secure.address().text().substr(5)));
  plain.send("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
  EXPECT_TRUE(plain.closedWithin(1000)) << "plain HTTP where TLS is spoken";
}

TEST(Server, KeepsToTheProtocolAtItsEdges) {
  SandboxRelay relay(optionsFor(false));
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

TEST(Server, ServesManyConnectionsAtOnceAndEndsThemAll) {
  constexpr int clients = 40;
  SandboxRelay relay;
  const std::string request =
      requestText("GET /v1/sessions", relay.issueToken(AgentProvider::codex));
  std::atomic<int> answered = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < clients; ++i) {
    threads.emplace_back([&] {
      RawClient client(relay.address());
      for (int j = 0; j < 5; ++j)
        answered += client.exchange(request).status == 200 ? 1 : 0;
    });
  }
  // Whatever is changed meanwhile must not disturb them.
  for (int i = 0; i < 20; ++i) {
    relay.advance(std::chrono::seconds(10));
    relay.setFault("v1/other", Fault::stall());
    relay.requests();
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(answered, clients * 5);
  EXPECT_EQ(relay.connectionsAccepted(), static_cast<std::size_t>(clients));

  RawClient idle(relay.address());
  EXPECT_EQ(idle.exchange(request).status, 200);
  const URL address = relay.address();
  relay.stop();
  relay.stop();
  EXPECT_TRUE(idle.closedWithin(0));
  EXPECT_FALSE(RawClient(address).connected());
  EXPECT_EQ(relay.connectionsOpen(), 0u);
  EXPECT_EQ(relay.requests().size(), clients * 5u + 1u) << "what was seen can still be read";
}

TEST(Server, ReportsAnAddressThatCannotBeUsed) {
  SandboxRelay relay(optionsFor(false));
  Options taken = optionsFor(false);
  taken.port = static_cast<std::uint16_t>(std::stoi(std::string(*relay.address().port())));
  EXPECT_THROW(SandboxRelay{taken}, std::runtime_error);
  Options nowhere = optionsFor(false);
  nowhere.host = "no.such.host.invalid";
  EXPECT_THROW(SandboxRelay{nowhere}, std::runtime_error);
}

}  // namespace
}  // namespace idlewyn::sandbox
