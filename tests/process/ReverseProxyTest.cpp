// SPDX-License-Identifier: MIT
// Relays as they are often reached: under a path of a web server that speaks TLS for them.
#include <chrono>
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

  sandbox::SandboxRelay relay{testing::plainHTTP("relay")};
  Nginx nginx{sitesFor(relay)};
};

TEST_F(ReverseProxy, PairsOnFirstUseServesEveryEndpointAndCompressesAnswers) {
  const LiveSessionService service = liveService();
  const std::string promptID = "a//%2e/../unpair";
  const std::vector<AgentSession> sessions(100, withPrompt(makeSession("s"), promptID));
  for (const std::size_t site : {http1, http2}) {
    relay.setSessions(sessions);
    const Connection paired =
        wait(service.pair(AgentProvider::claude, base(site), relay.pairingCode(), std::nullopt));
    EXPECT_EQ(paired.serverURL, base(site));
    EXPECT_EQ(paired.certificatePin, nginx.fingerprint(site));
    EXPECT_EQ(wait(service.sessions(paired)), sessions);
    EXPECT_EQ(nginx.served(7 * site + 2).back().encoding, "gzip");
    wait(service.decide(PermissionDecision::allow, promptID, paired));
    EXPECT_TRUE(wait(service.setRemoteApprovals(true, paired)));
    EXPECT_TRUE(wait(service.remoteApprovals(paired)));
    const PushTokenRegistration registration("device", PushTokenRegistration::Kind::pushToStart,
                                             Data{0xAB, 0x01}, "sandbox", std::nullopt);
    wait(service.registerPushToken(registration, paired));
    EXPECT_EQ(relay.pushTokens(), std::vector{registration});
    wait(service.unpair(paired));
    EXPECT_FALSE(relay.state().isValid(paired.accessToken));
  }
  for (const ServedRequest& request : nginx.served(14))
    EXPECT_EQ(request.protocol, request.site == http2 ? "HTTP/2.0" : "HTTP/1.1");
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
  const std::vector<ServedRequest> served = nginx.served(count + 3);
  ASSERT_EQ(served.size(), count + 3);
  for (const ServedRequest& request : served)
    EXPECT_EQ(request.connection, served[0].connection);
}

}  // namespace
}  // namespace idlewyn
