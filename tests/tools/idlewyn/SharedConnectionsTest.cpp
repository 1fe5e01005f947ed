// SPDX-License-Identifier: MIT
#include <tools/idlewyn/pairings/SharedConnections.hpp>

#include <cstdlib>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <tests/support/TemporaryFolder.hpp>

#include <tools/idlewyn/failure/Failure.hpp>

namespace idlewyn::command {
namespace {

using Milliseconds = std::chrono::milliseconds;

Connection connection(AgentProvider provider, const std::string& account) {
  return Connection(provider, URL::parse("https://relay.example/x"), "secret-token", account,
                    platform::dateFromReferenceSeconds(800'000'000.125), std::string(64, 'a'));
}

template <class Action>
std::string failureOf(const Action& action) {
  try {
    action();
  } catch (const Failure& failure) {
    return failure.kind;
  }
  return "none";
}

/// A keychain's file for the process, and a list of its own for each case.
class SharedConnectionsTest : public ::testing::Test {
 protected:
  SharedConnectionsTest()
      : store_(KeychainStore(::testing::UnitTest::GetInstance()->current_test_info()->name())) {
    static const testing::TemporaryFolder folder;
    setenv("IDLEWYN_DATA_DIR", folder.path().c_str(), 1);
    setenv("IDLEWYN_KEYCHAIN", "file", 1);
  }

  SharedConnections list(Milliseconds limit = std::chrono::seconds(20)) const {
    return SharedConnections(
        store_, std::this_thread::sleep_for<Milliseconds::rep, Milliseconds::period>, limit);
  }

  const ConnectionStore store_;
};

// What is damaged, and an interruption, are tested with the command.
TEST_F(SharedConnectionsTest, EndsWaitingAtItsLimit) {
  list().update(
      [&](auto&) { EXPECT_EQ(failureOf([&] { list(Milliseconds(5)).prepare(); }), "storage"); });
}

TEST_F(SharedConnectionsTest, LosesNoChangeOfAnotherProcess) {
  // Each update opens the lock file itself, which for flock is like a process of its own.
  constexpr int writers = 4, rounds = 10;
  std::vector<std::thread> threads;
  for (int i = 0; i < writers; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < rounds; ++round) {
        list().update([&](auto& connections) {
          connections.push_back(connection(AgentProvider::claude, std::to_string(i)));
        });
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(list().load().size(), static_cast<std::size_t>(writers * rounds));
}

TEST_F(SharedConnectionsTest, AsksForAnAgentOnlyWhereSeveralFit) {
  SharedConnections connections = list();
  const auto add = [&](AgentProvider provider, const std::string& account) {
    connections.update([&](auto& all) { all.push_back(connection(provider, account)); });
  };
  add(AgentProvider::codex, "x");
  EXPECT_EQ(connections.onlyOne(std::nullopt).accountName, "x");
  EXPECT_THROW(connections.onlyOne(AgentProvider::claude), Failure);
  add(AgentProvider::claude, "y");
  EXPECT_EQ(connections.onlyOne(AgentProvider::claude).accountName, "y");
  add(AgentProvider::claude, "z");
  EXPECT_EQ(connections.onlyOne(AgentProvider::claude).accountName, "z") << "the last counts";
  EXPECT_EQ(failureOf([&] { connections.onlyOne(std::nullopt); }), "usage") << "two agents fit";
}

}  // namespace
}  // namespace idlewyn::command
