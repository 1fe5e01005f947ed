// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "RawClient.hpp"
#include "tools/sandbox-relay/SandboxRelay.hpp"

namespace idlewyn::sandbox {
namespace {

const std::string settings = R"({"remoteApprovals":false})";

class FaultsTest : public testing::TestWithParam<bool> {
 protected:
  static Options options() {
    Options options;
    options.tls = GetParam();
    return options;
  }
  std::string request(std::string_view faults = {}) const {
    std::string header;
    if (!faults.empty()) header.append("X-Sandbox-Fault: ").append(faults).append("\r\n");
    return requestText("GET /v1/settings", token_, {}, header);
  }

  SandboxRelay relay_{options()};
  std::string token_ = relay_.issueToken(AgentProvider::codex);
};

INSTANTIATE_TEST_SUITE_P(PlainAndTLS, FaultsTest, testing::Bool(),
                         [](const auto& param) { return param.param ? "https" : "http"; });

// What clients make of broken answers is tested with them.
TEST_P(FaultsTest, AnswersThatDifferLeaveTheConnectionUsable) {
  RawClient client(relay_.address());
  EXPECT_EQ(client.exchange(request("status=503")).body, R"({"error":"fault"})");
  EXPECT_EQ(client.exchange(request("status=204")).status, 204);
  EXPECT_TRUE(client.exchange(request("not-json")).body.starts_with("<!doctype html>"));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(client.exchange(request("status=500, delay=0.2")).status, 500);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(195));
  EXPECT_EQ(client.exchange(request("wrong-length")).body.size(),
            settings.size() - settings.size() / 4 - 1);
  RawClient other(relay_.address());
  other.send(request("not-http"));
  EXPECT_TRUE(other.receiveAll().starts_with("220 "));
  EXPECT_EQ(relay_.connectionsAccepted(), 2u);
}

TEST_P(FaultsTest, StalledAnswersNeverComeAndDoNotHoldTheRelay) {
  RawClient silent(relay_.address()), half(relay_.address()), other(relay_.address());
  silent.send(request("stall"));
  half.send(request("stall-mid-body"));
  EXPECT_EQ(half.receive(true).status, 200);
  EXPECT_FALSE(silent.closedWithin(0));
  EXPECT_FALSE(half.closedWithin(50));
  EXPECT_EQ(other.exchange(request()).body, settings) << "others are served meanwhile";
  relay_.stop();
  EXPECT_EQ(half.receiveAll(), settings.substr(0, settings.size() / 2));
  EXPECT_TRUE(silent.closedWithin(1000));
}

TEST_P(FaultsTest, RulesCountDownMatchEndpointsAndCanBeForgotten) {
  RawClient client(relay_.address());
  const auto expectStatuses = [&](std::initializer_list<int> statuses) {
    for (const int status : statuses)
      EXPECT_EQ(client.exchange(request()).status, status);
  };
  relay_.setFault("POST v1/settings", Fault::status(500));
  expectStatuses({200});
  relay_.setFault("/v1/sett*", Fault::status(502), 2);
  expectStatuses({502, 502, 200});
  relay_.respondWith("v1/settings", 302, "moved", {{"Location", "/elsewhere"}});
  const RawReply moved = client.exchange(request());
  EXPECT_NE(moved.head.find("Location: /elsewhere\r\n"), std::string::npos);
  EXPECT_EQ(moved.body, "moved");
  relay_.setFault("*", Fault::closeMidBody());
  relay_.clearFaults();
  expectStatuses({200});
}

TEST(Fault, IsReadFromItsNameAndNothingElse) {
  EXPECT_EQ(Fault::parseList("status=429, delay=1.5, stall-mid-body"),
            (std::vector{Fault::status(429), Fault::delay(1.5), Fault::stallMidBody()}));
  for (const char* text : {"", "stal", "Stall", "status", "status=", "status=99", "status=1000",
                           "status=50x", "delay=-1", "delay=nan", "delay=inf", "delay=3601"}) {
    EXPECT_EQ(Fault::parse(text), std::nullopt) << text;
  }
  EXPECT_EQ(Fault::parseList("stall,,close"), std::nullopt);
}

TEST(Certificates, AreReplacedForEveryConnectionFromThenOn) {
  SandboxRelay relay;
  const std::string token = relay.issueToken(AgentProvider::claude);
  const std::string first = relay.fingerprint();
  RawClient idle(relay.address());
  EXPECT_EQ(idle.peerFingerprint(), first);
  relay.replaceCertificate();
  EXPECT_NE(relay.fingerprint(), first);
  EXPECT_TRUE(idle.closedWithin(1000)) << "the old certificate serves nobody any more";
  RawClient next(relay.address());
  EXPECT_EQ(next.peerFingerprint(), relay.fingerprint());
  const RawReply last = next.exchange(
      requestText("GET /v1/settings", token, {}, "X-Sandbox-Fault: other-certificate\r\n"));
  EXPECT_EQ(last.status, 200);
  EXPECT_NE(last.head.find("Connection: close\r\n"), std::string::npos);
  EXPECT_NE(relay.fingerprint(), next.peerFingerprint());
  EXPECT_EQ(RawClient(relay.address()).peerFingerprint(), relay.fingerprint());
}

}  // namespace
}  // namespace idlewyn::sandbox
