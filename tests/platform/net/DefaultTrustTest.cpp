// SPDX-License-Identifier: MIT
// Default handling against an authority of our own, named by the environment before the
// process's first look at the authorities: that is why this test is a program of its own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "tests/platform/net/NetSupport.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace idlewyn::testing {
namespace {

TEST(DefaultHandling, WantsAKnownIssuerADateInRangeAndTheHost) {
  const TestCertificate authority(TestCertificate::Shape{"Authority", -1, 1, nullptr, true});
  const TestCertificate stranger(TestCertificate::Shape{"Stranger", -1, 1, nullptr, true});
  const TemporaryFolder folder;
  const std::string file = folder.path() / "authority.pem";
  std::ofstream(file) << authority.pem();
  setenv("SSL_CERT_FILE", file.c_str(), 1);
  setenv("SSL_CERT_DIR", "/nonexistent", 1);
  struct Row {
    const char* why;
    TestCertificate::Shape shape;
    const char* host;
    const char* outcome;
  };
  const Row rows[] = {
      {"the address", {"127.0.0.1", -1, 1, &authority}, "127.0.0.1", "200 ok"},
      {"the name in capitals", {"localhost", -1, 1, &authority}, "LOCALHOST", "200 ok"},
      {"an address is not its name", {"localhost", -1, 1, &authority}, "127.0.0.1", "-1202"},
      {"another name", {"relay.example", -1, 1, &authority}, "localhost", "-1202"},
      {"expired", {"127.0.0.1", -2, -1, &authority}, "127.0.0.1", "-1201"},
      {"not valid yet", {"127.0.0.1", 1, 2, &authority}, "127.0.0.1", "-1201"},
      {"self-signed", {"127.0.0.1"}, "127.0.0.1", "-1202"},
      {"unknown issuer", {"127.0.0.1", -1, 1, &stranger}, "127.0.0.1", "-1202"},
  };
  const auto delegate = std::make_shared<ScriptedDelegate>([](const ServerTrust&) {
    return ChallengeAnswer(ChallengeDisposition::performDefaultHandling, std::nullopt);
  });
  for (const Row& row : rows) {
    RawServer server(RawServer::answering(RawServer::answer("ok")),
                     RawServer::TLS(TestCertificate(row.shape)));
    EXPECT_EQ(fetch(URLSession::ephemeral(), server.url("/", row.host)), row.outcome) << row.why;
    EXPECT_EQ(fetch(URLSession::ephemeral(delegate), server.url("/", row.host)), row.outcome)
        << row.why;
    EXPECT_EQ(server.requests().empty(), row.outcome[0] == '-') << row.why;
  }
}

}  // namespace
}  // namespace idlewyn::testing
