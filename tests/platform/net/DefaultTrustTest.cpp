// SPDX-License-Identifier: MIT
// Default handling against an authority of our own, named by the environment before the
// process's first look at the authorities: that is why these tests are a program of their own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/platform/net/NetSupport.hpp"

namespace idlewyn::testing {
namespace {

const TestCertificate& authority() {
  static const TestCertificate made = [] {
    TestCertificate::Shape shape;
    shape.isAuthority = true;
    shape.host = "Authority";
    return TestCertificate(shape);
  }();
  return made;
}

class DefaultHandling : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    file_ =
        std::filesystem::temp_directory_path() / ("authority-" + std::to_string(getpid()) + ".pem");
    std::ofstream(file_) << authority().pem();
    setenv("SSL_CERT_FILE", file_.c_str(), 1);
    setenv("SSL_CERT_DIR", "/nonexistent", 1);
  }
  static void TearDownTestSuite() { std::filesystem::remove(file_); }

  static inline std::filesystem::path file_;
};

TEST_F(DefaultHandling, WantsAKnownIssuerADateInRangeAndTheHost) {
  struct Row {
    const char* why;
    TestCertificate::Shape shape;
    const char* host;
    const char* outcome;
  };
  std::vector<Row> rows = {
      {"the address", {"127.0.0.1"}, "127.0.0.1", "200 ok"},
      {"the name", {"localhost"}, "localhost", "200 ok"},
      {"the name in capitals", {"localhost"}, "LOCALHOST", "200 ok"},
      {"an address is not its name", {"localhost"}, "127.0.0.1", "-1202"},
      {"another name", {"relay.example"}, "localhost", "-1202"},
      {"expired", {"127.0.0.1", -2, -1}, "127.0.0.1", "-1201"},
      {"not valid yet", {"127.0.0.1", 1, 2}, "127.0.0.1", "-1201"},
  };
  for (Row& row : rows)
    row.shape.issuer = &authority();
  rows.push_back({"self-signed", {"127.0.0.1"}, "127.0.0.1", "-1202"});
  TestCertificate::Shape strangerShape{"Stranger", -1, 1, nullptr, true};
  const TestCertificate stranger(strangerShape);
  rows.push_back({"unknown issuer", {"127.0.0.1", -1, 1, &stranger}, "127.0.0.1", "-1202"});

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

TEST_F(DefaultHandling, IsNotAskedWhereADelegatePermits) {
  RawServer server(RawServer::answering(RawServer::answer("ok")),
                   RawServer::TLS(TestCertificate()));
  EXPECT_EQ(fetch(trustingSession(), server.url("/")), "200 ok");
}

}  // namespace
}  // namespace idlewyn::testing
