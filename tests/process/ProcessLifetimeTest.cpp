// SPDX-License-Identifier: MIT
// What becomes of snapshots when their process ends or is forked.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <tests/support/RelayFixture.hpp>

// To a leak checker, a forked child has lost what the threads that stayed behind refer to.
static bool isForkedChild = false;
extern "C" int __lsan_is_turned_off() { return isForkedChild ? 1 : 0; }

namespace idlewyn {
namespace {

using testing::connectionTo;
using testing::liveService;
using testing::outcomeOf;
using namespace std::chrono_literals;

// The exit status of exit_midway, which says "." when it is about to end.
int endOf(const std::string& manner, int milliseconds, const sandbox::SandboxRelay& relay) {
  const std::string command = "timeout 5 " IDLEWYN_EXIT_MIDWAY " " + manner + " " +
                              std::to_string(milliseconds) + " " + relay.address().text() + " " +
                              relay.fingerprint();
  FILE* output = popen(command.c_str(), "re");
  const bool isAnnounced = output != nullptr && std::fgetc(output) == '.';
  const int status = pclose(output);
  return isAnnounced && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(ProcessLifetime, AProcessEndsWithItsOwnStatusInTheMidstOfASnapshot) {
  sandbox::SandboxRelay relay;
  relay.setFault("*", sandbox::Fault::stall());
  // Connecting, in the handshake, sending, waiting for the answers.
  for (int round = 0; round < 20; ++round) {
    for (const char* manner : {"main", "pool", "return"}) {
      EXPECT_EQ(endOf(manner, round < 10 ? round : round * 10, relay), 7)
          << manner << " in round " << round;
    }
  }
  EXPECT_FALSE(relay.requests().empty()) << "no snapshot was ever under way";
}

TEST(ProcessLifetime, InAForkedChildFetchesEndAsCancelledAndTheParentGoesOn) {
  sandbox::SandboxRelay plain(testing::plainHTTP()), pinned;
  const Connection connections[]{connectionTo(plain), connectionTo(pinned)};
  const auto fetch = [](const Connection& connection) {
    return outcomeOf([&] { return liveService().sessions(connection); });
  };
  const auto expectBothServed = [&] {
    for (const Connection& connection : connections)
      EXPECT_EQ(fetch(connection), "ok");
  };
  expectBothServed();
  // The second time with a transfer of the parent under way.
  for (const bool isInTheMidst : {false, true}) {
    plain.clearRequests();
    std::thread underWay;
    if (isInTheMidst) {
      plain.setFault("*", sandbox::Fault::delay(0.5), 1);
      underWay = std::thread([&] { EXPECT_EQ(fetch(connections[0]), "ok"); });
      while (plain.requests().empty())
        std::this_thread::sleep_for(1ms);
    }
    const pid_t child = fork();
    if (child == 0) {
      isForkedChild = true;
      alarm(10);
      const bool isRight =
          fetch(connections[0]) == "-999" &&
          fetch(connections[1]) == RelayError::certificateMismatch().errorDescription();
      std::exit(isRight ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    if (isInTheMidst) underWay.join();
    expectBothServed();
    EXPECT_EQ(pinned.connectionsAccepted(), 1u) << "the child touched the parent's connection";
  }
}

}  // namespace
}  // namespace idlewyn
