// SPDX-License-Identifier: MIT
#include <chrono>
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
  RawReply ask(std::string_view faults) {
    RawClient client(relay_.address());
    return client.exchange(request(faults));
  }

  SandboxRelay relay_{options()};
  std::string token_ = relay_.issueToken(AgentProvider::codex);
};

INSTANTIATE_TEST_SUITE_P(PlainAndTLS, FaultsTest, testing::Bool(),
                         [](const auto& param) { return param.param ? "https" : "http"; });

TEST_P(FaultsTest, AnswersThatDifferLeaveTheConnectionUsable) {
  RawClient client(relay_.address());
  RawReply reply = client.exchange(request("status=503"));
  EXPECT_EQ(reply.status, 503);
  EXPECT_EQ(reply.body, R"({"error":"fault"})");
  EXPECT_NE(client.exchange(request("status=204")).head.find("HTTP/1.1 204 No Content\r\n"),
            std::string::npos);
  reply = client.exchange(request("not-json"));
  EXPECT_EQ(reply.status, 200);
  EXPECT_TRUE(reply.body.starts_with("<!doctype html>"));
  const auto start = std::chrono::steady_clock::now();
  reply = client.exchange(request("status=500, delay=0.2"));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(195));
  EXPECT_EQ(reply.status, 500);
  EXPECT_EQ(client.exchange(request()).body, settings);
  EXPECT_EQ(relay_.connectionsAccepted(), 1u);
}

TEST_P(FaultsTest, BrokenAnswersEndTheConnection) {
  struct Row {
    const char* fault;
    int status;
    std::string body;
    bool cut;
  };
  const std::vector<Row> rows{
      {"close-mid-body", 200, settings.substr(0, settings.size() / 2), true},
      {"wrong-length", 200, settings.substr(0, settings.size() - settings.size() / 4 - 1), false},
      {"close", 0, "", true},
  };
  for (const Row& row : rows) {
    RawClient client(relay_.address());
    const RawReply reply = client.exchange(request(row.fault));
    EXPECT_EQ(reply.status, row.status) << row.fault;
    EXPECT_EQ(reply.body, row.body) << row.fault;
    EXPECT_EQ(reply.cut, row.cut) << row.fault;
    EXPECT_TRUE(client.closedWithin(1000)) << row.fault;
  }
  RawClient client(relay_.address());
  client.send(request("not-http"));
  const std::string bytes = client.receiveAll();
  EXPECT_TRUE(bytes.starts_with("220 ")) << bytes;
  EXPECT_EQ(bytes.find("HTTP/"), std::string::npos);
}

TEST_P(FaultsTest, StalledAnswersNeverComeAndDoNotHoldTheRelay) {
  RawClient silent(relay_.address());
  silent.send(request("stall"));
  RawClient half(relay_.address());
  half.send(request("stall-mid-body"));
  EXPECT_EQ(half.receive(true).status, 200);
  EXPECT_FALSE(silent.closedWithin(0));
  EXPECT_FALSE(half.closedWithin(50));
  EXPECT_EQ(ask("").body, settings) << "others are served meanwhile";
  relay_.stop();
  EXPECT_EQ(half.receiveAll(), settings.substr(0, settings.size() / 2));
  EXPECT_TRUE(silent.closedWithin(1000));
}

TEST_P(FaultsTest, RulesCountDownMatchEndpointsAndCanBeForgotten) {
  RawClient client(relay_.address());
  relay_.setFault("POST v1/settings", Fault::status(500));
  EXPECT_EQ(client.exchange(request()).status, 200) << "another method";
  relay_.setFault("/v1/sett*", Fault::status(502), 2);
  EXPECT_EQ(client.exchange(request()).status, 502);
  EXPECT_EQ(client.exchange(request()).status, 502);
  EXPECT_EQ(client.exchange(request()).status, 200);
  relay_.respondWith("v1/settings", 302, "moved", {{"Location", "/elsewhere"}});
  const RawReply moved = client.exchange(request());
  EXPECT_EQ(moved.status, 302);
  EXPECT_NE(moved.head.find("Location: /elsewhere\r\n"), std::string::npos);
  EXPECT_EQ(moved.body, "moved");
  relay_.setFault("*", Fault::closeMidBody());
  relay_.clearFaults();
  EXPECT_EQ(client.exchange(request()).body, settings);
}

TEST(Fault, IsReadFromItsNameAndNothingElse) {
  EXPECT_EQ(Fault::parse("status=429"), Fault::status(429));
  EXPECT_EQ(Fault::parse("delay=1.5"), Fault::delay(1.5));
  EXPECT_EQ(Fault::parseList("delay=1, stall-mid-body"),
            (std::vector{Fault::delay(1), Fault::stallMidBody()}));
  for (const char* text : {"", "stal", "Stall", "status", "status=", "status=99", "status=1000",
                           "status=50x", "delay=-1", "delay=nan", "delay=inf", "delay=3601"}) {
    EXPECT_EQ(Fault::parse(text), std::nullopt) << text;
  }
  EXPECT_EQ(Fault::parseList("stall,,close"), std::nullopt);
}

TEST(Certificates, AreReplacedForEveryConnectionFromThenOn) {
  SandboxRelay relay;
  const std::string token = relay.issueToken(AgentProvider::claude);
  const std::string request = requestText("GET /v1/settings", token);
  const std::string first = relay.fingerprint();
  RawClient idle(relay.address());
  EXPECT_EQ(idle.exchange(request).status, 200);
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
