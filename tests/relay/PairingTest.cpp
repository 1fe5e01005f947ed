// SPDX-License-Identifier: MIT
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/RelayFixture.hpp>

namespace idlewyn {
namespace {

using testing::liveService;
using testing::outcomeOf;
using testing::plainHTTP;
using Pin = std::optional<std::string>;

const std::string mismatch = RelayError::certificateMismatch().errorDescription();

// Until the relay has seen the client's connections closed.
bool closesEverything(const sandbox::SandboxRelay& relay) {
  for (int i = 0; i < 500 && relay.connectionsOpen() != 0; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return relay.connectionsOpen() == 0;
}

TEST(Pairing, ByLinkPinsTheCertificateThatTheLinkNames) {
  for (const auto key : {sandbox::KeyType::ecdsa, sandbox::KeyType::rsa}) {
    sandbox::Options options;
    options.certificate.key = key;
    options.certificate.alternativeNames = {"DNS:elsewhere.example"};
    options.certificate.validTo = std::chrono::seconds(-60);
    sandbox::SandboxRelay relay(options);
    const auto link = PairingLink::parse(*URL::parse(relay.pairingLink()));
    ASSERT_TRUE(link.has_value());
    const Connection connection = wait(liveService().pair(AgentProvider::codex, link->serverURL,
                                                          link->code, link->certificatePin));
    EXPECT_EQ(connection.provider, AgentProvider::codex);
    EXPECT_EQ(connection.serverURL, link->serverURL);
    EXPECT_EQ(connection.accountName, "robin@sandbox");
    EXPECT_EQ(connection.certificatePin, relay.fingerprint());
    EXPECT_TRUE(relay.state().isValid(connection.accessToken));
    EXPECT_NEAR((DateClock::now() - connection.connectedAt).count(), 0, 60);
    EXPECT_EQ(testing::headerOf(relay.requests().front(), "Authorization"), "(none)");
    EXPECT_EQ(relay.requests().front().body,
              R"({"provider":"codex","code":")" + link->code + R"("})");
    EXPECT_EQ(outcomeOf([&] { return liveService().sessions(connection); }), "ok");
  }
}

TEST(Pairing, OnFirstUseTakesAnyCertificateAndPinsIt) {
  sandbox::SandboxRelay relay;
  const Connection connection =
      wait(liveService().pair(AgentProvider::claude, relay.address(), relay.pairingCode(), Pin()));
  EXPECT_EQ(connection.certificatePin, relay.fingerprint());
  EXPECT_TRUE(closesEverything(relay)) << "the one-off session outlived a success";

  EXPECT_EQ(outcomeOf([&] {
              return liveService().pair(AgentProvider::claude, relay.address(), "wrong", Pin());
            }),
            RelayError::unauthorized().errorDescription());
  EXPECT_TRUE(closesEverything(relay)) << "the one-off session outlived a failure";
}

TEST(Pairing, RefusesACertificateThatIsNotPinned) {
  sandbox::SandboxRelay relay;
  for (const std::string& pin : {std::string(), relay.fingerprint().substr(1), std::string(64, 'a'),
                                 "SHA256:" + relay.fingerprint()}) {
    EXPECT_EQ(outcomeOf([&] {
                return liveService().pair(AgentProvider::claude, relay.address(),
                                          relay.pairingCode(), pin);
              }),
              mismatch)
        << pin;
  }
  EXPECT_TRUE(relay.requests().empty()) << "the code went to a relay that was not trusted";
}

TEST(Pairing, OverPlainHTTPStoresAGivenPinNormalised) {
  sandbox::SandboxRelay relay(plainHTTP());
  const auto pair = [&](Pin pin) {
    return wait(liveService().pair(AgentProvider::claude, relay.address(), relay.pairingCode(),
                                   std::move(pin)));
  };
  EXPECT_EQ(pair(std::nullopt).certificatePin, std::nullopt);
  EXPECT_EQ(pair("AB:CD").certificatePin, "abcd");
}

TEST(Pinning, APinIsEnforcedOverASessionOfItsOwnWhateverTheUnpinnedOneTrusts) {
  sandbox::SandboxRelay relay;
  Connection connection = testing::connectionTo(relay);
  const auto fetch = [&] { return outcomeOf([&] { return liveService().sessions(connection); }); };
  for (int i = 0; i < 10; ++i)
    EXPECT_EQ(fetch(), "ok");
  EXPECT_EQ(relay.connectionsAccepted(), 1u);
  // No pin: the system's authorities decide, and know nothing of this relay.
  connection.certificatePin = std::nullopt;
  EXPECT_EQ(fetch(), "-1202");
  // Another pin: the trusted connection of the first one is not used.
  connection.certificatePin = std::string(64, '0');
  EXPECT_EQ(fetch(), mismatch);
}

}  // namespace
}  // namespace idlewyn
