// SPDX-License-Identifier: MIT
// Every fault that a relay can make against every operation on it, over http and over https.
#include <future>
#include <list>
#include <thread>

#include <gtest/gtest.h>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>

#include <IdlewynKit/security/CertificatePin.hpp>
#include <tests/process/hostile/Operations.hpp>
#include <tests/process/hostile/Resources.hpp>

namespace idlewyn::testing {
namespace {

using platform::URLErrorCode;
using sandbox::Fault;
using sandbox::SandboxRelay;

// An operation has ten seconds; the rest is for a machine with other things to do.
constexpr double limit = 10, slack = 4;

// What may be held more on the heap after a test of some hundred exchanges: names, TLS sessions and
// pins that are remembered come to about 600 kB, and a leak of 1 kB an exchange to as much again.
constexpr std::size_t allowedHeapGrowth = 1024 * 1024;

struct Row {
  Fault fault;
  std::string outcome;
  const char* reason;
  /// The one operation to which the fault means something else.
  std::string decideOutcome = outcome;
};

std::string of(const RelayError& error) { return error.errorDescription(); }
std::string of(URLErrorCode code) { return std::to_string(static_cast<int>(code)); }

// Answered, or broken off, at once.
std::vector<Row> quickRows() {
  const std::string invalid = of(RelayError::invalidResponse());
  const std::string lost = of(URLErrorCode::networkConnectionLost);
  return {
      {Fault::status(200), invalid, "a success whose body is an error can't be read"},
      {Fault::status(204), invalid, "a success without a body can't be read"},
      {Fault::status(301), of(RelayError::server(301)), "a redirection is never followed"},
      {Fault::status(401), of(RelayError::unauthorized()), "token or code are refused"},
      {Fault::status(404), of(RelayError::server(404)), "only a prompt may be missing",
       of(RelayError::promptExpired())},
      {Fault::status(429), of(RelayError::tooManyAttempts()), "slow down"},
      {Fault::status(500), of(RelayError::server(500)), "the relay failed"},
      {Fault::status(999), of(RelayError::server(999)), "a status that nobody defined"},
      {Fault::delay(0.3), "ok", "late is not too late"},
      {Fault::closeMidBody(), lost, "half an answer is none"},
      {Fault::close(), lost, "the relay may have acted: never sent again"},
      {Fault::wrongLength(), invalid, "what the length cuts off is missing"},
      {Fault::notJSON(), invalid, "a sign-in page answers everything with 200"},
      {Fault::notHTTP(), invalid, "another service listens"},
  };
}

// Ended by the limit.
std::vector<Row> slowRows() {
  const std::string timedOut = of(URLErrorCode::timedOut);
  return {
      {Fault::stall(), timedOut, "no answer"},
      {Fault::stallMidBody(), timedOut, "the limit is for the whole answer"},
      {Fault::delay(limit + 20), timedOut, "late is too late"},
  };
}

const std::string& expected(const Row& row, const Operation& operation) {
  return operation.name == std::string_view("decide") ? row.decideOutcome : row.outcome;
}

std::string title(const Row& row, const Operation& operation, bool tls) {
  return std::string(operation.name) + (tls ? " over https" : " over http") + ", fault " +
         std::to_string(static_cast<int>(row.fault.kind)) + " " + std::to_string(row.fault.value) +
         ": " + row.reason;
}

const RelayIdentity& identity() {
  static const RelayIdentity made;
  return made;
}

Ending run(const Operation& operation, SandboxRelay& relay) {
  return wait(endingOf(operation.begin(relay, identity().pin())));
}

const Operation& sessionsOperation(const std::vector<Operation>& operations) {
  return operations[2];
}

// What is held while each session keeps one connection to a healthy relay.
Resources held(const std::vector<Operation>& operations, SandboxRelay& plain,
               SandboxRelay& secure) {
  for (SandboxRelay* relay : {&plain, &secure})
    EXPECT_EQ(run(sessionsOperation(operations), *relay).outcome, "ok");
  return Resources::present();
}

bool isNoMore(const Resources& now, const Resources& before) {
  return now.holdsAsManyAs(before) && now.heapBytes <= before.heapBytes + allowedHeapGrowth;
}

// Compares what is held before a test, once the first exchanges are over, with what is held after.
class HostileRelay : public ::testing::Test {
 protected:
  HostileRelay() : before(settled(std::nullopt)) {}
  ~HostileRelay() override {
    const Resources after = settled(before);
    EXPECT_TRUE(isNoMore(after, before)) << before.text() << " before, " << after.text();
    // The process's own table and the one here: no exchange still holds the pinned session.
    EXPECT_EQ(CertificatePin::session(identity().pin()).use_count(), 2);
  }

