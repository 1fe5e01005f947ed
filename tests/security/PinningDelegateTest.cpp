// SPDX-License-Identifier: MIT
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/security/CertificatePin.hpp>
#include <IdlewynKit/security/PinningDelegate.hpp>

namespace idlewyn {
namespace {

using enum ChallengeDisposition;
using Pin = std::optional<std::string>;

const Certificate leaf(Data::ofText("leaf"));
const Certificate root(Data::ofText("root"));

TEST(PinningDelegate, TheLeafAloneDecides) {
  const std::string print = CertificatePin::fingerprint(leaf);
  struct Row {
    const char* reason;
    Pin pin;
    std::vector<Certificate> chain;
    ChallengeDisposition expected;
  };
  const std::vector<Row> rows{
      {"the pin fits the first of several", print, {leaf, root}, useCredential},
      {"the pin fits another of the chain", print, {root, leaf}, cancelAuthenticationChallenge},
      {"a part of the fingerprint", print.substr(0, 63), {leaf}, cancelAuthenticationChallenge},
      {"an empty pin is a pin", "", {leaf}, cancelAuthenticationChallenge},
      {"no pin accepts anything", std::nullopt, {root}, useCredential},
      {"no pin, no certificate", std::nullopt, {}, cancelAuthenticationChallenge},
      {"a pin, no certificate", print, {}, cancelAuthenticationChallenge},
  };
  for (const Row& row : rows) {
    PinningDelegate delegate(row.pin);
    EXPECT_EQ(delegate.seen(), std::nullopt);
    const ServerTrust trust(row.chain);
    const auto answer = delegate.didReceive(AuthenticationMethod::serverTrust, trust);
    EXPECT_EQ(answer.disposition, row.expected) << row.reason;
    const bool accepted = row.expected == useCredential;
    EXPECT_EQ(answer.credential, accepted ? std::optional(URLCredential(trust)) : std::nullopt);
    const Pin seen = row.chain.empty() ? Pin() : CertificatePin::fingerprint(row.chain.front());
    EXPECT_EQ(delegate.seen(), seen) << row.reason;
  }
}

TEST(PinningDelegate, LeavesOtherChallengesToDefaultHandling) {
  const ServerTrust trust({leaf});
  for (const Pin& pin : {Pin(), Pin("ab"), Pin(CertificatePin::fingerprint(leaf))}) {
    PinningDelegate delegate(pin);
    for (const auto method : {AuthenticationMethod::clientCertificate,
                              AuthenticationMethod::httpBasic, AuthenticationMethod::httpDigest}) {
      EXPECT_EQ(delegate.didReceive(method, trust), ChallengeAnswer(performDefaultHandling, {}));
    }
    EXPECT_EQ(delegate.didReceive(AuthenticationMethod::serverTrust, std::nullopt),
              ChallengeAnswer(performDefaultHandling, {}));
    EXPECT_EQ(delegate.seen(), std::nullopt);
  }
}

TEST(PinningDelegate, SeenIsReadWhileChallengesArrive) {
  PinningDelegate delegate(std::nullopt);
  std::thread challenges([&] {
    for (int i = 0; i < 1'000; ++i) {
      delegate.didReceive(AuthenticationMethod::serverTrust, ServerTrust({i % 2 ? leaf : root}));
    }
  });
  std::size_t wrong = 0;
  for (int i = 0; i < 1'000; ++i) {
    wrong += delegate.seen().value_or(std::string(64, '0')).size() != 64;
  }
  challenges.join();
  EXPECT_EQ(wrong, 0u);
}

TEST(PinningDelegate, NormalisesItsPinAndRemembersTheLatestLeaf) {
  EXPECT_EQ(PinningDelegate(Pin("zz")).pin(), "");
  EXPECT_EQ(PinningDelegate(std::nullopt).pin(), std::nullopt);
  PinningDelegate delegate(Pin("AB:cd"));
  EXPECT_EQ(delegate.pin(), "abcd");
  delegate.didReceive(AuthenticationMethod::serverTrust, ServerTrust({leaf}));
  delegate.didReceive(AuthenticationMethod::serverTrust, ServerTrust({root}));
  EXPECT_EQ(delegate.seen(), CertificatePin::fingerprint(root));
  delegate.didReceive(AuthenticationMethod::serverTrust, ServerTrust({}));
  EXPECT_EQ(delegate.seen(), CertificatePin::fingerprint(root));
}

}  // namespace
}  // namespace idlewyn
