// SPDX-License-Identifier: MIT
// Files and places that are not what a store needs.
#include <sys/stat.h>

#include <chrono>

#include "ChildProcess.hpp"
#include "Stores.hpp"

namespace idlewyn::testing {
namespace {

namespace fs = std::filesystem;

class Damage : public StoreTest {};
INSTANTIATE_TEST_SUITE_P(Stores, Damage, ::testing::Bool(),
                         [](const auto& tested) { return tested.param ? "Keychain" : "Defaults"; });

// Reads trust their file for a few milliseconds.
void letReadersNotice() { usleep(20'000); }

std::string zeroed(std::string whole, std::size_t from, std::size_t size) {
  return whole.replace(from, size, std::string(size, '\0'));
}

TEST_P(Damage, ADamagedFileReadsAsNothingAndIsSetAsideByTheNextWrite) {
  const std::pair<const char*, std::function<std::string(const std::string& whole)>> table[]{
      {"cut off within the header", [](auto& whole) { return whole.substr(0, 60); }},
      {"cut off within the second", [](auto& whole) { return whole.substr(0, 5000); }},
      {"emptied", [](auto&) { return ""; }},
      {"a page of zeroes", [](auto& whole) { return zeroed(whole, 4096, 4096); }},
      {"a text", [](auto& whole) { return std::string(whole.size(), 'x'); }},
      {"a letter of its schema",
       [](auto whole) { return whole.replace(whole.find("TABLE ") + 6, 1, "x"); }},
      {"a bit of a number of bytes",
       [](auto whole) {
         return whole.replace(4096 + 3, 1, 1, static_cast<char>(whole[4099] ^ 8));
       }},
      {"another application's database", [](auto& whole) { return zeroed(whole, 68, 4); }},
  };
  for (const auto& [why, damaged] : table) {
    SCOPED_TRACE(why);
    storeElsewhere("old");
    const std::string content = damaged(contentOf(file()));
    overwrite(file(), content);
    EXPECT_EQ(get(), perStore("-25295", "absent"));
    EXPECT_EQ(contentOf(file()), content) << "reading changes nothing";
    EXPECT_EQ(put("new"), "ok");
    EXPECT_EQ(get(), "new");
    const std::vector<fs::path> aside = filesSetAside();
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_EQ(contentOf(aside[0]), content) << "nothing is deleted";
    // Also for processes that come later, with nothing of the old file left over.
    storeElsewhere("newer");
    EXPECT_EQ(get(), "newer");
    fs::remove_all(file().parent_path());
    letReadersNotice();
    EXPECT_EQ(get(), "absent");
  }
}

TEST_P(Damage, ProcessesThatMeetADamagedFileOrNoneAtOnceMakeOneNewFile) {
  for (int round = 0; round < 10; ++round) {
    const bool isDamaged = round % 2 == 0;
    if (isDamaged) overwrite(file(), std::string(8192, 'x'));
    chmod(file().c_str(), 0600);
    std::atomic<int>& isBegun = sharedNumber();
    std::vector<ChildProcess> writers;
    for (int i = 0; i < 6; ++i) {
      writers.emplace_back([&, i] {
        while (isBegun == 0)
          usleep(100);
        return put("value", std::to_string(i)) == "ok" ? 0 : 1;
      });
    }
    isBegun = 1;
    for (ChildProcess& writer : writers)
      ASSERT_EQ(writer.status(), 0);
    for (int i = 0; i < 6; ++i)
      ASSERT_EQ(get(std::to_string(i)), "value") << "in round " << round;
    ASSERT_EQ(filesSetAside().size(), isDamaged ? 1u : 0u);
    fs::remove_all(file().parent_path());
  }
}

TEST_P(Damage, WhatIsNoFileIsLeftAloneAndNeverWaitedFor) {
  const std::string failure = perStore("-25291", "no suite");
  overwrite(folder() / "target", "");
  fs::create_directories(file().parent_path());
  const std::pair<const char*, std::function<void(const fs::path&)>> table[]{
      {"a directory", [](auto& path) { fs::create_directory(path); }},
      {"a pipe", [](auto& path) { mkfifo(path.c_str(), 0600); }},
      {"a symbolic link", [&](auto& path) { fs::create_symlink(folder() / "target", path); }},
  };
  for (const auto& [why, make] : table) {
    make(file());
    EXPECT_EQ(get(), failure) << why;
    EXPECT_EQ(put("new"), failure) << why;
    EXPECT_TRUE(fs::remove(file())) << why;
  }
}

struct Place {
  const char* why;
  mode_t directory, file;
  bool isStored, isLogLeft;
  std::string get, put;
};

TEST_P(Damage, PlacesThatCantBeWrittenAreReadAsFarAsTheyCanBe) {
  const std::string refused = perStore("-25291", "no suite"), readOnly = perStore("-61", "false");
  const Place table[]{
      {"a directory to read only", 0555, 0600, true, false, "old", readOnly},
      {"with the log of a writer", 0555, 0600, true, true, refused, refused},
      {"without a file", 0555, 0600, false, false, perStore("absent", "no suite"),
       perStore("-61", "no suite")},
      {"a file to read only", 0700, 0400, true, false, "old", readOnly},
      {"an unreadable file", 0700, 0000, true, false, refused, refused},
      {"an unreadable directory", 0000, 0600, true, false, refused, refused},
      {"a file that others may read", 0700, 0644, true, false, perStore("-25291", "old"),
       perStore("-25291", "ok")},
  };
  for (const Place& row : table) {
    SCOPED_TRACE(row.why);
    if (row.isStored) storeElsewhere("old");
    fs::create_directories(file().parent_path());
    if (row.isStored) chmod(file().c_str(), row.file);
    if (row.isLogLeft) overwrite(file().string() + "-wal", "");
    chmod(file().parent_path().c_str(), row.directory);
    EXPECT_EQ(get(), row.get);
    EXPECT_EQ(put("new"), row.put);
    EXPECT_EQ(get(), row.put == "ok" ? "new" : row.get);
    // Once the place is in order, so is the store.
    chmod(file().parent_path().c_str(), 0700);
    if (row.isLogLeft) fs::remove(file().string() + "-wal");
    if (row.isStored) chmod(file().c_str(), 0600);
    EXPECT_EQ(put("newer"), "ok");
    EXPECT_EQ(get(), "newer");
    fs::remove_all(file().parent_path());
    letReadersNotice();
  }
}

TEST_P(Damage, AFileThatIsRemovedOrReplacedUnderneathCostsNoWrite) {
  const fs::path kept = folder() / "kept";
  ASSERT_EQ(put("first"), "ok");
  fs::remove_all(file().parent_path());
  letReadersNotice();
  EXPECT_EQ(get(), "absent");
  for (const bool isDirectoryKept : {false, true}) {
    ASSERT_EQ(put("second"), "ok");
    fs::rename(file().parent_path(), kept);
    if (isDirectoryKept) fs::create_directory(file().parent_path());
    ASSERT_EQ(put("third"), "ok");
    EXPECT_EQ(ChildProcess([&] { return get() == "third" ? 0 : 1; }).status(), 0);
    fs::remove_all(file().parent_path());
    fs::rename(kept, file().parent_path());
    letReadersNotice();
    EXPECT_NE(get(), "absent") << "what was moved away and back is found again";
  }
  // Only the database is removed: its log is not taken for that of the next one.
  fs::remove(file());
  EXPECT_EQ(put("value", "other"), "ok");
  EXPECT_EQ(get(), "absent");
}

TEST_P(Damage, WritersLoseNothingToADirectoryThatIsRemovedAllTheTime) {
  ChildProcess remover([&] {
    while (true) {
      std::error_code ignored;
      fs::remove_all(file().parent_path(), ignored);
      usleep(3000);
    }
    return 0;
  });
  // Whatever the moment, a write ends soon and without a crash, and the store recovers.
  const auto begin = std::chrono::steady_clock::now();
  while (std::chrono::steady_clock::now() - begin < std::chrono::milliseconds(700)) {
    put("value");
    const std::string read = get();
    EXPECT_TRUE(read == "value" || read == "absent" || read == "-25291" || read == "-36") << read;
  }
  remover.kill();
  EXPECT_EQ(put("last"), "ok");
  EXPECT_EQ(ChildProcess([&] { return get() == "last" ? 0 : 1; }).status(), 0);
}

TEST_P(Damage, EverythingIsForTheUserAlone) {
  const mode_t old = umask(0);
  const fs::path below = folder() / "new/folders";
  setenv("IDLEWYN_DATA_DIR", below.c_str(), 1);
  ASSERT_EQ(put("value"), "ok");
  umask(old);
  const fs::path top = isKeychain() ? file().parent_path() : folder() / "new";
  int files = 0;
  const auto expectMode = [&](const fs::path& path) {
    struct stat status {};
    ASSERT_EQ(lstat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, S_ISDIR(status.st_mode) ? 0700u : 0600u) << path;
    files += S_ISREG(status.st_mode);
  };
  expectMode(top);
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top))
    expectMode(entry.path());
  EXPECT_EQ(files, 4) << "the database, its log, its index, its lock";
}

}  // namespace
}  // namespace idlewyn::testing