  // Connections whose relay has gone are given up at later exchanges, looked for once a second.
  Resources settled(const std::optional<Resources>& wanted) {
    SandboxRelay plain(identity().options(false)), secure(identity().options(true));
    Resources now;
    for (int round = 0; round < (wanted ? 6 : 2); ++round) {
      now = held(operations, plain, secure);
      if (wanted && isNoMore(now, *wanted)) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    }
    return now;
  }

  const std::vector<Operation> operations = allOperations();
  const Resources before;
};

void expectQuick(const Row& row, const Operation& operation, bool tls) {
  SCOPED_TRACE(title(row, operation, tls));
  SandboxRelay relay(identity().options(tls));
  relay.setFault("*", row.fault);
  const Ending ending = run(operation, relay);
  EXPECT_EQ(ending.outcome, expected(row, operation));
  EXPECT_LT(ending.seconds, slack);
  EXPECT_EQ(relay.requests().size(), operation.requests) << "sent once, whatever comes of it";
  relay.clearFaults();
  EXPECT_EQ(run(operation, relay).outcome, "ok") << "not over its fault";
}

TEST_F(HostileRelay, GivesEachOperationTheErrorOfItsFaultAtOnce) {
  for (const Row& row : quickRows()) {
    for (const Operation& operation : operations) {
      for (const bool tls : {false, true})
        expectQuick(row, operation, tls);
    }
  }
}

TEST_F(HostileRelay, HoldsNoOperationLongerThanItsLimit) {
  const std::vector<Row> rows = slowRows();
  std::list<SandboxRelay> relays;
  std::vector<std::pair<std::string, std::future<Ending>>> endings;
  std::vector<std::string> outcomes;
  boost::asio::thread_pool pool(2);
  for (const Row& row : rows) {
    for (const bool tls : {false, true}) {
      SandboxRelay& relay = relays.emplace_back(identity().options(tls));
      relay.setFault("*", row.fault);
      for (const Operation& operation : operations) {
        auto ending = endingOf(operation.begin(relay, identity().pin()));
        endings.emplace_back(
            title(row, operation, tls),
            boost::asio::co_spawn(pool, std::move(ending), boost::asio::use_future));
        outcomes.push_back(expected(row, operation));
      }
    }
  }
  for (std::size_t i = 0; i < endings.size(); ++i) {
    const Ending ending = endings[i].second.get();
    EXPECT_EQ(ending.outcome, outcomes[i]) << endings[i].first;
    EXPECT_GT(ending.seconds, limit - 0.5) << endings[i].first;
    EXPECT_LT(ending.seconds, limit + slack) << endings[i].first;
  }
}

// The fault is in what comes after the answer that it is given to.
TEST_F(HostileRelay, ThatChangesItsCertificateIsRefusedByAllButAFirstPairing) {
  const std::string mismatch = of(RelayError::certificateMismatch());
  for (const Operation& operation : operations) {
    for (const bool tls : {false, true}) {
      SCOPED_TRACE(std::string(operation.name) + (tls ? " over https" : " over http"));
      SandboxRelay relay(identity().options(tls));
      relay.setFault("*", Fault::otherCertificate(), 1);
      EXPECT_EQ(run(sessionsOperation(operations), relay).outcome, "ok");
      relay.clearRequests();
      const bool isTrusted = !tls || operation.name == std::string_view("pair on first use");
      const Ending ending = run(operation, relay);
      EXPECT_EQ(ending.outcome, isTrusted ? "ok" : mismatch);
      EXPECT_LT(ending.seconds, slack);
      EXPECT_EQ(relay.requests().size(), isTrusted ? operation.requests : 0u)
          << "a secret went to a relay that is not trusted";
    }
  }
}

}  // namespace
}  // namespace idlewyn::testing
