// SPDX-License-Identifier: MIT
// Locks whose holder has been stopped.
#include <fcntl.h>
#include <sys/file.h>

#include <chrono>
#include <thread>

#include "ChildProcess.hpp"
#include "Stores.hpp"

namespace idlewyn::testing {
namespace {

using platform::DatabaseFile;
using platform::Outcome;
using platform::Query;

class Lock : public StoreTest {
 protected:
  /// Stops with a transaction open.
  void stopAfter(const std::vector<std::string>& statements) {
    database().write(DatabaseFile::Missing::leave, [&](DatabaseFile::Session& session) {
      Outcome outcome = Outcome::done;
      for (const std::string& statement : statements)
        outcome = session.query(statement, [](Query& query) { return query.step(); });
      raise(SIGSTOP);
      return outcome;
    });
  }
};
INSTANTIATE_TEST_SUITE_P(Stores, Lock, ::testing::Bool(),
                         [](const auto& tested) { return tested.param ? "Keychain" : "Defaults"; });

TEST_P(Lock, HeldByAStoppedProcessDelaysNobodyForLongerThanFiveSeconds) {
  struct Held {
    const char* why;
    bool isStored;
    std::function<void()> hold;
    std::string get;
  };
  const Held table[]{
      {"the lock of writers", true, [&] { stopAfter({"BEGIN IMMEDIATE"}); }, "old"},
      {"everything", true,
       [&] {
         stopAfter({"PRAGMA locking_mode = EXCLUSIVE", "BEGIN IMMEDIATE", "COMMIT"});
       },
       perStore("-25291", "absent")},
      {"the lock of makers", false,
       [&] {
         std::filesystem::create_directory(file().parent_path());
         const int lock = open((file().string() + ".lock").c_str(), O_CREAT | O_RDWR, 0600);
         if (flock(lock, LOCK_EX) == 0) raise(SIGSTOP);
       },
       "absent"},
  };
  for (const Held& row : table) {
    SCOPED_TRACE(row.why);
    if (row.isStored) storeElsewhere("old");
    ChildProcess holder([&] {
      row.hold();
      return 0;
    });
    holder.awaitStop();
    const auto begin = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    for (int i = 0; i < 5; ++i) {
      threads.emplace_back([&] { EXPECT_EQ(put("new"), perStore("-25291", "false")); });
      threads.emplace_back([&] { EXPECT_EQ(get(), row.get) << "readers wait for no writer"; });
    }
    for (std::thread& thread : threads)
      thread.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    holder.kill();
    EXPECT_EQ(put("new"), "ok");
    EXPECT_EQ(get(), "new");
    std::filesystem::remove_all(file().parent_path());
  }
}

}  // namespace
}  // namespace idlewyn::testing
