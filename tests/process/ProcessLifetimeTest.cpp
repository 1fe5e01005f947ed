// SPDX-License-Identifier: MIT
// What becomes of snapshots when their process ends or is forked.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>

#include <tests/support/RelayFixture.hpp>
#include <tests/support/Sessions.hpp>

// To a leak checker, a forked child has lost what the threads that stayed behind refer to.
static bool isForkedChild = false;
extern "C" int __lsan_is_turned_off() { return isForkedChild ? 1 : 0; }

namespace idlewyn {
namespace {

using testing::connectionTo;
using testing::liveService;
using testing::makeSession;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int tooLate = -1;

// The exit status, less than -1 by the number of the signal that ended the child, or too late.
int statusWithin(pid_t child, std::chrono::milliseconds limit) {
  int status = 0;
  for (const auto deadline = Clock::now() + limit; Clock::now() < deadline;) {
    if (waitpid(child, &status, WNOHANG) == child) {
      return WIFEXITED(status) ? WEXITSTATUS(status) : tooLate - WTERMSIG(status);
    }
    std::this_thread::sleep_for(1ms);
  }
  kill(child, SIGKILL);
  waitpid(child, &status, 0);
  return tooLate;
}

// Runs exit_midway until it says that it is about to end, and from then on for two seconds.
int endOf(const char* manner, int milliseconds, const sandbox::SandboxRelay& relay) {
  int ends[2];
  if (pipe(ends) != 0) return -200;
  const std::string delay = std::to_string(milliseconds);
  const std::string address = relay.address().text(), pin = relay.fingerprint();
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    execl(IDLEWYN_EXIT_MIDWAY, "exit_midway", manner, delay.c_str(), address.c_str(), pin.c_str(),
          nullptr);
    _exit(127);
  }
  close(ends[1]);
  char word = 0;
  if (read(ends[0], &word, 1) < 0) word = 0;
  close(ends[0]);
  const int status = statusWithin(child, 2s);
  return word == '.' ? status : -300;
}

TEST(ProcessLifetime, AProcessEndsWithItsOwnStatusInTheMidstOfASnapshot) {
  sandbox::SandboxRelay relay;
  relay.setFault("*", sandbox::Fault::stall());
  // Connecting, in the handshake, sending, waiting for the answers.
  for (int round = 0; round < 20; ++round) {
    for (const char* manner : {"main", "coroutine", "return"}) {
      EXPECT_EQ(endOf(manner, round < 10 ? round : round * 10, relay), 7)
          << manner << " in round " << round;
    }
  }
  EXPECT_FALSE(relay.requests().empty()) << "no snapshot was ever under way";
}

// 0 when a snapshot in the forked child gives the errors that it is to give.
int judgeInChild(const std::vector<Connection>& connections, const SessionSnapshot& fallback) {
  const SnapshotResult result = wait(liveService().snapshot(connections, fallback));
  if (result.errors.size() != 2 || result.snapshot.sessions != fallback.sessions) return 1;
  try {
    std::rethrow_exception(result.errors.at(AgentProvider::claude));
  } catch (const URLError& error) {
    if (error.code != URLErrorCode::cancelled) return 2;
  } catch (...) {
    return 3;
  }
  const std::string pinned = errorDescription(result.errors.at(AgentProvider::codex));
  return pinned == RelayError::certificateMismatch().errorDescription() ? 0 : 4;
}

TEST(ProcessLifetime, InAForkedChildSnapshotsEndAsCancelledAndTheParentGoesOn) {
  sandbox::SandboxRelay plain(testing::plainHTTP()), pinned;
  plain.setSessions({makeSession("a")});
  pinned.setSessions({makeSession("b", SessionStatus::idle, 0, AgentProvider::codex)});
  const std::vector<Connection> connections{connectionTo(plain),
                                            connectionTo(pinned, AgentProvider::codex)};
  const SessionSnapshot fallback(
      {makeSession("old"), makeSession("older", SessionStatus::idle, 0, AgentProvider::codex)},
      Date{});
  ASSERT_TRUE(wait(liveService().snapshot(connections, fallback)).errors.empty());

  // The second time with transfers of the parent under way.
  for (const bool isInTheMidst : {false, true}) {
    plain.clearRequests();
    boost::asio::thread_pool pool(1);
    std::future<SnapshotResult> underWay;
    if (isInTheMidst) {
      plain.setFault("*", sandbox::Fault::delay(0.5), 1);
      underWay = boost::asio::co_spawn(pool, liveService().snapshot(connections, fallback),
                                       boost::asio::use_future);
      while (plain.requests().empty())
        std::this_thread::sleep_for(1ms);
    }
    const pid_t child = fork();
    if (child == 0) {
      isForkedChild = true;
      std::exit(judgeInChild(connections, fallback));
    }
    EXPECT_EQ(statusWithin(child, 10s), 0);
    if (isInTheMidst) {
      EXPECT_TRUE(underWay.get().errors.empty()) << "the child ended them";
    }
    EXPECT_TRUE(wait(liveService().snapshot(connections, fallback)).errors.empty());
    EXPECT_EQ(pinned.connectionsAccepted(), 1u) << "the child touched the parent's connection";
  }
}

}  // namespace
}  // namespace idlewyn
