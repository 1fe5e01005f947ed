// SPDX-License-Identifier: MIT
// Processes that write at once, are killed or are forked in the midst of it.
#include <chrono>
#include <thread>

#include <tests/support/RawServer.hpp>

#include "ChildProcess.hpp"
#include "Stores.hpp"

namespace idlewyn::testing {
namespace {

using namespace std::chrono_literals;

class Kill : public StoreTest {};
INSTANTIATE_TEST_SUITE_P(Stores, Kill, ::testing::Bool(),
                         [](const auto& tested) { return tested.param ? "Keychain" : "Defaults"; });

/// Torn values show: the number stands at either end, and sizes differ so that pages are used in
/// every way.
std::string valueOf(int number) {
  const std::string text = std::to_string(number);
  return text + " " + std::string(static_cast<std::size_t>(number % 7) * 1500, 'v') + " " + text;
}

/// Nothing when the value is torn.
std::optional<int> numberIn(const std::string& value) {
  const int number = std::atoi(value.c_str());
  return value == valueOf(number) ? std::optional(number) : std::nullopt;
}

TEST_P(Kill, WhatWasAcknowledgedSurvivesSixtyKills) {
  std::atomic<int>& last = sharedNumber();
  ASSERT_EQ(put(valueOf(last)), "ok");
  for (int round = 0; round < 60; ++round) {
    const int before = last;
    ChildProcess writer([&] {
      while (put(valueOf(last + 1)) == "ok")
        ++last;
      return 1;
    });
    // From the first write on, at ever later moments; a reader goes on all the time.
    ASSERT_TRUE(waitUntil([&] { return last > before; }));
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(313 * round);
    do {
      ASSERT_TRUE(numberIn(get())) << get().substr(0, 40);
    } while (std::chrono::steady_clock::now() < end);
    writer.kill();
    const std::optional<int> found = numberIn(get());
    ASSERT_TRUE(found) << "torn in round " << round;
    EXPECT_TRUE(*found == last || *found == last + 1) << *found << " instead of " << last;
    last = *found;
  }
  EXPECT_TRUE(filesSetAside().empty());
}

TEST_P(Kill, AKillWhileTheFileIsMadeLeavesNothingInTheWay) {
  for (int round = 0; round < 30; ++round) {
    ChildProcess writer([&] { return put("value") == "ok" ? 0 : 1; });
    std::this_thread::sleep_for(std::chrono::microseconds(round * 400));
    writer.kill();
    const std::string found = get();
    EXPECT_TRUE(found == "value" || found == "absent") << found;
    EXPECT_EQ(put("after"), "ok");
    EXPECT_TRUE(filesSetAside().empty());
    std::filesystem::remove_all(file().parent_path());
  }
}

TEST_P(Kill, SixProcessesWriteAndReadWithoutAnError) {
  const int writes = isKeychain() ? 25 : 200;
  // The item that all write is there: of two that add one, one would rightly be refused.
  ASSERT_EQ(put(valueOf(0)), "ok");
  std::vector<ChildProcess> processes;
  for (int process = 0; process < 6; ++process) {
    processes.emplace_back([&, process] {
      const std::string own = std::to_string(process);
      for (int number = 1; number <= writes; ++number) {
        if (put(valueOf(number), own) != "ok") return 1;
        if (put(valueOf(number)) != "ok") return 2;
        if (get(own) != valueOf(number)) return 3;
        if (!numberIn(get())) return 4;
      }
      return 0;
    });
  }
  for (ChildProcess& process : processes)
    EXPECT_EQ(process.status(), 0);
  for (int process = 0; process < 6; ++process)
    EXPECT_EQ(get(std::to_string(process)), valueOf(writes));
}

TEST_P(Kill, AForkedChildWritesOnWhenItsParentHasEnded) {
  std::atomic<int>& stage = sharedNumber();
  const auto reached = [&](int number) { return waitUntil([&] { return stage == number; }); };
  ChildProcess parent([&] {
    if (put("parent") != "ok") return 1;
    if (fork() == 0) {
      if (get() == "parent" && put("child") == "ok") stage = 1;
      if (reached(2) && put("orphan") == "ok") stage = 3;
      _exit(0);
    }
    if (!reached(1)) return 2;
    std::exit(0);
  });
  EXPECT_EQ(parent.status(), 0);
  stage = 2;
  EXPECT_TRUE(reached(3));
  EXPECT_EQ(get(), "orphan");
}

// AddressSanitizer holds locks of its own over a fork, so that the child of a process with busy
// threads may never come to an end.
extern "C" void __asan_init() __attribute__((weak));

TEST_P(Kill, ForksInTheMidstOfOtherThreadsWritesAreSafe) {
  const int busyThreads = &__asan_init == nullptr ? 3 : 0;
  std::atomic<bool> isEnding = false;
  std::atomic<int> failures = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < busyThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int number = 0; !isEnding; ++number) {
        const std::string key = "thread" + std::to_string(thread);
        if (put(valueOf(number), key) != "ok") ++failures;
        if (get(key) != valueOf(number)) ++failures;
      }
    });
  }
  for (int round = 0; round < 20; ++round) {
    ChildProcess child(
        [&] { return put(valueOf(round)) == "ok" && numberIn(get()) == round ? 0 : 1; });
    EXPECT_EQ(child.status(), 0);
    EXPECT_EQ(numberIn(get()), round);
  }
  isEnding = true;
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(failures, 0);
}

}  // namespace
}  // namespace idlewyn::testing
