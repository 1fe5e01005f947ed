// SPDX-License-Identifier: MIT
#include <tools/relay/agents/ProcessWatch.hpp>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include <gtest/gtest.h>

namespace idlewyn::relay {
namespace {

TEST(ProcessWatch, TellsTheEndOfTheProcessThatIsMeant) {
  const pid_t child = fork();
  if (child == 0) {
    pause();
    _exit(0);
  }
  const std::uint64_t start = processStart(child);
  ASSERT_GT(start, 0U);
  boost::asio::io_context context;
  ProcessWatch processes(context);
  int ended = 0;
  int reused = 0;
  processes.watch("session", child, start, [&] { ++ended; });
  // Another process had that number when the agent began.
  processes.watch("earlier", child, start - 1, [&] { ++reused; });
  EXPECT_EQ(reused, 0) << "never from within the call";
  context.run_for(std::chrono::milliseconds(100));
  EXPECT_EQ(reused, 1);
  EXPECT_EQ(ended, 0);
  kill(child, SIGKILL);
  context.restart();
  context.run_for(std::chrono::seconds(10));
  EXPECT_EQ(ended, 1);
  waitpid(child, nullptr, 0);
  EXPECT_EQ(processStart(child), 0U);
  processes.watch("late", child, start, [&] { ++ended; });
  context.restart();
  context.run_for(std::chrono::seconds(10));
  EXPECT_EQ(ended, 2) << "an agent that ended before its event was read";
}

}  // namespace
}  // namespace idlewyn::relay
