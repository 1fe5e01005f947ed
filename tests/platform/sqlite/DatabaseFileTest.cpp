// SPDX-License-Identifier: MIT
// What no store shows; the rest is shown by the stores' process tests.
#include <gtest/gtest.h>

#include <tests/support/TemporaryFolder.hpp>

#include <IdlewynKit/platform/sqlite/DatabaseFile.hpp>
#include <IdlewynKit/platform/sqlite/internal/PrivateFiles.hpp>

namespace idlewyn::platform {
namespace {

constexpr DatabaseFile::Format format("CREATE TABLE numbers(number INTEGER PRIMARY KEY)", 77,
                                      DatabaseFile::Durability::process, false);

Outcome run(DatabaseFile& file, const char* sql) {
  return file.write(DatabaseFile::Missing::make, [&](DatabaseFile::Session& session) {
    return session.query(sql, [](Query& query) { return query.step(); });
  });
}

Outcome read(DatabaseFile& file, const char* sql, std::int64_t& number) {
  return file.read([&](DatabaseFile::Session& session) {
    return session.query(sql, [&](Query& query) {
      const Outcome outcome = query.step();
      if (outcome == Outcome::row) number = query.integer(0);
      return outcome;
    });
  });
}

TEST(DatabaseFile, TellsWhatBecameOfAnOperation) {
  const testing::TemporaryFolder folder;
  DatabaseFile& file = DatabaseFile::at(folder.path() / "numbers", format);
  EXPECT_EQ(&file, &DatabaseFile::at(folder.path() / "numbers", format)) << "one a file";
  std::int64_t number = 0;
  EXPECT_EQ(file.probe(), Outcome::absent);
  EXPECT_EQ(read(file, "SELECT 1", number), Outcome::absent);
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "numbers")) << "reading makes no file";
  EXPECT_EQ(run(file, "INSERT INTO numbers VALUES(5)"), Outcome::done);
  EXPECT_EQ(run(file, "INSERT INTO numbers VALUES(5)"), Outcome::duplicate);
  EXPECT_EQ(run(file, "INSERT INTO letters VALUES(5)"), Outcome::failed);
  EXPECT_EQ(read(file, "SELECT number FROM numbers", number), Outcome::row);
  EXPECT_EQ(number, 5);
  EXPECT_EQ(read(file, "SELECT number FROM numbers WHERE number > 5", number), Outcome::done);
}

TEST(DatabaseFile, LeavesTheFileOfALaterReleaseAlone) {
  const testing::TemporaryFolder folder;
  DatabaseFile& file = DatabaseFile::at(folder.path() / "numbers", format);
  ASSERT_EQ(run(file, "INSERT INTO numbers VALUES(5)"), Outcome::done);
  ASSERT_EQ(run(file, "PRAGMA user_version = 2"), Outcome::done);
  std::filesystem::create_directory_symlink(folder.path(), folder.path() / "same");
  DatabaseFile& later = DatabaseFile::at(folder.path() / "same" / "numbers", format);
  std::int64_t number = 0;
  EXPECT_EQ(later.probe(), Outcome::unopenable);
  EXPECT_EQ(read(later, "SELECT number FROM numbers", number), Outcome::unopenable);
  EXPECT_EQ(run(later, "DELETE FROM numbers"), Outcome::unopenable);
  EXPECT_EQ(read(file, "SELECT number FROM numbers", number), Outcome::row);
}

TEST(PrivateFiles, AFolderThatCannotBeSynchronizedNeedNotBe) {
  EXPECT_EQ(synchronize("/proc"), Outcome::done);
}

}  // namespace
}  // namespace idlewyn::platform
