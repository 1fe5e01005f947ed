// SPDX-License-Identifier: MIT
// Relays as they are often reached: under a path of a web server that speaks TLS for them.
#include <chrono>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>

#include <tests/platform/net/NetSupport.hpp>
#include <tests/process/Nginx.hpp>
#include <tests/support/RelayFixture.hpp>
#include <tests/support/Sessions.hpp>

namespace idlewyn {
namespace {

namespace asio = boost::asio;

using testing::liveService;
using testing::makeSession;
using testing::Nginx;
using testing::NginxSite;
using testing::outcomeOf;
using testing::ServedRequest;
using testing::withPrompt;
using namespace std::chrono_literals;

constexpr std::size_t http1 = 0, http2 = 1;

// Without a path behind the port, "proxy_pass" hands the path on as it was received. With one,
// even "/", nginx would resolve dots and percent signs first, and a prompt named "../unpair"
// would end the pairing.
std::vector<NginxSite> sitesFor(const sandbox::SandboxRelay& relay) {
  const std::string passing = "location /relay/ { proxy_pass http://127.0.0.1:" +
                              std::string(relay.address().port().value()) +
                              "; proxy_http_version 1.1; gzip on; gzip_min_length 1;"
                              " gzip_types application/json; }";
  return {NginxSite(NginxSite::Protocol::http1OverTLS, passing),
          NginxSite(NginxSite::Protocol::http2, passing)};
}

class ReverseProxy : public ::testing::Test {
 protected:
  URL base(std::size_t site) const { return *URL::parse(nginx.address(site) + "/relay/"); }

  Connection connection(std::size_t site, AgentProvider provider = AgentProvider::claude) {
    return Connection(provider, base(site), relay.issueToken(provider), "account", Date{},
                      nginx.fingerprint(site));
  }

