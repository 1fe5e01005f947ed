// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/storage/AppGroup.hpp>
#include <IdlewynKit/storage/SnapshotStore.hpp>

#include "tests/storage/Golden.hpp"
#include "tests/support/Sessions.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace idlewyn {
namespace {

constexpr std::string_view key = "sessionSnapshot";

SessionSnapshot snapshotOf(std::string id) {
  return SessionSnapshot({testing::makeSession(std::move(id))}, Date{});
}

// Stores of a home that lasts for one case.
class SnapshotStoreTest : public ::testing::Test {
 protected:
  SnapshotStoreTest() { setenv("IDLEWYN_DATA_DIR", folder_.path().c_str(), 1); }

  testing::TemporaryFolder folder_;
};

TEST_F(SnapshotStoreTest, KeepsTheLastSnapshotAsBytesOfTheRelaysJSON) {
  const SnapshotStore store("suite");
  UserDefaults defaults = UserDefaults::suite("suite").value();
  EXPECT_EQ(store.load(), SessionSnapshot::empty());
  store.clear();
  EXPECT_EQ(store.load(), SessionSnapshot::empty());

  const std::string golden = testing::golden("snapshot");
  const auto snapshot = JSONDecoder::relay().decode<SessionSnapshot>(golden);
  store.save(snapshotOf("earlier"));
  store.save(snapshot);
  EXPECT_EQ(defaults.data(key), Data::ofText(golden));
  EXPECT_EQ(SnapshotStore("suite").load(), snapshot);
  store.save(snapshotOf("\xFF"));
  EXPECT_EQ(store.load(), snapshot) << "what can't be encoded leaves it";
  store.save(SessionSnapshot::empty());
  EXPECT_EQ(store.load(), SessionSnapshot::empty());
  EXPECT_TRUE(defaults.data(key)) << "an empty snapshot is one";
  store.clear();
  EXPECT_FALSE(defaults.value(key));
}

TEST_F(SnapshotStoreTest, ReadsWhateverIsNoSnapshotAsTheEmptyOneAndLeavesIt) {
  const SnapshotStore store("suite");
  UserDefaults defaults = UserDefaults::suite("suite").value();
  const auto bytes = [](const char* text) { return Data::ofText(text); };
  const std::pair<const char*, UserDefaults::Value> rows[] = {
      {"a text, though it is a snapshot's", testing::golden("snapshot")},
      {"a number", 5.0},
      {"no bytes", bytes("")},
      {"a list", bytes("[]")},
      {"a date as a number", bytes(R"({"sessions":[],"updatedAt":5})")},
      {"a bad session", bytes(R"({"sessions":[{}],"updatedAt":"2026-11-24T09:00:00.000Z"})")},
  };
  for (const auto& [why, value] : rows) {
    ASSERT_TRUE(defaults.set(key, value)) << why;
    EXPECT_EQ(store.load(), SessionSnapshot::empty()) << why;
    EXPECT_EQ(defaults.value(key), value) << why;
  }
  store.save(snapshotOf("a"));
  EXPECT_EQ(store.load(), snapshotOf("a"));
}

TEST_F(SnapshotStoreTest, ChoosesItsSuiteElseTheStandardDefaultsAtEachOperation) {
  const SnapshotStore& group = SnapshotStore::shared();
  const std::string identifier(AppGroup::identifier);
  EXPECT_EQ(group, SnapshotStore(identifier));
  // A directory in its place makes a suite impossible to open.
  const auto blocked = folder_.path() / "defaults" / (identifier + ".sqlite3");
  std::filesystem::create_directories(blocked);
  UserDefaults standard = UserDefaults::standard();
  for (const std::optional<std::string>& name :
       {std::optional<std::string>(), {""}, {"a/b"}, {identifier}}) {
    const SnapshotStore store(name);
    const SessionSnapshot snapshot = snapshotOf(name.value_or("none"));
    store.save(snapshot);
    EXPECT_TRUE(standard.data(key) && AppGroup::userDefaults().data(key)) << name.value_or("none");
    EXPECT_EQ(store.load(), snapshot) << name.value_or("none");
    store.clear();
    EXPECT_FALSE(standard.data(key)) << name.value_or("none");
  }
  group.save(snapshotOf("standard"));
  std::filesystem::remove_all(blocked);
  EXPECT_FALSE(AppGroup::userDefaults().data(key));
  EXPECT_EQ(group.load(), SessionSnapshot::empty());
  group.save(snapshotOf("group"));
  EXPECT_EQ(group.load(), snapshotOf("group"));
  EXPECT_TRUE(AppGroup::userDefaults().data(key));
  EXPECT_EQ(SnapshotStore(std::nullopt).load(), snapshotOf("standard"));
}

}  // namespace
}  // namespace idlewyn
