// SPDX-License-Identifier: MIT
// Default handling against an authority of our own, named by the environment before the
// process's first look at the authorities: that is why this test is a program of its own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "tests/platform/net/NetSupport.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace idlewyn::testing {
namespace {

const TemporaryFolder keyFolder;
const std::string keyLog = keyFolder.path() / "keys";
// libcurl looks at it once, when the first exchange begins.
[[maybe_unused]] const int isNamed = setenv("SSLKEYLOGFILE", keyLog.c_str(), 1);

TEST(DefaultHandling, WantsAKnownIssuerADateInRangeAndTheHost) {
  using Shape = TestCertificate::Shape;
  const TestCertificate authority(Shape{"Authority", -1, 1, nullptr, true});
  const TestCertificate stranger(Shape{"Stranger", -1, 1, nullptr, true});
  const TemporaryFolder folder;
  const std::string file = folder.path() / "authority.pem";
  std::ofstream(file) << authority.pem();
  setenv("SSL_CERT_FILE", file.c_str(), 1);
  setenv("SSL_CERT_DIR", (folder.path() / "absent").c_str(), 1);
  const std::tuple<const char*, Shape, const char*, std::string> rows[] = {
      {"the address", Shape{"127.0.0.1", -1, 1, &authority}, "127.0.0.1", "200 ok"},
      {"the name in capitals", Shape{"localhost", -1, 1, &authority}, "LOCALHOST", "200 ok"},
      {"an address is not its name", Shape{"localhost", -1, 1, &authority}, "127.0.0.1", "-1202"},
      {"another name", Shape{"relay.example", -1, 1, &authority}, "localhost", "-1202"},
      {"expired", Shape{"127.0.0.1", -2, -1, &authority}, "127.0.0.1", "-1201"},
      {"not valid yet", Shape{"127.0.0.1", 1, 2, &authority}, "127.0.0.1", "-1201"},
      {"a common name is no host name", Shape{"localhost", -1, 1, &authority, false, false},
       "localhost", "-1202"},
      {"self-signed", Shape{"127.0.0.1"}, "127.0.0.1", "-1202"},
      {"unknown issuer", Shape{"127.0.0.1", -1, 1, &stranger}, "127.0.0.1", "-1202"},
  };
  const auto leaving = [](const ServerTrust&) {
    return ChallengeAnswer(ChallengeDisposition::performDefaultHandling, std::nullopt);
  };
  for (const auto& [why, shape, host, outcome] : rows) {
    RawServer server{RawServer::TLS{TestCertificate(shape)}};
    for (const auto& session : {URLSession::ephemeral(), sessionThat(leaving)})
      EXPECT_EQ(fetch(session, server.url("/", host)), outcome) << why;
    EXPECT_EQ(server.requests().empty(), outcome[0] == '-') << why;
  }
}

TEST(URLSession, LogsKeysOnlyWhenTheProgramAsksForIt) {
  RawServer server{RawServer::TLS()};
  const auto logged = [] {
    std::ifstream file(keyLog);
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  ASSERT_EQ(fetch(trustingSession(), server.url("/")), "200 ok");
  EXPECT_EQ(logged(), "");
  URLSession::setKeyLogging(true);
  EXPECT_EQ(fetch(trustingSession(), server.url("/")), "200 ok");
  URLSession::setKeyLogging(false);
  const std::string keys = logged();
  EXPECT_NE(keys.find("CLIENT_"), std::string::npos);
  EXPECT_EQ(fetch(trustingSession(), server.url("/")), "200 ok");
  EXPECT_EQ(logged(), keys);
}

}  // namespace
}  // namespace idlewyn::testing