  sandbox::SandboxRelay relay{testing::plainHTTP("relay")};
  Nginx nginx{sitesFor(relay)};
};

std::set<std::string> connectionsOf(const std::vector<ServedRequest>& requests) {
  std::set<std::string> connections;
  for (const ServedRequest& request : requests)
    connections.insert(request.connection);
  return connections;
}

TEST_F(ReverseProxy, PairsOnFirstUse) {
  for (const std::size_t site : {http1, http2}) {
    const Connection paired = wait(
        liveService().pair(AgentProvider::claude, base(site), relay.pairingCode(), std::nullopt));
    EXPECT_EQ(paired.serverURL, base(site));
    EXPECT_EQ(paired.certificatePin, nginx.fingerprint(site));
    EXPECT_EQ(outcomeOf([&] { return liveService().sessions(paired); }), "ok");
  }
  for (const ServedRequest& request : nginx.served(4))
    EXPECT_EQ(request.protocol, request.site == http2 ? "HTTP/2.0" : "HTTP/1.1");
}

TEST_F(ReverseProxy, ServesEveryEndpointAndCompressesAnswers) {
  const LiveSessionService service = liveService();
  std::vector<AgentSession> sessions(100, withPrompt(makeSession("s"), "p"));
  for (const std::size_t site : {http1, http2}) {
    relay.setSessions(sessions);
    const Connection connection = this->connection(site);
    EXPECT_EQ(wait(service.sessions(connection)), sessions);
    EXPECT_EQ(nginx.served(6 * site + 1).back().encoding, "gzip");
    wait(service.decide(PermissionDecision::allow, "p", connection));
    EXPECT_TRUE(wait(service.setRemoteApprovals(true, connection)));
    EXPECT_TRUE(wait(service.remoteApprovals(connection)));
    const PushTokenRegistration registration("device", PushTokenRegistration::Kind::pushToStart,
                                             Data{0xAB, 0x01}, "sandbox", std::nullopt);
    wait(service.registerPushToken(registration, connection));
    EXPECT_EQ(relay.pushTokens(), std::vector{registration});
    wait(service.unpair(connection));
    EXPECT_FALSE(relay.state().isValid(connection.accessToken));
  }
}

TEST_F(ReverseProxy, PromptIdsReachTheRelayAsTheyStandOrAreRefusedByTheProxy) {
  struct Row {
    const char *promptID, *path;
    RelayError error;
    const char* reason;
  };
  const RelayError expired = RelayError::promptExpired();
  const std::vector<Row> rows{
      {"%2e", "%252e", expired, "a percent sign is not taken for an encoding"},
      {"a//b", "a//b", expired, "slashes are not merged"},
      {"../unpair", "../unpair", expired, "dots are not resolved: the token stays valid"},
      {"../../../elsewhere", nullptr, expired, "outside of the prefix the proxy knows nothing"},
      {"../../../../x", nullptr, RelayError::server(400), "nothing is above the root"},
  };
  const Connection connection = this->connection(http2);
  for (const Row& row : rows) {
    relay.clearRequests();
    const auto decide = [&] {
      return liveService().decide(PermissionDecision::allow, row.promptID, connection);
    };
    EXPECT_EQ(outcomeOf(decide), row.error.errorDescription()) << row.reason;
    const auto requests = relay.requests();
    ASSERT_EQ(requests.size(), row.path ? 1u : 0u) << row.reason;
    if (!row.path) continue;
    EXPECT_EQ(requests[0].target, std::string("/relay/v1/permissions/") + row.path) << row.reason;
  }
  EXPECT_TRUE(relay.state().isValid(connection.accessToken));
}

TEST_F(ReverseProxy, ARelayThatBreaksOffIsAnErrorOnlyOfItsOwnRequest) {
  for (const std::size_t site : {http1, http2}) {
    const Connection connection = this->connection(site);
    relay.setFault("POST v1/settings", sandbox::Fault::close(), 1);
    relay.clearRequests();
    EXPECT_EQ(outcomeOf([&] { return liveService().setRemoteApprovals(true, connection); }),
              RelayError::server(502).errorDescription());
    EXPECT_EQ(relay.requests().size(), 1u) << "sent again";
    relay.setFault("v1/sessions", sandbox::Fault::closeMidBody(), 1);
    EXPECT_EQ(outcomeOf([&] { return liveService().sessions(connection); }), "-1005");
    EXPECT_EQ(outcomeOf([&] { return liveService().sessions(connection); }), "ok");
  }
}

TEST_F(ReverseProxy, FortyFetchesAtOnceShareAConnectionOverHTTP2) {
  relay.setSessions({makeSession("a")});
  for (const std::size_t site : {http1, http2}) {
    const std::vector<Connection> connections(40, connection(site));
    const SnapshotResult result =
        wait(liveService().snapshot(connections, SessionSnapshot::empty()));
    EXPECT_EQ(result.snapshot.sessions.size(), 40u);
    auto served = nginx.served(40 * (site + 1));
    ASSERT_EQ(served.size(), 40 * (site + 1));
    std::erase_if(served, [&](const ServedRequest& request) { return request.site != site; });
    // Without streams each needs a connection of its own.
    EXPECT_EQ(connectionsOf(served).size() == 1, site == http2);
  }
}

asio::awaitable<void> fetchInto(std::string& outcome, std::shared_ptr<URLSession> session,
                                URLRequest request) {
  outcome = testing::describe(co_await session->exchange(std::move(request)));
}

TEST_F(ReverseProxy, CancellingSomeExchangesLeavesTheOthersTheirConnection) {
  relay.setFault("POST v1/settings", sandbox::Fault::stall());
  const std::string address = base(http2).text() + "v1/settings";
  const auto session = testing::trustingSession();
  const std::string before = testing::fetch(session, address);
  constexpr std::size_t count = 40;
  std::vector<std::string> outcomes(count);
  std::vector<asio::cancellation_signal> signals(count);
  asio::io_context context;
  for (std::size_t i = 0; i < count; ++i) {
    URLRequest request = testing::post(address, "{}");
    if (i % 2 == 0) request.timeoutInterval = 2s;
    co_spawn(context, fetchInto(outcomes[i], session, std::move(request)),
             asio::bind_cancellation_slot(signals[i].slot(), asio::detached));
  }
  while (relay.requests().size() <= count)
    context.run_for(1ms);
  for (std::size_t i = 1; i < count; i += 2)
    signals[i].emit(asio::cancellation_type::terminal);
  EXPECT_EQ(testing::fetch(session, address), before);
  context.restart();
  context.run_for(10s);
  for (std::size_t i = 0; i < count; ++i)
    EXPECT_EQ(outcomes[i], i % 2 == 0 ? "-1001" : "-999") << i;
  EXPECT_EQ(testing::fetch(session, address), before);
  EXPECT_EQ(connectionsOf(nginx.served(count + 3)).size(), 1u);
}

}  // namespace
}  // namespace idlewyn
